/*
 * How much memory a reply can make the library hold: the formula of docs/reliability.md, for replies of every
 * shape and most of all for those that cost more than they are.
 */
#include "output_capture.h"
#include "replay_peer.h"
#include "session/parameter_wire.h"
#include "watched_memory.h"

namespace {

constexpr std::size_t a_result = 384, a_column = 96, some = 1024 * 1024;

using Ask = void (*)(Connection&, Reader& reader);

struct Shape {
    std::string name, bytes;
    std::size_t results, columns; /* or parameters */
    Ask ask;
};

void read(Connection& connection, Reader& reader) {
    EXPECT_NE(TRN_ExecwithDataReader(&connection.handle, "q", &reader.result, nullptr, nullptr, nullptr), -5);
    EXPECT_TRUE(reader.result != nullptr);
}

void fetch(Connection& connection, Reader& reader) {
    EXPECT_GT(TRN_FetchServerCursorRowset(&connection.handle, "c", &reader.result), 0);
}

void no_query(Connection& connection, Reader&) {
    EXPECT_EQ(connection.run("q"), 1);
}

void single(Connection& connection, Reader&) {
    SingleValue value(connection, "q");
    EXPECT_EQ(value.status, TRN_OK);
    value.take();
}

void prepare(Connection& connection, Reader&) {
    EXPECT_EQ(TRN_Prepare2(&connection.handle, "q", nullptr), TRN_OK);
}

/* A large object takes an output, a value of a row, or the pieces that come for a descriptor. */
void procedure(Connection& connection, Reader&) {
    TRN_HANDLE lob = nullptr;
    std::int32_t length = 0;
    TRN_Create_Lob(&lob);
    TRN_BindParamByPos(&connection.handle, 1, TRN_DIRECTION_OUT, TRN_TYPE_CLOB, &lob, 0, &length);
    EXPECT_EQ(TRN_Execute_procesure(&connection.handle, "q", nullptr), TRN_OK);
    EXPECT_GT(length, 1000000);
    TRN_Distroy_Lob(&lob);
}

void large_object(Connection& connection, Reader& reader) {
    TRN_HANDLE lob = nullptr;
    std::int32_t length = 0;
    read(connection, reader);
    EXPECT_TRUE(reader.next());
    TRN_Create_Lob(&lob);
    EXPECT_EQ(TRN_GetData(&reader.result, 1, TRN_TYPE_CLOB, &lob, 0, &length), TRN_OK);
    EXPECT_GT(length, 0);
    TRN_Distroy_Lob(&lob);
}

std::string repeated(std::size_t count, const std::string& text) {
    std::string all;
    for (std::size_t i = 0; i < count; ++i)
        all += text;
    return all;
}

std::string columns_named(std::size_t count, const std::string& name) {
    return query(std::vector<Column>(count, {name, TRN_WIRE_CHAR}), {});
}

std::string row_of(std::size_t size) {
    return row({wire_text(std::string(size, 'x'))});
}

std::vector<Shape> shapes() {
    const std::string none = "A" + be32(0), one = columns_named(1, "c");
    std::string mixed, halves;
    for (std::size_t i = 0; i < 60; ++i)
        mixed += row_of(70000) + row_of(i) + row_of(60000);
    for (std::size_t size = 100; size < 600000; size = size * 2 + 20)
        halves += row_of(size);
    const std::string parameters =
        "$" + be32(4000) + repeated(4000, wire_text("n") + be32(1) + be32(5) + be32(4));
    const std::string output = "P" + be32(0) + be32(32) + wire_text(std::string(4100000, 'o'));
    const std::string descriptor = one + row({wire_text("C23456789012,1234")}) + K;
    const std::string pieces = one + "R" + repeated(300000, be32(1) + wire_text("p")) + be32(0) + K;
    // clang-format off
    std::vector<Shape> all{
        {"results of an empty row", repeated(20000, none + "R;"), 20000, 0, read}, /* 7 bytes each, below 10 MB */
        {"results without rows", repeated(50000, none), 50000, 0, read},
        {"results of a null", repeated(20000, one + row({null_value()})), 20000, 20000, read},
        {"results of a text", repeated(20000, one + row_of(20)), 20000, 20000, read},
        {"results with a text of the server's", repeated(20000, none + warning("w")), 20000, 0, read},
        {"results that are refused", repeated(20000, "A" + be32(4000) + be32(1025)), 20000, 0, read},
        {"counts", repeated(50000, update_count(1)), 50000, 0, read},
        {"identifiers", repeated(50000, inserted("")), 50000, 0, read},
        {"columns without names", repeated(30, columns_named(4000, "")), 30, 120000, read},
        {"columns with short names", repeated(30, columns_named(4000, "t.n%l")), 30, 120000, read},
        {"columns with long names", columns_named(4000, std::string(1024, 'n')), 1, 4000, read},
        {"rows without columns", none + std::string(3400000, 'R'), 1, 0, read},
        {"rows of a cursor", none + std::string(3400000, 'R'), 1, 0, fetch},
        {"rows of nulls", one + repeated(400000, row({null_value()})), 1, 1, read},
        {"the longest short rows", one + repeated(10000, row_of(248)), 1, 1, read},
        {"the shortest long rows", one + repeated(10000, row_of(250)), 1, 1, read},
        {"rows that double", one + halves, 1, 1, read},
        {"rows of 40,000 bytes", one + repeated(100, row_of(40000)), 1, 1, read},
        {"rows larger than the buffer", one + repeated(60, row_of(65537)), 1, 1, read},
        {"rows of all sizes", one + mixed, 1, 1, read},
        {"a value of 20 MB", one + row_of(20000000), 1, 1, single},
        {"rows with identifiers", one + repeated(1000, row_with_identifier(std::string(1000, 'i'), {null_value()})), 1, 1, read},
        {"texts between rows", one + repeated(1000, row_of(9) + W(std::string(1000, 'w'))), 1, 1, read},
        {"large texts between rows", one + W(std::string(3000000, 'w')) + W(std::string(4000000, 'v')), 1, 1, read},
        {"a large text behind a small one", one + W("w") + W(std::string(4000000, 'v')), 1, 1, read},
        {"texts among results", repeated(1000, update_count(1) + W(std::string(1000, 'w'))), 1000, 0, read},
        {"small texts among results", update_count(1) + repeated(200000, W("w")), 1, 0, read},
        {"small texts", repeated(200000, W("w")) + U(1), 0, 0, no_query},
        {"a large text", W(std::string(4000000, 'w')) + U(1), 0, 0, no_query},
        {"large texts", W(std::string(4000000, 'w')) + W(std::string(3000000, 'v')), 0, 0, no_query},
        {"parameters", parameters, 0, 4000, prepare},
        {"an output of 4 MB", output, 0, 0, procedure},
        {"pieces of a byte", descriptor + pieces, 2, 2, large_object},
    };
    // clang-format on
    for (std::size_t size = 1000000; size < 30000000; size += size / 3)
        all.push_back({"a row of " + std::to_string(size), one + row_of(size), 1, 1, read});
    return all;
}

TEST(held_memory, follows_what_arrived) {
    ReplayPeer peer;
    const OutputCapture output;
    for (const auto& [name, bytes, results, columns, ask] : shapes()) {
        SCOPED_TRACE(name);
        peer.serve({"K" + bytes + "K", Ending::orderly, SIZE_MAX, false});
        Connection connection("server=127.0.0.1;lob_ret=on;port=" + std::to_string(peer.port()));
        ASSERT_EQ(connection.opened, TRN_OPENED);
        Watch memory;
        const Watched watched(memory);
        Reader reader;
        ask(connection, reader);
        EXPECT_LE(memory.most_held, 2 * bytes.size() + results * a_result + columns * a_column + some);
        EXPECT_LE(memory.largest, 2 * bytes.size() + some);
    }
}

} // namespace
