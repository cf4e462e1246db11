/*
 * Rows of megabytes and results of many: received in any pieces, read and released.
 */
#include "parameter_wire.h"

namespace {

/* A row of 4,000 columns: long texts, integers, numbers whose stated length is wrong, nulls. */
struct WideRow {
    static constexpr int width = 4000;
    static constexpr std::int32_t types[] = {TRN_WIRE_CHAR, TRN_WIRE_INTEGER, TRN_WIRE_BLOB, TRN_WIRE_DOUBLE};

    static std::vector<Column> columns() {
        std::vector<Column> all;
        for (int i = 0; i < width; ++i)
            all.push_back({"c", types[i % 4]});
        return all;
    }
    static bool is_null(int i) { return i % 8 == 2 || i % 24 == 1; }
    /* Texts of up to three kilobytes, and one that alone is much larger than the buffer. */
    static std::string text(int i) {
        return std::string(i == 2000 ? 1500000 : std::size_t(i * 37 % 3000) + 1, char('a' + i % 26));
    }
    static std::string value(int i) {
        constexpr std::int64_t lies[] = {1, 4, 7, 4000, INT32_MAX};
        if (is_null(i)) return be32(i % 3 - 2);
        if (i % 2 == 0) return wire_text(text(i));
        return be32(lies[i / 2 % 5]) + (i % 4 == 1 ? be32(i) : be_double(i));
    }
    static std::vector<std::string> values() {
        std::vector<std::string> all;
        for (int i = 0; i < width; ++i)
            all.push_back(value(i));
        return all;
    }
    static bool is_current_in(Reader& reader) {
        for (int i = 0; i < width; ++i) {
            const std::string got = reader.text(i + 1);
            if (is_null(i) ? got != "NULL" : i % 2 ? std::stoi(got) != i : got != text(i)) return false;
        }
        return true;
    }
};

TEST(large_row, comes_whole_with_nulls_and_lengths_that_lie) {
    const std::vector<std::string> values = WideRow::values(), nulls(WideRow::width, null_value());
    const std::string reply =
        query(WideRow::columns(), {row(values), row(nulls), row_with_identifier("i", values), W("text"),
                                   row(values), row(nulls)}) +
        K;
    ASSERT_GT(reply.size(), std::size_t{9000000});
    for (const std::size_t piece : {reply.size(), std::size_t{65536}, std::size_t{8191}}) {
        SCOPED_TRACE(piece);
        Session session({expect_login(), send("K"), expect_command("q"), send_in_pieces(reply, piece),
                         expect_command("next"), send(U(7) + K)});
        Reader reader(session.connection, "q");
        EXPECT_EQ(reader.status, 5);
        for (const bool wide : {true, false, true, true, false}) {
            ASSERT_TRUE(reader.next());
            ASSERT_TRUE(wide ? WideRow::is_current_in(reader) : reader.text(2000) == "NULL");
        }
        EXPECT_FALSE(reader.next());
        EXPECT_EQ(error_text(reader.result), "text");
        EXPECT_EQ(session.connection.run("next"), 7);
    }
}

/* More where every block of memory is watched. */
#ifdef __SANITIZE_ADDRESS__
constexpr std::size_t megabytes = 100;
#else
constexpr std::size_t megabytes = 10;
#endif

TEST(large_result, is_received_read_and_released) {
    constexpr std::size_t sizes[] = {40, 3, 100, 230, 240, 241, 242, 300, 1000, 90, 10, 5000};
    std::vector<std::string> texts;
    std::string block;
    while (block.size() < 1000000) {
        texts.push_back(std::string(sizes[texts.size() % std::size(sizes)], char('a' + texts.size() % 26)));
        const std::vector<std::string> values{wire_text(texts.back()), integer(std::int64_t(texts.size()))};
        block += texts.size() % 50 ? row(values) : row_with_identifier("id", values);
    }
    const std::string head = query({{"c", TRN_WIRE_CHAR}, {"n", TRN_WIRE_INTEGER}}, {});
    Session session({expect_login(),
                     send("K"),
                     expect_command("q"),
                     send(head),
                     {"send blocks",
                      [&](ScriptedServer& server) {
                          for (std::size_t i = 0; i < megabytes; ++i)
                              server.send_bytes(block, block.size());
                      }},
                     send(K),
                     expect_command("next"),
                     send(U(7) + K)});
    Reader reader(session.connection, "q");
    ASSERT_EQ(reader.rows, std::int64_t(megabytes * texts.size()));
    std::vector<char> value(5000);
    for (std::size_t i = 0; reader.next(); ++i) {
        const std::string& text = texts[i % texts.size()];
        std::int32_t length = 0, number = 0;
        ASSERT_EQ(TRN_GetData(&reader.result, 1, TRN_TYPE_BYTES, value.data(), 5000, &length), TRN_OK);
        ASSERT_TRUE(std::string_view(value.data(), std::size_t(length)) == text) << i;
        ASSERT_EQ(TRN_GetData(&reader.result, 2, TRN_TYPE_INTEGER, &number, 4, nullptr), TRN_OK);
        ASSERT_EQ(std::size_t(number), i % texts.size() + 1);
    }
    EXPECT_EQ(TRN_FreeRowset(&reader.result), TRN_OK);
    EXPECT_EQ(session.connection.run("next"), 7);
}

} // namespace
