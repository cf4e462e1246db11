// lob - stores a large object of 50 MB (or a file) in the server and reads it back piece by piece, comparing
// hashes.
//
//     lob "server=127.0.0.1;port=5139;db=demo;user=me;password=secret" [FILE]
//
// A large object is filled once, sent as a parameter without being copied, and read in pieces of any size.
// With "lob_ret=descriptor" in the connection string it arrives as a descriptor and is fetched when it is
// read.
#include <chrono>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include "tarnsql.h"

static void check(bool good, const char* what, TRN_HANDLE* conn = nullptr) {
    if (good) return;
    char code[TRN_ERROR_CODE_SIZE] = "";
    char message[TRN_ERROR_MESSAGE_SIZE] = "";
    if (conn) TRN_GetErrorInfo(conn, code, message);
    std::fprintf(stderr, "lob: %s %s %s\n", what, code, message);
    std::exit(1);
}

// FNV-1a: enough to notice a wrong byte.
static uint64_t add_to_hash(uint64_t hash, const char* bytes, size_t size) {
    for (size_t i = 0; i < size; ++i)
        hash = (hash ^ static_cast<unsigned char>(bytes[i])) * 0x100000001B3U;
    return hash;
}

static constexpr uint64_t empty_hash = 0xCBF29CE484222325U;

static std::vector<char> content(const char* path) {
    if (path) {
        std::ifstream file(path, std::ios::binary);
        check(file.good(), "cannot read the file");
        return {std::istreambuf_iterator<char>(file), std::istreambuf_iterator<char>()};
    }
    std::vector<char> bytes(50 * 1000 * 1000);
    uint64_t state = 1;
    for (char& byte : bytes) {
        state = state * 6364136223846793005U + 1442695040888963407U;
        byte = static_cast<char>(state >> 56);
    }
    return bytes;
}

// Appends the content in pieces, as an application does that reads it from somewhere, and stores it as one
// parameter.
static uint64_t store(TRN_HANDLE* conn, const std::vector<char>& bytes) {
    constexpr size_t piece = 256 * 1024;
    TRN_HANDLE lob = nullptr;
    check(TRN_Create_Lob(&lob) == TRN_OK, "no large object");
    uint64_t hash = empty_hash;
    for (size_t done = 0; done < bytes.size(); done += piece) {
        const size_t size = bytes.size() - done < piece ? bytes.size() - done : piece;
        check(TRN_Put_Lob_data(&lob, bytes.data() + done, static_cast<int32_t>(size)) == TRN_OK,
              "out of memory");
        hash = add_to_hash(hash, bytes.data() + done, size);
    }
    TRN_Put_Lob_data(&lob, nullptr, TRN_LOB_END);

    check(TRN_BindParamByPos(conn, 1, TRN_DIRECTION_IN, TRN_TYPE_BLOB, &lob, 0, nullptr) == TRN_OK,
          "cannot bind", conn);
    check(TRN_Execute_no_query(conn, "INSERT INTO documents (content) VALUES (?)") >= 0, "cannot store",
          conn);
    TRN_Distroy_Lob(&lob);
    return hash;
}

// Receives the content into a large object and reads it in pieces of 100,000 bytes.
static uint64_t read_back(TRN_HANDLE* conn, int32_t* size) {
    TRN_HANDLE result = nullptr;
    TRN_HANDLE lob = nullptr;
    check(TRN_ExecwithDataReader(conn, "SELECT content FROM documents", &result, nullptr, nullptr, nullptr) >=
                  0 &&
              TRN_ReadNext(&result) == TRN_OK,
          "cannot read", conn);
    check(TRN_Create_Lob(&lob) == TRN_OK, "no large object");
    check(TRN_GetData(&result, 1, TRN_TYPE_BLOB, &lob, 0, size) == TRN_OK, "cannot receive", conn);
    std::vector<char> piece(100000);
    uint64_t hash = empty_hash;
    for (int32_t got; (got = TRN_Get_Lob_data(&lob, piece.data(), static_cast<int32_t>(piece.size()))) > 0;)
        hash = add_to_hash(hash, piece.data(), static_cast<size_t>(got));
    TRN_Distroy_Lob(&lob);
    TRN_FreeRowset(&result);
    return hash;
}

int main(int argc, char** argv) {
    check(argc == 2 || argc == 3, "usage: lob CONNECTION-STRING [FILE]");
    TRN_HANDLE conn = nullptr;
    check(TRN_OpenConn(argv[1], &conn) == TRN_OPENED, "cannot open", &conn);
    const std::vector<char> bytes = content(argc == 3 ? argv[2] : nullptr);
    check(TRN_Execute_no_query(&conn, "DROP TABLE IF EXISTS documents") >= 0 &&
              TRN_Execute_no_query(&conn, "CREATE TABLE documents (id INTEGER PRIMARY KEY, content BLOB)") >=
                  0,
          "cannot create the table", &conn);

    using clock = std::chrono::steady_clock;
    const auto start = clock::now();
    const uint64_t stored = store(&conn, bytes);
    const auto middle = clock::now();
    int32_t size = 0;
    const uint64_t received = read_back(&conn, &size);
    const auto end = clock::now();
    TRN_CloseConn(&conn);

    check(stored == received && static_cast<size_t>(size) == bytes.size(),
          "what came back is not what was stored");
    std::printf("%d bytes stored in %.2f s and read back in %.2f s, hash %016llx\n", static_cast<int>(size),
                std::chrono::duration<double>(middle - start).count(),
                std::chrono::duration<double>(end - middle).count(),
                static_cast<unsigned long long>(received));
}
