/*
 * TRN_GetData: the whole matrix of stored types and targets, truncation, piecewise reads and the refusals.
 * One row holds a value of every type; each cell of the matrix is asked for and whatever is not listed as
 * delivered must be refused without touching the destination.
 */
#include "session_fixture.h"

#include <algorithm>
#include <bit>
#include <chrono>
#include <map>

namespace {

const std::string untouched(80, '.');
constexpr std::int32_t text_targets[] = {2, 10, 11, 12, 13, 14};

struct Source {
    std::int32_t type;
    std::string wire;   /* the value as it travels */
    std::string stored; /* the value as target 9 gives it */
    std::string text;   /* "" when there is none */
    bool bytes_deliverable = false;
};

/* One value of each type, in the order of the columns. */
const std::vector<Source> sources = {
    {TRN_WIRE_BOOLEAN, "T", "T", "T"},
    {TRN_WIRE_TINYINT, "\x85", "\x85", "-123"},
    {TRN_WIRE_SMALLINT, be16(-300), host16(-300), "-300"},
    {TRN_WIRE_INTEGER, be32(-70000), host32(-70000), "-70000"},
    {TRN_WIRE_BIGINT, be64(-5000000000), host64(-5000000000), "-5000000000"},
    {TRN_WIRE_NUMERIC, "-42.75", "-42.75", "-42.75"},
    {TRN_WIRE_FLOAT, be_float(2.5f), host32(std::bit_cast<std::int32_t>(2.5f)), "2.500000"},
    {TRN_WIRE_DOUBLE, be_double(3.5), host64(std::bit_cast<std::int64_t>(3.5)), "3.500000000000000"},
    {TRN_WIRE_DATE, be32(789), host32(789), "1972-02-29"},
    {TRN_WIRE_TIME, be32(45296789), host32(45296789), "12:34:56"},
    {TRN_WIRE_TIME_TZ, be32(45296789) + be16(480), be32(45296789) + be16(480), "20:34:56+8"},
    {TRN_WIRE_DATETIME, be64(86400001), host64(86400001), "1970-01-02 00:00:00"},
    {TRN_WIRE_DATETIME_TZ, be64(1000000) + be16(-90), be64(1000000) + be16(-90), "1969-12-31 22:30:01-1"},
    {TRN_WIRE_INTERVAL_YEAR, be32(-3), host32(-3), "-3"},
    {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(-14), host32(-14), "-1-02"},
    {TRN_WIRE_INTERVAL_MONTH, be32(17), host32(17), "17"},
    {TRN_WIRE_INTERVAL_DAY, be32(18), host32(18), "18"},
    {TRN_WIRE_INTERVAL_DAY_TO_HOUR, be32(49), host32(49), "2 01"},
    {TRN_WIRE_INTERVAL_HOUR, be32(20), host32(20), "20"},
    {TRN_WIRE_INTERVAL_DAY_TO_MINUTE, be32(1501), host32(1501), "1 01:01"},
    {TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, be32(125), host32(125), "2:05"},
    {TRN_WIRE_INTERVAL_MINUTE, be32(23), host32(23), "23"},
    {TRN_WIRE_INTERVAL_DAY_TO_SECOND, be64(93784999999), host64(93784999999), "1 2:03:04"},
    {TRN_WIRE_INTERVAL_HOUR_TO_SECOND, be64(93784999999), host64(93784999999), "26:03:04"},
    {TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, be64(3723000000), host64(3723000000), "62:03"},
    {TRN_WIRE_INTERVAL_SECOND, be64(5000000000999999), host64(5000000000999999), "5000000000"},
    {TRN_WIRE_OPAQUE, "opaque", "opaque", "opaque"},
    {TRN_WIRE_CHAR, "letters", "letters", "letters", true},
    {TRN_WIRE_CLOB, "characters", "characters", "characters", true},
    {TRN_WIRE_BINARY, "\1\0\2"s, "\1\0\2"s, "\1\0\2"s, true},
    {TRN_WIRE_BLOB, "blob\0"s, "blob\0"s, "blob\0"s, true},
    {45, "text of 45", "text of 45", "text of 45"},
    {99, "unknown", "unknown", ""},
};

/* The numeric and raw cells, by wire type and target, as the bytes delivered. */
const std::map<std::pair<std::int32_t, std::int32_t>, std::string> delivered = [] {
    std::map<std::pair<std::int32_t, std::int32_t>, std::string> cells;
    const auto single = [](float value) { return host32(std::bit_cast<std::int32_t>(value)); };
    const auto real = [](double value) { return host64(std::bit_cast<std::int64_t>(value)); };
    const std::pair<std::int32_t, std::int64_t> integers[] = {{TRN_WIRE_BOOLEAN, 'T'},
                                                              {TRN_WIRE_TINYINT, -123},
                                                              {TRN_WIRE_SMALLINT, -300},
                                                              {TRN_WIRE_INTEGER, -70000},
                                                              {TRN_WIRE_BIGINT, -5000000000}};
    for (const auto& [type, value] : integers) {
        if (type <= TRN_WIRE_SMALLINT) cells[{type, 4}] = host16(value);
        if (type <= TRN_WIRE_INTEGER) cells[{type, 1}] = cells[{type, 5}] = host32(value);
        cells[{type, 6}] = host64(value);
        if (type >= TRN_WIRE_TINYINT) {
            cells[{type, 7}] = single(static_cast<float>(value));
            cells[{type, 8}] = real(static_cast<double>(value));
        }
        if (type >= TRN_WIRE_INTEGER) cells[{type, 28}] = cells[{type, 31}] = host64(value);
    }
    cells[{TRN_WIRE_NUMERIC, 1}] = cells[{TRN_WIRE_NUMERIC, 5}] = host32(-42);
    cells[{TRN_WIRE_NUMERIC, 6}] = host64(-42);
    cells[{TRN_WIRE_NUMERIC, 7}] = single(-42.75f);
    cells[{TRN_WIRE_NUMERIC, 8}] = real(-42.75);
    cells[{TRN_WIRE_FLOAT, 7}] = single(2.5f);
    cells[{TRN_WIRE_FLOAT, 8}] = real(2.5);
    cells[{TRN_WIRE_DOUBLE, 7}] = single(3.5f);
    cells[{TRN_WIRE_DOUBLE, 8}] = real(3.5);
    cells[{TRN_WIRE_DATETIME, 23}] = host64(86400001);
    cells[{TRN_WIRE_INTERVAL_YEAR_TO_MONTH, 28}] = host32(-14);
    cells[{TRN_WIRE_INTERVAL_DAY_TO_SECOND, 31}] = host64(93784999999);
    for (const Source& source : sources) {
        cells[{source.type, 3}] = cells[{source.type, 63}] = source.stored.substr(0, 1);
        cells[{source.type, 9}] = source.stored;
        if (source.bytes_deliverable) cells[{source.type, 15}] = cells[{source.type, 18}] = source.stored;
    }
    return cells;
}();

bool is_text_target(std::int32_t target) {
    return std::find(std::begin(text_targets), std::end(text_targets), target) != std::end(text_targets);
}

/* The result of a query with one row, its row made current. */
struct OneRow {
    explicit OneRow(const std::vector<Source>& values)
        : session({{"q", reply(values)}}), reader(session.handle(), "q") {
        EXPECT_EQ(TRN_ReadNext(&reader.result), 0);
    }
    static std::string reply(const std::vector<Source>& values) {
        std::vector<Column> columns;
        std::vector<std::string> cells;
        for (const Source& value : values) {
            columns.push_back({"c", value.type});
            cells.push_back(wire_text(value.wire));
        }
        return query(columns, {row(cells)}) + end_of_reply;
    }
    /* Asks with a destination filled with dots and a length variable of 0. */
    std::int32_t ask(std::int32_t column, std::int32_t target, std::int32_t size) {
        area = untouched;
        return TRN_GetData(&reader.result, column, target, area.data(), size, &length);
    }

    Session session;
    Reader reader;
    std::string area = untouched;
    std::int32_t length = 0;
};

TEST(get_data, every_pair_of_type_and_target_delivers_or_refuses) {
    OneRow row(sources);
    for (std::size_t i = 0; i < sources.size(); ++i) {
        const Source& source = sources[i];
        for (std::int32_t target = -1; target <= 65; ++target) {
            if (target == TRN_TYPE_CLOB || target == TRN_TYPE_BLOB) continue;
            SCOPED_TRACE("type " + std::to_string(source.type) + " to target " + std::to_string(target));
            const auto cell = delivered.find({source.type, target});
            std::int32_t status = TRN_ERR_CONVERSION, length = 0;
            std::string area = untouched;
            row.length = target == TRN_TYPE_BYTES_PIECEWISE ? 0 : 77;
            if (is_text_target(target) && !source.text.empty()) {
                status = 0;
                length = static_cast<std::int32_t>(source.text.size());
                area = source.text + std::string(untouched.size() - source.text.size(), '\0');
            } else if (cell != delivered.end()) {
                status = 0;
                length = static_cast<std::int32_t>(cell->second.size());
                const bool clears = target == TRN_TYPE_BYTES || target == TRN_TYPE_BYTES_PIECEWISE;
                area = cell->second + (clears ? std::string(untouched.size() - cell->second.size(), '\0')
                                              : untouched.substr(cell->second.size()));
            } else if (target == TRN_TYPE_FLOAT) {
                status = 0;
                length = 77;
            } else if (target == TRN_TYPE_INTERVAL) {
                length = 77;
                if (source.type == TRN_WIRE_INTERVAL_YEAR_TO_MONTH ||
                    source.type == TRN_WIRE_INTERVAL_DAY_TO_SECOND)
                    status = 0;
            }
            EXPECT_EQ(row.ask(static_cast<std::int32_t>(i) + 1, target, 80), status);
            EXPECT_EQ(row.length, length);
            EXPECT_EQ(row.area, area);
        }
    }
}

TEST(get_data, fixed_targets_ignore_the_destination_length_and_need_no_length_variable) {
    OneRow row(sources);
    for (const std::int32_t target : {5, 6, 8, 3, 9, 28, 31}) {
        std::string area = untouched;
        EXPECT_EQ(TRN_GetData(&row.reader.result, 4, target, area.data(), 0, nullptr), 0);
        const std::string& bytes = delivered.at({TRN_WIRE_INTEGER, target});
        EXPECT_EQ(area, bytes + untouched.substr(bytes.size())) << target;
    }
}

TEST(get_data, text_forms) {
    constexpr std::int64_t hour = 3600000000, second = 1000000;
    const std::vector<Source> values = {
        {TRN_WIRE_BOOLEAN, "F", "", "F"},
        {TRN_WIRE_BOOLEAN, "t", "", "UNKNOWN"},
        {TRN_WIRE_NUMERIC, std::string(63, '8'), "", std::string(63, '8')},
        {TRN_WIRE_NUMERIC, std::string(90, '8'), "", std::string(63, '8')},
        {TRN_WIRE_OPAQUE, "abc\0def"s, "", "abc"},
        {TRN_WIRE_OPAQUE, std::string(90, 'o'), "", std::string(63, 'o')},
        {TRN_WIRE_OPAQUE, "\0abc"s, "", "status -13"},
        {45, std::string(90, 'o'), "", std::string(63, 'o')},
        {TRN_WIRE_FLOAT, be_float(-0.1f), "", "-0.100000"},
        {TRN_WIRE_DOUBLE, be_double(12345.678), "", "12345.67800000000"},
        {TRN_WIRE_DOUBLE, be_double(-3.5), "", "-3.500000000000000"},
        {TRN_WIRE_DOUBLE, be_double(0), "", "0.000000000000000"},
        {TRN_WIRE_DOUBLE, be_double(-999999999999999), "", "-999999999999999.0"},
        {TRN_WIRE_DOUBLE, be_double(1e15), "", "1000000000000000.000000"},
        {TRN_WIRE_DOUBLE, be_double(-1e16), "", "-10000000000000000.000000"},
        {TRN_WIRE_DATE, be32(0), "", "1970-01-01"},
        {TRN_WIRE_DATE, be32(-1), "", "1969-12-31"},
        {TRN_WIRE_DATE, be32(-25508), "", "1900-03-01"},
        {TRN_WIRE_DATE, be32(-719528), "", "0000-01-01"},
        {TRN_WIRE_DATE, be32(INT32_MAX), "", "5881580-07-11"},
        {TRN_WIRE_TIME, be32(-3661000), "", "-1:-1:-1"},
        {TRN_WIRE_TIME, be32(100 * 3600000), "", "100:00:00"},
        {TRN_WIRE_TIME_TZ, be32(86399000) + be16(120), "", "25:59:59+2"},
        {TRN_WIRE_TIME_TZ, be32(45296789) + be16(-330), "", "7:04:56-5"},
        {TRN_WIRE_TIME_TZ, be32(0) + be16(0), "", "0:00:00+0"},
        {TRN_WIRE_TIME_TZ, be32(0) + "\0"s, "", "status -13"},
        {TRN_WIRE_TIME_TZ, be64(0), "", "status -13"},
        {TRN_WIRE_DATETIME_TZ, be64(-1) + be16(0), "", "1970-01-01 00:00:00+0"},
        {TRN_WIRE_DATETIME_TZ, be64(-1000) + be16(0), "", "1969-12-31 23:59:59+0"},
        {TRN_WIRE_DATETIME_TZ, be64(0) + be16(330), "", "1970-01-01 05:30:00+5"},
        {TRN_WIRE_DATETIME_TZ, be64(-719528 * 24 * hour) + be16(0), "", "0-01-01 00:00:00+0"},
        {TRN_WIRE_DATETIME_TZ, be64(0), "", "status -13"},
        {TRN_WIRE_DATETIME, be64(-1), "", "1969-12-31 23:59:59"},
        {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(-5), "", "0-05"},
        {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(INT32_MIN), "", "-178956970-08"},
        {TRN_WIRE_INTERVAL_DAY_TO_HOUR, be32(-49), "", "-2 -1"},
        {TRN_WIRE_INTERVAL_DAY_TO_MINUTE, be32(-1501), "", "-1 -1:-1"},
        {TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, be32(-61), "", "-1:-1"},
        {TRN_WIRE_INTERVAL_DAY_TO_SECOND, be64(-93784 * second), "", "-1 -2:-3:-4"},
        {TRN_WIRE_INTERVAL_DAY_TO_SECOND, be64(-999999), "", "0 0:00:00"},
        {TRN_WIRE_INTERVAL_HOUR_TO_SECOND, be64(2147483648 * hour), "", "2147483648:00:00"},
        {TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, be64(INT64_MAX), "", "153722867280:54"},
        {TRN_WIRE_INTERVAL_SECOND, be64(INT64_MIN), "", "-9223372036854"},
    };
    OneRow row(values);
    for (std::size_t i = 0; i < values.size(); ++i)
        EXPECT_EQ(text_value(&row.reader.result, static_cast<std::int32_t>(i) + 1), values[i].text)
            << "value " << i << " of type " << values[i].type;
    OneRow huge({{TRN_WIRE_DOUBLE, be_double(1e300), "", ""}});
    EXPECT_EQ(text_value(&huge.reader.result, 1).size(), 63u);
}

TEST(get_data, dates_agree_with_the_calendar) {
    std::vector<Source> values;
    for (std::int32_t day = -719528; values.size() < 3900; day += 577)
        values.push_back({TRN_WIRE_DATE, be32(day), host32(day), ""});
    OneRow row(values);
    for (std::size_t i = 0; i < values.size(); ++i) {
        const std::int32_t day = -719528 + 577 * static_cast<std::int32_t>(i);
        const std::chrono::year_month_day date{std::chrono::sys_days{std::chrono::days{day}}};
        char text[32];
        std::snprintf(text, sizeof text, "%04d-%02u-%02u", static_cast<int>(date.year()),
                      static_cast<unsigned>(date.month()), static_cast<unsigned>(date.day()));
        ASSERT_EQ(text_value(&row.reader.result, static_cast<std::int32_t>(i) + 1), text) << day;
    }
}

TEST(get_data, numeric_texts_are_read_up_to_the_first_other_character) {
    const struct {
        std::string text;
        std::int32_t integer;
        double real;
    } rows[] = {{"12.75", 12, 12.75},
                {"  -7abc", -7, -7},
                {"+3e2", 3, 300},
                {"abc", 0, 0},
                {"2147483647", 2147483647, 2147483647.0}};
    for (const auto& each : rows) {
        SCOPED_TRACE(each.text);
        OneRow row({{TRN_WIRE_NUMERIC, each.text, "", ""}});
        std::int32_t integer = 0;
        std::int64_t wide = 0;
        double real = 0;
        EXPECT_EQ(TRN_GetData(&row.reader.result, 1, 5, &integer, 4, nullptr), 0);
        EXPECT_EQ(TRN_GetData(&row.reader.result, 1, 6, &wide, 8, nullptr), 0);
        EXPECT_EQ(TRN_GetData(&row.reader.result, 1, 8, &real, 8, nullptr), 0);
        EXPECT_EQ(integer, each.integer);
        EXPECT_EQ(wide, each.integer);
        EXPECT_EQ(real, each.real);
    }
}

TEST(get_data, reports_what_does_not_fit) {
    OneRow row({{TRN_WIRE_CHAR, "0123456789", "", ""}, {TRN_WIRE_BIGINT, be64(1234567890), "", ""}});
    const std::string zero(1, '\0'), text = "0123456789", number = "1234567890";
    const struct {
        std::int32_t column, target, size, status, length;
        std::string start;
    } rows[] = {
        {1, 2, 11, 0, 10, text + zero},
        {1, 2, 10, 0, 10, text},
        {1, 2, 9, -12, 2, "01234567" + zero},
        {1, 13, 1, -12, 10, zero},
        {2, 2, 11, 0, 10, number + zero},
        {2, 2, 10, -12, 1, "123456789" + zero},
        {2, 10, 2, -12, 9, "1" + zero},
        {2, 2, 1, -12, 10, zero},
        {1, 15, 10, 0, 10, text},
        {1, 15, 9, -12, 1, "012345678"},
        {1, 15, 1, -12, 9, "0"},
        {1, 15, 12, 0, 10, text + zero + zero},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE("target " + std::to_string(each.target) + " size " + std::to_string(each.size));
        EXPECT_EQ(row.ask(each.column, each.target, each.size), each.status);
        EXPECT_EQ(row.length, each.length);
        EXPECT_EQ(row.area, each.start + untouched.substr(each.start.size()));
    }
    for (const std::int32_t target : {2, 12, 15, 18}) {
        for (const std::int32_t size : {0, -1, INT32_MIN}) {
            row.length = 0;
            EXPECT_EQ(row.ask(1, target, size), TRN_TRUNCATED);
            EXPECT_EQ(row.area, untouched);
        }
    }
    EXPECT_EQ(row.ask(2, 2, 0), TRN_TRUNCATED);
    EXPECT_EQ(row.area, untouched);
}

TEST(get_data, piecewise_reads_walk_through_the_value) {
    OneRow row({{TRN_WIRE_CHAR, "abcde", "", ""},
                {TRN_WIRE_INTEGER, be32(1), "", ""},
                {TRN_WIRE_NUMERIC, "12", "", ""}});
    const std::string zero(1, '\0');
    const struct {
        std::int32_t column, offset, size, status, length;
        std::string start;
    } rows[] = {
        {1, 0, 2, 0, 2, "ab"},
        {1, 2, 2, 0, 2, "cd"},
        {1, 4, 2, 0, 1, "e" + zero},
        {1, 5, 2, 0, 0, ""},
        {1, 6, 2, -18, 6, ""},
        {1, -1, 2, -18, -1, ""},
        {1, 0, 5, 0, 5, "abcde"},
        {1, 1, 80, 0, 4, "bcde" + std::string(76, '\0')},
        {1, INT32_MIN, 2, -18, INT32_MIN, ""},
        {1, INT32_MAX, 2, -18, INT32_MAX, ""},
        {2, 0, 8, -13, 0, ""},
        {2, 3, 8, -13, 0, ""},
        {2, 4, 8, 0, 0, ""},
        {2, 5, 8, -18, 5, ""},
        {3, 1, 8, -13, 0, ""},
        {3, 2, 8, 0, 0, ""},
        {3, 3, 8, -18, 3, ""},
    };
    for (const auto& each : rows) {
        SCOPED_TRACE("column " + std::to_string(each.column) + " offset " + std::to_string(each.offset));
        row.length = each.offset;
        EXPECT_EQ(row.ask(each.column, TRN_TYPE_BYTES_PIECEWISE, each.size), each.status);
        EXPECT_EQ(row.length, each.length);
        if (each.status != 0 || each.length > 0) {
            EXPECT_EQ(row.area, each.start + untouched.substr(each.start.size()));
        }
    }
    std::string area = untouched;
    EXPECT_EQ(TRN_GetData(&row.reader.result, 1, TRN_TYPE_BYTES_PIECEWISE, area.data(), 3, nullptr), 0);
    EXPECT_EQ(area.substr(0, 4), "abc.");
}

TEST(get_data, refusals_come_in_a_fixed_order) {
    Session session({{"q", query({{"null", TRN_WIRE_CHAR}, {"value", TRN_WIRE_CHAR}},
                                 {row({null_value(), characters("v")})}) +
                               end_of_reply}});
    Reader reader(session.handle(), "q");
    const auto ask = [&](std::int32_t column, std::int32_t target, bool with_buffer, std::int32_t kept) {
        std::string area = untouched;
        std::int32_t length = 77;
        const std::int32_t status =
            TRN_GetData(&reader.result, column, target, with_buffer ? area.data() : nullptr, 80, &length);
        EXPECT_EQ(area, untouched);
        EXPECT_EQ(length, kept);
        return status;
    };
    for (const char* moment : {"before the first row", "on the row", "after the last row"}) {
        SCOPED_TRACE(moment);
        for (const std::int32_t target : {2, 5, 9, 15, 0, 64, 21}) {
            EXPECT_EQ(ask(1, target, true, 0), TRN_NULL_VALUE);
            EXPECT_EQ(ask(0, target, true, 77), TRN_ERR_COLUMN);
            EXPECT_EQ(ask(3, target, true, 77), TRN_ERR_COLUMN);
            EXPECT_EQ(ask(INT32_MIN, target, false, 77), TRN_ERR_ARGUMENT);
        }
        if (moment != "on the row"s) {
            EXPECT_EQ(ask(2, 2, true, 0), TRN_NULL_VALUE);
        } else {
            EXPECT_EQ(text_value(&reader.result, 2), "v");
        }
        TRN_ReadNext(&reader.result);
    }
}

} // namespace
