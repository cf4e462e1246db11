// The cost of encryption for large values, without the login: values received, read with TRN_GetData and
// released, plain and encrypted. CPU time of the client; the server is another process.
#include "measure.h"
#include "peer.h"

using namespace bench;

namespace {

constexpr int32_t wire_types[] = {TRN_WIRE_BLOB, TRN_WIRE_CLOB};

// Rows of a BLOB and a CLOB of one size.
struct Values {
    size_t size;
    size_t rows;
    std::string blob, clob;
};

std::string build_reply(const Values& values) {
    std::string reply = result_head({std::begin(wire_types), std::end(wire_types)});
    reply.reserve(values.rows * (2 * values.size + 9) + 100);
    for (size_t row = 0; row < values.rows; ++row) {
        reply += 'R';
        put_counted(reply, values.blob);
        put_counted(reply, values.clob);
    }
    return reply + 'K';
}

double receive_all(const Peer& peer, const char* keys, size_t number, const Values& values) {
    TRN_HANDLE conn = peer.open(keys);
    TRN_HANDLE result = nullptr;
    int64_t rows = 0;
    std::string bytes(values.size, '\0');
    const auto size = static_cast<int32_t>(values.size);
    bool good = true;
    const double start = process_cpu_seconds();
    TRN_ExecwithDataReader(&conn, std::to_string(number).c_str(), &result, nullptr, &rows, nullptr);
    while (TRN_ReadNext(&result) == TRN_OK)
        for (int32_t column = 1; column <= 2; ++column) {
            int32_t length = 0;
            good = good &&
                   TRN_GetData(&result, column, TRN_TYPE_BYTES, bytes.data(), size, &length) == TRN_OK &&
                   length == size && bytes.back() == (column == 1 ? values.blob : values.clob).back();
        }
    TRN_FreeRowset(&result);
    const double spent = process_cpu_seconds() - start;
    check(good && rows == static_cast<int64_t>(values.rows), "the values did not arrive");
    TRN_CloseConn(&conn);
    return spent;
}

void check_content(const Peer& peer, const char* keys, size_t number, const Values& values) {
    TRN_HANDLE conn = peer.open(keys);
    TRN_HANDLE result = nullptr;
    TRN_ExecwithDataReader(&conn, std::to_string(number).c_str(), &result, nullptr, nullptr, nullptr);
    std::string bytes(values.size, '\0');
    for (size_t row = 0; row < values.rows; ++row) {
        check(TRN_ReadNext(&result) == TRN_OK, "rows are missing");
        for (int32_t column = 1; column <= 2; ++column) {
            TRN_GetData(&result, column, TRN_TYPE_BYTES, bytes.data(), static_cast<int32_t>(values.size),
                        nullptr);
            check(bytes == (column == 1 ? values.blob : values.clob), "a value differs");
        }
    }
    TRN_FreeRowset(&result);
    TRN_CloseConn(&conn);
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    const size_t amount = options.quick ? 4 << 20 : 256 << 20;
    Random random;
    std::vector<Values> all;
    for (const size_t size : {100000, 1000000})
        all.push_back({size, amount / size / 2, random.letters(size), random.letters(size)});
    const Peer peer([&] {
        std::vector<std::string> replies;
        for (const Values& values : all)
            replies.push_back(build_reply(values));
        return replay(std::move(replies));
    });
    pin_to_cpu(0);

    constexpr const char* encrypted = ";use_ssl=on";
    Figures figures;
    for (size_t i = 0; i < all.size(); ++i) {
        for (const char* keys : {"", encrypted})
            check_content(peer, keys, i, all[i]);
        const std::vector<double> seconds =
            medians(options.quick ? 1 : 7, {[&] { return receive_all(peer, "", i, all[i]); },
                                            [&] { return receive_all(peer, encrypted, i, all[i]); }});
        const double megabytes = static_cast<double>(2 * all[i].rows * all[i].size) / 1e6;
        const std::string name = "channel/values_of_" + std::to_string(all[i].size);
        figures.add(name + "/amount", megabytes, "MB");
        figures.add(name + "/plain", seconds[0] / megabytes * 1e3, "ms/MB");
        figures.add(name + "/encrypted", seconds[1] / megabytes * 1e3, "ms/MB");
        figures.add(name + "/ratio", seconds[1] / seconds[0], "of plain");
    }
    figures.report(options);
}
