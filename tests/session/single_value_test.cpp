/*
 * TRN_Execute_query_with_one: the forms of the single value, the statuses of its replies and the request for
 * more rows after the first 200.
 */
#include "session_fixture.h"

#include <cstring>
#include <limits>

namespace {

const std::string untouched(64, '.');

struct SingleValue {
    SingleValue(TRN_HANDLE* handle, const char* sql)
        : status(TRN_Execute_query_with_one(handle, sql, area.data(), &word)) {}

    /* The handed-over value, released. */
    std::string take_handed_over() {
        std::int32_t length = 0;
        void* pointer = nullptr;
        std::memcpy(&length, area.data(), sizeof length);
        std::memcpy(&pointer, area.data() + 4, sizeof pointer);
        const std::string value(static_cast<const char*>(pointer), static_cast<std::size_t>(length) + 1);
        EXPECT_EQ(value.back(), '\0');
        EXPECT_EQ(TRN_FreePtr(&pointer), 0);
        EXPECT_EQ(pointer, nullptr);
        return value.substr(0, value.size() - 1);
    }

    std::string area = untouched;
    std::uint32_t word = 7777;
    std::int32_t status;
};

std::string one_value(std::int32_t type, const std::string& value) {
    return query({{"c", type}}, {row({value})}) + end_of_reply;
}

TEST(single_value, is_written_as_text_without_terminator) {
    constexpr std::int64_t second = 1000000;
    const auto day_time = [](std::int64_t h, std::int64_t m, std::int64_t s) {
        return be64((h * 3600 + m * 60 + s) * second + 999999);
    };
    const struct {
        std::int32_t type;
        std::string bytes, text;
    } rows[] = {
        {TRN_WIRE_BOOLEAN, "T", "T"},
        {TRN_WIRE_BOOLEAN, "?", "?"},
        {TRN_WIRE_TINYINT, "\xff", "-1"},
        {TRN_WIRE_SMALLINT, be16(-32768), "-32768"},
        {TRN_WIRE_INTEGER, be32(7), "7"},
        {TRN_WIRE_INTEGER, be32(-2147483648LL), "-2147483648"},
        {TRN_WIRE_BIGINT, be64(-1234567890123456789), "-1234567890123456789"},
        {TRN_WIRE_NUMERIC, "-12.50", "-12.50"},
        {TRN_WIRE_NUMERIC, std::string(63, '9'), std::string(63, '9')},
        {TRN_WIRE_NUMERIC, std::string(70, '9'), std::string(63, '9')},
        {TRN_WIRE_FLOAT, be_float(-1.5f), "-1.500000"},
        {TRN_WIRE_DOUBLE, be_double(3.5), "3.5"},
        {TRN_WIRE_DOUBLE, be_double(0.1), "0.1"},
        {TRN_WIRE_DOUBLE, be_double(1e100), "1e+100"},
        {TRN_WIRE_DATE, be32(11016), "2000-02-29"},
        {TRN_WIRE_TIME, be32(45296789), "12:34:56"},
        {TRN_WIRE_DATETIME, be64(-1), "1969-12-31 23:59:59"},
        {TRN_WIRE_INTERVAL_YEAR, be32(-3), "-3"},
        {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(-14), "-1-02"},
        {TRN_WIRE_INTERVAL_MONTH, be32(40), "40"},
        {TRN_WIRE_INTERVAL_DAY, be32(41), "41"},
        {TRN_WIRE_INTERVAL_DAY_TO_HOUR, be32(49), "2 01"},
        {TRN_WIRE_INTERVAL_HOUR, be32(42), "42"},
        {TRN_WIRE_INTERVAL_DAY_TO_MINUTE, be32(1440 + 61), "1 01:01"},
        {TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, be32(6005), "100:05"},
        {TRN_WIRE_INTERVAL_MINUTE, be32(43), "43"},
        {TRN_WIRE_INTERVAL_DAY_TO_SECOND, day_time(26, 3, 4), "1 2:03:04"},
        {TRN_WIRE_INTERVAL_HOUR_TO_SECOND, day_time(26, 3, 4), "26:03:04"},
        {TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, day_time(1, 2, 3), "62:03"},
        {TRN_WIRE_INTERVAL_SECOND, day_time(1, 0, 1), "3601"},
        {TRN_WIRE_CHAR, "a", "a"},
        {TRN_WIRE_CHAR, "zero\0inside"s, "zero\0inside"s},
        {TRN_WIRE_CHAR, std::string(63, 'x'), std::string(63, 'x')},
        {45, "opaque text", "opaque text"},
        {TRN_WIRE_TIME_TZ, be32(0) + be16(0), ""},
        {TRN_WIRE_DATETIME_TZ, be64(0) + be16(0), ""},
        {TRN_WIRE_OPAQUE, "bytes", ""},
        {99, "bytes", ""},
    };
    std::vector<Exchange> exchanges;
    for (const auto& each : rows)
        exchanges.push_back({"q", one_value(each.type, wire_text(each.bytes))});
    Session session(exchanges);
    for (const auto& each : rows) {
        SCOPED_TRACE("type " + std::to_string(each.type) + " " + each.text);
        SingleValue value(session.handle(), "q");
        EXPECT_EQ(value.status, 0);
        EXPECT_EQ(value.word, static_cast<std::uint32_t>(each.type));
        EXPECT_EQ(value.area, each.text + untouched.substr(each.text.size()));
    }
}

TEST(single_value, is_handed_over_when_long_or_large) {
    std::string large(70000, 'x');
    large[100] = '\0';
    const std::pair<std::int32_t, std::string> rows[] = {
        {TRN_WIRE_CHAR, std::string(64, 'c')},
        {TRN_WIRE_CHAR, large},
        {TRN_WIRE_CLOB, "x"},
        {TRN_WIRE_BINARY, "\0\1"s},
        {TRN_WIRE_BLOB, large},
        {45, std::string(64, 'o')},
        {TRN_WIRE_CLOB, std::string(64, 'z')},
        {TRN_WIRE_BINARY, "\0"s},
    };
    std::vector<Exchange> exchanges;
    for (const auto& [type, bytes] : rows)
        exchanges.push_back({"q", one_value(type, wire_text(bytes))});
    Session session(exchanges);
    for (const auto& [type, bytes] : rows) {
        SCOPED_TRACE("type " + std::to_string(type));
        SingleValue value(session.handle(), "q");
        EXPECT_EQ(value.status, 0);
        ASSERT_EQ(value.word, static_cast<std::uint32_t>(type) + TRN_HANDED_OVER);
        EXPECT_EQ(value.area.substr(12), untouched.substr(12));
        EXPECT_TRUE(value.take_handed_over() == bytes);
    }
}

TEST(single_value, statuses_follow_the_reply) {
    const auto U = update_count, D = delete_count;
    const auto I = inserted, E = server_error, W = warning, M = notice;
    const std::string K = end_of_reply;
    const auto rows_of = [](int first, int count) {
        std::vector<std::string> rows;
        for (int i = 0; i < count; ++i)
            rows.push_back(row({integer(first + i), characters("second")}));
        return query({{"a", TRN_WIRE_INTEGER}, {"b", TRN_WIRE_CHAR}}, rows);
    };
    const std::string zero(4, '\0');
    const struct {
        std::string reply;
        std::int32_t status;
        std::uint32_t word;
        std::string area, error, printed;
    } cases[] = {
        {K, 0, 7777, "", "", ""},
        {rows_of(0, 0) + K, 0, 0, zero, "", ""},
        {rows_of(31, 1) + K, 0, 5, "31", "", ""},
        {rows_of(31, 3) + K, 0, 5, "31", "", ""},
        {one_value(TRN_WIRE_CHAR, null_value()), 0, 30, zero, "", ""},
        {one_value(TRN_WIRE_BLOB, wire_text("")), 0, 34, zero, "", ""},
        {rows_of(31, 2) + U(9) + K, 2, 7777, "", "", ""},
        {rows_of(31, 2) + rows_of(52, 1) + K, 0, 5, "52", "", ""},
        {U(9) + K, 2, 7777, "", "", ""},
        {D(9) + K, 3, 7777, "", "", ""},
        {I("123") + K, 1, 7777, "", "", ""},
        {I(std::string(9000, '1')) + U(1) + K, 2, 7777, "", "", ""},
        {U(9) + rows_of(31, 1) + K, 0, 5, "31", "", ""},
        {E("e") + K, -1, 7777, "", "e", "Server Error e \n"},
        {"F" + wire_text("e") + K, -1, 7777, "", "e", "Server Error e \n"},
        {W("w") + K, 1, 7777, "", "w", "Server Warning w \n"},
        {M("m") + K, 1, 7777, "", "m", "Server Message m \n"},
        {E("e") + M("m") + K, 1, 7777, "", "m", "Server Error e \nServer Message m \n"},
        {E("e") + D(1) + K, 3, 7777, "", "e", "Server Error e \n"},
        {U(1) + E("e") + K, -1, 7777, "", "e", "Server Error e \n"},
        {E("e") + rows_of(31, 1) + K, 0, 5, "31", "e", "Server Error e \n"},
    };
    for (const auto& each : cases) {
        SCOPED_TRACE(each.reply.substr(0, 60));
        Session session({{"statement", each.reply}, {"next", U(42) + K}});
        OutputCapture output;
        SingleValue value(session.handle(), "statement");
        EXPECT_EQ(value.status, each.status);
        EXPECT_EQ(value.word, each.word);
        EXPECT_EQ(value.area, each.area + untouched.substr(each.area.size()));
        EXPECT_EQ(output.text(), each.printed);
        EXPECT_EQ(error_text(session.handle()), each.error);
        EXPECT_EQ(last_insert_id(session.handle()), "");
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "next"), 42);
    }
}

TEST(single_value, letters_outside_the_range_end_the_reply_with_zero) {
    for (const std::string& reply : {"Z"s, "\0"s, "@"s, server_error("e") + "Z", update_count(4) + "X"}) {
        SCOPED_TRACE(reply);
        Session session({{"statement", reply}});
        EXPECT_EQ(SingleValue(session.handle(), "statement").status, 0);
    }
}

TEST(single_value, asks_once_for_the_rows_after_the_first_200) {
    for (const int count : {199, 200, 201, 400, 401, 1000}) {
        SCOPED_TRACE(count);
        std::vector<std::string> rows;
        for (int i = 0; i < count; ++i)
            rows.push_back(row({integer(1000 + i)}));
        Script script = logged_in({{"q", query({{"c", TRN_WIRE_INTEGER}}, rows) + end_of_reply}});
        if (count > 200) script.push_back(expect("."));
        script.push_back(expect_command("next"));
        script.push_back(send(update_count(42) + end_of_reply));
        Session session(script);
        SingleValue value(session.handle(), "q");
        EXPECT_EQ(value.status, 0);
        EXPECT_EQ(value.word, 5u);
        EXPECT_EQ(value.area.substr(0, 5), "1000.");
        EXPECT_EQ(TRN_Execute_no_query(session.handle(), "next"), 42);
    }
}

} // namespace
