/*
 * TRN_GetData: the whole matrix of stored types and targets, truncation, piecewise reads and the refusals.
 * One row holds a value of every type; each cell of the matrix is asked for and whatever is not listed as
 * delivered must be refused without touching the destination.
 */
#include "session_fixture.h"

#include <algorithm>
#include <limits>
#include <map>

namespace {

const std::string untouched(160, '.');

struct Source {
    std::int32_t type;
    std::string wire; /* the value as it travels */
    std::string text; /* "" when there is none */
};

// clang-format off
/* One value of each type, in the order of the columns. */
const std::vector<Source> sources = {
    {TRN_WIRE_BOOLEAN, "T", "T"}, {TRN_WIRE_TINYINT, "\x85", "-123"}, {TRN_WIRE_SMALLINT, be16(-300), "-300"},
    {TRN_WIRE_INTEGER, be32(-70000), "-70000"}, {TRN_WIRE_BIGINT, be64(-5000000000), "-5000000000"},
    {TRN_WIRE_NUMERIC, "-42.75", "-42.75"}, {TRN_WIRE_FLOAT, be_float(2.5f), "2.500000"},
    {TRN_WIRE_DOUBLE, be_double(3.5), "3.500000000000000"}, {TRN_WIRE_DATE, be32(789), "1972-02-29"},
    {TRN_WIRE_TIME, be32(45296789), "12:34:56"}, {TRN_WIRE_TIME_TZ, be32(45296789) + be16(480), "20:34:56+8"},
    {TRN_WIRE_DATETIME, be64(86400001), "1970-01-02 00:00:00"},
    {TRN_WIRE_DATETIME_TZ, be64(1000000) + be16(-90), "1969-12-31 22:30:01-1"},
    {TRN_WIRE_INTERVAL_YEAR, be32(-3), "-3"}, {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(-14), "-1-02"},
    {TRN_WIRE_INTERVAL_MONTH, be32(17), "17"}, {TRN_WIRE_INTERVAL_DAY, be32(18), "18"},
    {TRN_WIRE_INTERVAL_DAY_TO_HOUR, be32(49), "2 01"}, {TRN_WIRE_INTERVAL_HOUR, be32(20), "20"},
    {TRN_WIRE_INTERVAL_DAY_TO_MINUTE, be32(1501), "1 01:01"}, {TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, be32(6005), "100:05"},
    {TRN_WIRE_INTERVAL_MINUTE, be32(23), "23"}, {TRN_WIRE_INTERVAL_DAY_TO_SECOND, be64(93784999999), "1 2:03:04"},
    {TRN_WIRE_INTERVAL_HOUR_TO_SECOND, be64(93784999999), "26:03:04"},
    {TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, be64(3723000000), "62:03"},
    {TRN_WIRE_INTERVAL_SECOND, be64(5000000000999999), "5000000000"}, {TRN_WIRE_OPAQUE, "opaque", "opaque"},
    {TRN_WIRE_CHAR, "letters", "letters"}, {TRN_WIRE_CLOB, "characters", "characters"},
    {TRN_WIRE_BINARY, "\1\0\2"s, "\1\0\2"s}, {TRN_WIRE_BLOB, "blob\0"s, "blob\0"s}, {45, "text of 45", "text of 45"},
    {99, "unknown", ""},
};

const std::vector<Source> text_forms = {
    {TRN_WIRE_BOOLEAN, "F", "F"}, {TRN_WIRE_BOOLEAN, "t", "UNKNOWN"}, {TRN_WIRE_OPAQUE, "abc\0def"s, "abc"},
    {TRN_WIRE_OPAQUE, std::string(90, 'o'), std::string(63, 'o')}, {TRN_WIRE_OPAQUE, "\0abc"s, "status -13"},
    {TRN_WIRE_DATE, be32(-719528), "0000-01-01"}, {TRN_WIRE_DATE, be32(INT32_MAX), "5881580-07-11"},
    {TRN_WIRE_TIME, be32(-3661000), "-1:-1:-1"}, {TRN_WIRE_TIME, be32(100 * 3600000), "100:00:00"},
    {TRN_WIRE_TIME_TZ, be32(86399000) + be16(120), "25:59:59+2"},
    {TRN_WIRE_TIME_TZ, be32(45296789) + be16(-330), "7:04:56-5"}, {TRN_WIRE_TIME_TZ, be32(0) + be16(0), "0:00:00+0"},
    {TRN_WIRE_TIME_TZ, be32(0) + "\0"s, "status -13"}, {TRN_WIRE_TIME_TZ, be64(0), "status -13"},
    {TRN_WIRE_DATETIME_TZ, be64(-1) + be16(0), "1970-01-01 00:00:00+0"},
    {TRN_WIRE_DATETIME_TZ, be64(-1000) + be16(0), "1969-12-31 23:59:59+0"},
    {TRN_WIRE_DATETIME_TZ, be64(0) + be16(330), "1970-01-01 05:30:00+5"},
    {TRN_WIRE_DATETIME_TZ, be64(-719528 * 86400000000) + be16(0), "0-01-01 00:00:00+0"},
    {TRN_WIRE_DATETIME_TZ, be64(0), "status -13"},
    {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(-5), "0-05"}, {TRN_WIRE_INTERVAL_YEAR_TO_MONTH, be32(INT32_MIN), "-178956970-08"},
    {TRN_WIRE_INTERVAL_DAY_TO_HOUR, be32(-49), "-2 -1"}, {TRN_WIRE_INTERVAL_DAY_TO_MINUTE, be32(-1501), "-1 -1:-1"},
    {TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, be32(-61), "-1:-1"},
    {TRN_WIRE_INTERVAL_DAY_TO_SECOND, be64(-93784000000), "-1 -2:-3:-4"},
    {TRN_WIRE_INTERVAL_DAY_TO_SECOND, be64(-999999), "0 0:00:00"},
    {TRN_WIRE_INTERVAL_HOUR_TO_SECOND, be64(2147483648 * 3600000000), "2147483648:00:00"},
    {TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, be64(INT64_MAX), "153722867280:54"},
    {TRN_WIRE_INTERVAL_SECOND, be64(INT64_MIN), "-9223372036854"},
};
// clang-format on

using Targets = std::vector<std::int32_t>;

/* The cells that deliver anything but text, by wire type and target, as the bytes delivered. */
std::map<std::pair<std::int32_t, std::int32_t>, std::string> delivered_cells() {
    std::map<std::pair<std::int32_t, std::int32_t>, std::string> cells;
    const auto put = [&](std::int32_t type, const Targets& targets, const std::string& wire) {
        for (const std::int32_t target : targets)
            cells[{type, target}] = reversed(wire);
    };
    const auto whole = [&](std::int32_t type, std::int64_t value, const Targets& targets16,
                           const Targets& targets32, const Targets& targets64) {
        put(type, targets16, be16(value));
        put(type, targets32, be32(value));
        put(type, targets64, be64(value));
    };
    whole(TRN_WIRE_BOOLEAN, 'T', {4}, {1, 5}, {6});
    whole(TRN_WIRE_TINYINT, -123, {4}, {1, 5}, {6});
    whole(TRN_WIRE_SMALLINT, -300, {4}, {1, 5}, {6});
    whole(TRN_WIRE_INTEGER, -70000, {}, {1, 5}, {6, 28, 31});
    whole(TRN_WIRE_BIGINT, -5000000000, {}, {}, {6, 28, 31});
    whole(TRN_WIRE_NUMERIC, -42, {}, {1, 5}, {6});
    whole(TRN_WIRE_DATETIME, 86400001, {}, {}, {23});
    whole(TRN_WIRE_INTERVAL_YEAR_TO_MONTH, -14, {}, {28}, {});
    whole(TRN_WIRE_INTERVAL_DAY_TO_SECOND, 93784999999, {}, {}, {31});
    const std::pair<std::int32_t, double> numbers[] = {{TRN_WIRE_TINYINT, -123},   {TRN_WIRE_SMALLINT, -300},
                                                       {TRN_WIRE_INTEGER, -70000}, {TRN_WIRE_BIGINT, -5e9},
                                                       {TRN_WIRE_NUMERIC, -42.75}, {TRN_WIRE_FLOAT, 2.5},
                                                       {TRN_WIRE_DOUBLE, 3.5}};
    for (const auto& [type, value] : numbers) {
        put(type, {7}, be_float(static_cast<float>(value)));
        put(type, {8}, be_double(value));
    }
    for (const auto& [type, wire, text] : sources) {
        /* Fixed values are kept in the order of the host, those of variable length as they travel. */
        const bool fixed =
            type < 28 && type != TRN_WIRE_NUMERIC && type != TRN_WIRE_TIME_TZ && type != TRN_WIRE_DATETIME_TZ;
        const std::string stored = fixed ? reversed(wire) : wire;
        cells[{type, 3}] = cells[{type, 63}] = stored.substr(0, 1);
        cells[{type, 9}] = stored;
        if (type >= TRN_WIRE_CHAR && type <= TRN_WIRE_BLOB) cells[{type, 15}] = cells[{type, 18}] = stored;
    }
    return cells;
}

/* The result of a query with one row, its row made current. */
struct OneRow {
    explicit OneRow(const std::vector<Source>& values)
        : session({{"q", reply(values)}}), reader(session.connection, "q") {
        EXPECT_TRUE(reader.next());
    }
    static std::string reply(const std::vector<Source>& values) {
        std::vector<Column> columns;
        std::vector<std::string> cells;
        for (const Source& value : values) {
            columns.push_back({"c", value.type});
            cells.push_back(wire_text(value.wire));
        }
        return query(columns, {row(cells)}) + K;
    }
    /* Asks with a destination filled with dots; the length variable holds length_before. */
    void expect(std::int32_t column, std::int32_t target, std::int32_t size, std::int32_t length_before,
                std::int32_t status, std::int32_t length_behind, const std::string& area_start) {
        std::string area = untouched;
        std::int32_t length = length_before;
        EXPECT_EQ(TRN_GetData(&reader.result, column, target, area.data(), size, &length), status);
        EXPECT_EQ(length, length_behind);
        EXPECT_EQ(area, area_start + untouched.substr(area_start.size()));
    }

    Session session;
    Reader reader;
};

TEST(get_data, every_pair_of_type_and_target_delivers_or_refuses) {
    OneRow row(sources);
    const auto delivered = delivered_cells();
    for (std::int32_t column = 1; column <= static_cast<std::int32_t>(sources.size()); ++column) {
        const Source& source = sources[static_cast<std::size_t>(column) - 1];
        for (std::int32_t target = -1; target <= 65; ++target) {
            if (target == TRN_TYPE_CLOB || target == TRN_TYPE_BLOB) continue;
            SCOPED_TRACE("type " + std::to_string(source.type) + " to target " + std::to_string(target));
            const std::int32_t before = target == TRN_TYPE_BYTES_PIECEWISE ? 0 : 77;
            const bool to_text = target == 2 || (target >= 10 && target <= 14);
            const bool clears = to_text || target == TRN_TYPE_BYTES || target == TRN_TYPE_BYTES_PIECEWISE;
            const auto cell = delivered.find({source.type, target});
            if ((to_text && !source.text.empty()) || cell != delivered.end()) {
                std::string area = to_text ? source.text : cell->second;
                const auto length = static_cast<std::int32_t>(area.size());
                if (clears) area.resize(80);
                row.expect(column, target, 80, before, 0, length, area);
            } else if (target == TRN_TYPE_FLOAT) {
                row.expect(column, target, 80, before, 0, 77, "");
            } else if (target == TRN_TYPE_INTERVAL) {
                const bool checked = source.type == TRN_WIRE_INTERVAL_YEAR_TO_MONTH ||
                                     source.type == TRN_WIRE_INTERVAL_DAY_TO_SECOND;
                row.expect(column, target, 80, before, checked ? 0 : -13, 77, "");
            } else {
                row.expect(column, target, 80, before, -13, 0, "");
            }
        }
    }
    for (const std::int32_t target : {5, 6, 8, 3, 9, 28, 31}) { /* fixed targets ignore the size */
        const std::string bytes = delivered.at({TRN_WIRE_INTEGER, target});
        row.expect(4, target, 0, 77, 0, static_cast<std::int32_t>(bytes.size()), bytes);
        EXPECT_EQ(TRN_GetData(&row.reader.result, 4, target, std::string(80, '.').data(), 0, nullptr), 0);
    }
}

TEST(get_data, numerics_out_of_range_become_the_nearest_end_or_infinite) {
    const double infinity = std::numeric_limits<double>::infinity();
    const struct {
        std::string text;
        std::int32_t whole;
        double number;
    } cases[] = {
        {"3000000000", INT32_MAX, 3e9},
        {"-3000000000.5", INT32_MIN, -3000000000.5},
        {std::string(400, '1') + "e-5", INT32_MAX, infinity},
        {"-" + std::string(320, '1') + "e-300", INT32_MIN, -11111111111111111111.0},
    };
    for (const auto& [text, whole, number] : cases) {
        SCOPED_TRACE(text);
        OneRow row({{TRN_WIRE_NUMERIC, text, ""}});
        row.expect(1, TRN_TYPE_INTEGER, 4, 0, 0, 4, reversed(be32(whole)));
        row.expect(1, TRN_TYPE_BIGINT, 8, 0, 0, 8, reversed(be64(whole)));
        row.expect(1, TRN_TYPE_FLOAT, 4, 0, 0, 4, reversed(be_float(static_cast<float>(number))));
        row.expect(1, TRN_TYPE_DOUBLE, 8, 0, 0, 8, reversed(be_double(number)));
    }
}

TEST(get_data, text_forms) {
    OneRow row(text_forms);
    for (std::size_t i = 0; i < text_forms.size(); ++i)
        EXPECT_EQ(row.reader.text(static_cast<std::int32_t>(i) + 1), text_forms[i].text)
            << "value " << i << " of type " << text_forms[i].type;
}

TEST(get_data, what_does_not_fit_is_cut_and_pieces_walk_through_the_value) {
    const std::string text = "0123456789", number = "1234567890", zero(1, '\0');
    OneRow row(
        {{TRN_WIRE_CHAR, text, ""}, {TRN_WIRE_BIGINT, be64(1234567890), ""}, {TRN_WIRE_NUMERIC, "12", ""}});
    // clang-format off
    const struct { std::int32_t column, target, size, before, status, behind; std::string area; } cases[] = {
        {1, 2, 11, 0, 0, 10, text + zero}, {1, 2, 10, 0, 0, 10, text}, {1, 2, 9, 0, -12, 2, "01234567" + zero},
        {1, 13, 1, 0, -12, 10, zero}, {2, 2, 11, 0, 0, 10, number + zero}, {2, 2, 10, 0, -12, 1, "123456789" + zero},
        {2, 10, 2, 0, -12, 9, "1" + zero}, {2, 2, 1, 0, -12, 10, zero}, {1, 15, 10, 0, 0, 10, text},
        {1, 15, 9, 0, -12, 1, "012345678"}, {1, 15, 1, 0, -12, 9, "0"}, {1, 15, 12, 0, 0, 10, text + zero + zero},
        {1, 2, 0, 0, -12, 10, ""}, {1, 12, -1, 0, -12, 10, ""}, {1, 15, INT32_MIN, 0, -12, 10, ""}, {2, 2, 0, 0, -12, 10, ""},
        {1, 18, 0, 0, -12, 10, ""}, {1, 18, 4, 0, 0, 4, "0123"}, {1, 18, 4, 4, 0, 4, "4567"}, {1, 18, 4, 8, 0, 2, "89" + zero + zero},
        {1, 18, 4, 10, 0, 0, ""}, {1, 18, 4, 11, -18, 11, ""}, {1, 18, 4, -1, -18, -1, ""}, {1, 18, 10, 0, 0, 10, text},
        {1, 18, 4, INT32_MIN, -18, INT32_MIN, ""}, {1, 18, 4, INT32_MAX, -18, INT32_MAX, ""},
        {2, 18, 8, 0, -13, 0, ""}, {2, 18, 8, 7, -13, 0, ""}, {2, 18, 8, 8, 0, 0, ""}, {2, 18, 8, 9, -18, 9, ""},
        {3, 18, 8, 1, -13, 0, ""}, {3, 18, 8, 2, 0, 0, ""}, {3, 18, 8, 3, -18, 3, ""},
    };
    // clang-format on
    for (const auto& each : cases) {
        SCOPED_TRACE("column " + std::to_string(each.column) + " target " + std::to_string(each.target) +
                     " size " + std::to_string(each.size) + " from " + std::to_string(each.before));
        row.expect(each.column, each.target, each.size, each.before, each.status, each.behind, each.area);
    }
    char piece[] = "....";
    EXPECT_EQ(TRN_GetData(&row.reader.result, 1, TRN_TYPE_BYTES_PIECEWISE, piece, 3, nullptr), 0);
    EXPECT_STREQ(piece, "012.");
}

TEST(get_data, refusals_come_in_a_fixed_order) {
    Session session({{"q", query({{"null", TRN_WIRE_CHAR}, {"value", TRN_WIRE_CHAR}},
                                 {row({null_value(), wire_text("v")})}) +
                               K}});
    Reader reader(session.connection, "q");
    for (const char* second : {"NULL", "v", "NULL"}) { /* before, on and behind the only row */
        char area[80] = ".";
        for (const std::int32_t target : {2, 5, 9, 15, 0, 64, 21}) {
            SCOPED_TRACE(target);
            const auto expect = [&](std::int32_t column, void* to, std::int32_t status, std::int32_t kept) {
                std::int32_t length = 77;
                EXPECT_EQ(TRN_GetData(&reader.result, column, target, to, 80, &length), status);
                EXPECT_EQ(length, kept);
                EXPECT_STREQ(area, ".");
            };
            expect(1, area, TRN_NULL_VALUE, 0);
            expect(0, area, TRN_ERR_COLUMN, 77);
            expect(3, area, TRN_ERR_COLUMN, 77);
            expect(INT32_MIN, nullptr, TRN_ERR_ARGUMENT, 77);
        }
        EXPECT_EQ(reader.text(2), second);
        reader.next();
    }
}

} // namespace
