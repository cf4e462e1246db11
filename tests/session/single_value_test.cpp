/*
 * TRN_Execute_query_with_one: the forms of the single value, the statuses of its replies and the request for
 * more rows after the first 200.
 */
#include "session_fixture.h"

namespace {

const std::string untouched(64, '.');

std::string one_value(std::int32_t type, const std::string& value) {
    return query({{"c", type}}, {row({value})}) + K;
}

TEST(single_value, is_written_as_text_without_terminator_or_handed_over) {
    std::string large(70000, 'x');
    large[100] = '\0';
    constexpr std::uint32_t over = TRN_HANDED_OVER;
    // clang-format off
    const struct { std::int32_t type; std::string bytes, text; std::uint32_t added = 0; } rows[] = {
        {TRN_WIRE_BOOLEAN, "?", "?"}, {TRN_WIRE_INTEGER, be32(INT32_MIN), "-2147483648"},
        {TRN_WIRE_NUMERIC, std::string(70, '9'), std::string(63, '9')}, {TRN_WIRE_FLOAT, be_float(-1.5f), "-1.500000"},
        {TRN_WIRE_DOUBLE, be_double(3.5), "3.5"}, {TRN_WIRE_DOUBLE, be_double(0.1), "0.1"},
        {TRN_WIRE_DOUBLE, be_double(1e100), "1e+100"}, {TRN_WIRE_DATETIME, be64(-1), "1969-12-31 23:59:59"},
        {TRN_WIRE_CHAR, "zero\0inside"s, "zero\0inside"s}, {TRN_WIRE_CHAR, std::string(63, 'x'), std::string(63, 'x')},
        {45, "opaque text", "opaque text"}, {TRN_WIRE_TIME_TZ, be32(0) + be16(0), ""}, {TRN_WIRE_OPAQUE, "bytes", ""},
        {TRN_WIRE_DATETIME_TZ, be64(0) + be16(0), ""}, {99, "bytes", ""},
        {TRN_WIRE_CHAR, std::string(64, 'c'), std::string(64, 'c'), over}, {TRN_WIRE_CHAR, large, large, over},
        {TRN_WIRE_CLOB, "x", "x", over}, {TRN_WIRE_BINARY, "\0\1"s, "\0\1"s, over}, {TRN_WIRE_BLOB, large, large, over},
        {45, std::string(64, 'o'), std::string(64, 'o'), over}, {TRN_WIRE_BINARY, "\0"s, "\0"s, over},
    };
    // clang-format on
    std::vector<Exchange> exchanges;
    for (const auto& each : rows)
        exchanges.push_back({"q", one_value(each.type, wire_text(each.bytes))});
    Session session(exchanges);
    for (const auto& each : rows) {
        SCOPED_TRACE("type " + std::to_string(each.type) + " " + each.text.substr(0, 70));
        SingleValue value(session.connection, "q");
        EXPECT_EQ(value.status, 0);
        ASSERT_EQ(value.word, static_cast<std::uint32_t>(each.type) + each.added);
        if (!each.added) {
            EXPECT_EQ(value.area, each.text + untouched.substr(each.text.size()));
        }
        EXPECT_TRUE(value.take() == each.text);
    }
}

TEST(single_value, statuses_follow_the_reply) {
    const auto rows_of = [](int first, int count) {
        std::vector<std::string> rows;
        for (int i = 0; i < count; ++i)
            rows.push_back(row({integer(first + i), wire_text("second")}));
        return query({{"a", TRN_WIRE_INTEGER}, {"b", TRN_WIRE_CHAR}}, rows);
    };
    const std::string zero(4, '\0'), e = "Server Error e \n", m = "Server Message m \n",
                                     w = "Server Warning w \n";
    // clang-format off
    const struct { std::string reply; std::int32_t status; std::uint32_t word; std::string area, error, printed; } cases[] = {
        {K, 0, 7777, "", "", ""}, {rows_of(0, 0) + K, 0, 0, zero, "", ""}, {rows_of(31, 1) + K, 0, 5, "31", "", ""},
        {rows_of(31, 3) + K, 0, 5, "31", "", ""}, {one_value(TRN_WIRE_CHAR, null_value()), 0, 30, zero, "", ""},
        {one_value(TRN_WIRE_BLOB, wire_text("")), 0, 34, zero, "", ""}, {rows_of(31, 2) + U(9) + K, 2, 7777, "", "", ""},
        {rows_of(31, 2) + rows_of(52, 1) + K, 0, 5, "52", "", ""}, {U(9) + K, 2, 7777, "", "", ""}, {D(9) + K, 3, 7777, "", "", ""},
        {I("123") + K, 1, 7777, "", "", ""}, {I(std::string(9000, '1')) + U(1) + K, 2, 7777, "", "", ""},
        {U(9) + rows_of(31, 1) + K, 0, 5, "31", "", ""}, {E("e") + K, -1, 7777, "", "e", e}, {F("e") + K, -1, 7777, "", "e", e},
        {W("w") + K, 1, 7777, "", "w", w}, {M("m") + K, 1, 7777, "", "m", m}, {E("e") + M("m") + K, 1, 7777, "", "m", e + m},
        {E("e") + D(1) + K, 3, 7777, "", "e", e}, {U(1) + E("e") + K, -1, 7777, "", "e", e},
        {E("e") + rows_of(31, 1) + K, 0, 5, "31", "e", e},
    };
    // clang-format on
    for (const auto& each : cases) {
        SCOPED_TRACE(each.reply.substr(0, 60));
        Session session({{"statement", each.reply}, {"next", U(42) + K}});
        OutputCapture output;
        SingleValue value(session.connection, "statement");
        EXPECT_EQ(value.status, each.status);
        EXPECT_EQ(value.word, each.word);
        EXPECT_EQ(value.area, each.area + untouched.substr(each.area.size()));
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(error_text(session.connection.handle), each.error);
        EXPECT_EQ(last_insert_id(session.connection), "");
        EXPECT_EQ(session.connection.run("next"), 42);
    }
}

TEST(single_value, asks_once_for_the_rows_after_the_first_200) {
    for (const int count : {199, 200, 201, 400, 401, 1000}) {
        SCOPED_TRACE(count);
        std::vector<std::string> rows;
        for (int i = 0; i < count; ++i)
            rows.push_back(row({integer(1000 + i)}));
        Script script = logged_in({{"q", query({{"c", TRN_WIRE_INTEGER}}, rows) + K}});
        if (count > 200) script.push_back(expect("."));
        script.insert(script.end(), {expect_command("next"), send(U(42) + K)});
        Session session(script);
        SingleValue value(session.connection, "q");
        EXPECT_EQ(value.status, 0);
        EXPECT_EQ(value.take(), "1000");
        EXPECT_EQ(session.connection.run("next"), 42);
    }
}

} // namespace
