// Every type that a column can be declared with: written as SQL, read back as text, as the type that is
// natural for it and as null. The expected texts and counts are worked out by hand.
#include "live_server.h"

#include <algorithm>
#include <cstring>
#include <variant>

namespace {

using Native = std::variant<std::int64_t, double, std::string>;

struct Sample {
    std::string sql;
    std::string text;
    Native native;
};

struct TypeCase {
    const char* declaration;
    std::int32_t api_type;
    std::int32_t modifier;
    std::int32_t target; // of the native value
    std::vector<Sample> samples;
};

constexpr std::int32_t stored = TRN_TYPE_NUMERIC; // the target that gives the bytes as they are kept

// clang-format off
const TypeCase types[] = {
    {"BOOLEAN", TRN_TYPE_BOOLEAN, 0, TRN_TYPE_BOOLEAN, {{"1", "T", 'T'}, {"'false'", "F", 'F'}}},
    {"TINYINT", TRN_TYPE_TINYINT, 0, TRN_TYPE_TINYINT, {{"-128", "-128", -128}, {"127", "127", 127}, {"0", "0", 0}}},
    {"SMALLINT", TRN_TYPE_SMALLINT, 0, TRN_TYPE_SMALLINT, {{"-32768", "-32768", -32768}, {"258", "258", 258}}},
    {"INTEGER", TRN_TYPE_INTEGER, 0, TRN_TYPE_INTEGER, {{"-2147483648", "-2147483648", INT32_MIN},
     {"2147483647", "2147483647", INT32_MAX}, {"16909060", "16909060", 0x01020304}}},
    {"BIGINT(20)", TRN_TYPE_BIGINT, 20, TRN_TYPE_BIGINT, {{"-9223372036854775808", "-9223372036854775808", INT64_MIN},
     {"9223372036854775807", "9223372036854775807", INT64_MAX}, {"-4294967296", "-4294967296", -4294967296}}},
    {"NUMERIC(12,3)", TRN_TYPE_NUMERIC, 12 * 65536 + 3, TRN_TYPE_NUMERIC, {{"'-0.0005'", "-0.001", "-0.001"},
     {"123456789.125", "123456789.125", "123456789.125"}, {"7", "7.000", "7.000"}}},
    {"NUMERIC(12,3)", TRN_TYPE_NUMERIC, 12 * 65536 + 3, TRN_TYPE_INTEGER, {{"-12.999", "-12.999", -12}, {"0", "0.000", 0}}},
    {"FLOAT", TRN_TYPE_FLOAT, 0, TRN_TYPE_FLOAT, {{"-0.1", "-0.100000", double{-0.1F}},
     {"3.4028234663852886e38", "340282346638528859811704183484516925440.000000", 3.4028234663852886e38},
     {"1.5e-20", "0.000000", double{1.5e-20F}}}},
    {"DOUBLE", TRN_TYPE_DOUBLE, 0, TRN_TYPE_DOUBLE, {{"3.5", "3.500000000000000", 3.5},
     {"12345.678", "12345.67800000000", 12345.678}, {"-1e15", "-1000000000000000.000000", -1e15},
     {"9.5", "9.50000000000000", 9.5},
     {"1.7976931348623157e308", "179769313486231570814527423731704356798070567525844996598917476", 1.7976931348623157e308}}},
    {"DATE", TRN_TYPE_DATE, 0, stored, {{"'1970-01-01'", "1970-01-01", 0}, {"'1969-12-31'", "1969-12-31", -1},
     {"'0000-01-01'", "0000-01-01", -719528}, {"'9999-12-31'", "9999-12-31", 2932896},
     {"'1900-03-01'", "1900-03-01", -25508}}},
    {"TIME(3)", TRN_TYPE_TIME, 3, stored, {{"'12:34:56.789'", "12:34:56", 45296789}, {"'00:00:00'", "00:00:00", 0},
     {"'23:59:59.999'", "23:59:59", 86399999}}},
    {"TIME WITH TIME ZONE", TRN_TYPE_TIME_TZ, 0, stored,
     {{"'12:34:56+02:00'", "12:34:56+2", "\x02\x45\x4C\x80\x00\x78"s},
     {"'00:30:00-05:30'", "0:30:00-5", "\x01\x49\x97\x00\xFE\xB6"s},
     {"'00:30:00+02:00'", "0:30:00+2", "\xFF\xAD\x9A\x40\x00\x78"s},
     {"'23:00:00-05:00'", "23:00:00-5", "\x06\x02\x16\x00\xFE\xD4"s}}},
    {"DATETIME(6)", TRN_TYPE_DATETIME, 6, TRN_TYPE_DATETIME_RAW, {{"'1970-01-01'", "1970-01-01 00:00:00", 0},
     {"'1969-12-31 23:59:59.999'", "1969-12-31 23:59:59", -1},
     {"'0000-01-01 00:00:00'", "0000-01-01 00:00:00", -62167219200000},
     {"'9999-12-31T23:59:59.999'", "9999-12-31 23:59:59", 253402300799999}}},
    {"DATETIME WITH TIME ZONE", TRN_TYPE_DATETIME_TZ, 0, stored,
     {{"'2024-02-29 12:34:56+02:00'", "2024-02-29 12:34:56+2", "\x00\x06\x12\x82\xCF\x77\x14\x00\x00\x78"s},
     {"'1969-12-31 23:59:59.5-05:30'", "1969-12-31 23:59:59-5", "\x00\x00\x00\x04\x9C\x24\x64\xE0\xFE\xB6"s},
     {"'0000-03-01 00:00:00-01:00'", "0-03-01 00:00:00-1", "\xFF\x23\x27\xF6\x2B\xF7\x24\x00\xFF\xC4"s},
     {"'0099-01-01 00:00:00+00:30'", "99-01-01 00:00:00+0", "\xFF\x2E\x3C\xB5\x01\x57\x2E\x00\x00\x1E"s}}},
    {"INTERVAL YEAR", TRN_TYPE_INTERVAL, 0, stored, {{"'3'", "3", 3}, {"'-2147483648'", "-2147483648", INT32_MIN}}},
    {"INTERVAL YEAR TO MONTH", TRN_TYPE_INTERVAL_YEAR_TO_MONTH, 0, TRN_TYPE_INTERVAL_YEAR_TO_MONTH,
     {{"'-1-02'", "-1-02", -14}, {"-5", "0-05", -5}, {"'178956970-07'", "178956970-07", INT32_MAX}}},
    {"INTERVAL MONTH", TRN_TYPE_INTERVAL, 0, stored, {{"'14'", "14", 14}, {"-14", "-14", -14}}},
    {"INTERVAL DAY", TRN_TYPE_INTERVAL, 0, stored, {{"2147483647", "2147483647", INT32_MAX}, {"'-2'", "-2", -2}}},
    {"INTERVAL DAY TO HOUR", TRN_TYPE_INTERVAL, 0, stored, {{"'2 03'", "2 03", 51}, {"'-2 03'", "-2 -3", -51},
     {"100", "4 04", 100}}},
    {"INTERVAL HOUR", TRN_TYPE_INTERVAL, 0, stored, {{"'5'", "5", 5}, {"-25", "-25", -25}}},
    {"INTERVAL DAY TO MINUTE", TRN_TYPE_INTERVAL, 0, stored, {{"'1 02:03'", "1 02:03", 1563},
     {"'-1 02:03'", "-1 -2:-3", -1563}, {"-59", "0 00:-59", -59}}},
    {"INTERVAL HOUR TO MINUTE", TRN_TYPE_INTERVAL, 0, stored, {{"'03:04'", "3:04", 184}, {"'-10:30'", "-10:-30", -630}}},
    {"INTERVAL MINUTE", TRN_TYPE_INTERVAL, 0, stored, {{"90", "90", 90}, {"-90", "-90", -90}}},
    {"INTERVAL DAY TO SECOND(6)", TRN_TYPE_INTERVAL_DAY_TO_SECOND, 6, TRN_TYPE_INTERVAL_DAY_TO_SECOND,
     {{"'2 03:04:05.5'", "2 3:04:05", 183845500000}, {"-1.5", "0 0:00:-1", -1500000}, {"90", "0 0:01:30", 90000000}}},
    {"INTERVAL HOUR TO SECOND", TRN_TYPE_INTERVAL, 0, stored, {{"'100:00:01'", "100:00:01", 360001000000},
     {"'-1:02:03'", "-1:-2:-3", -3723000000}}},
    {"INTERVAL MINUTE TO SECOND", TRN_TYPE_INTERVAL, 0, stored, {{"'-1:02.000003'", "-1:-2", -62000003},
     {"'59:59.999999'", "59:59", 3599999999}}},
    {"INTERVAL SECOND", TRN_TYPE_INTERVAL, 0, stored, {{"'2.5'", "2", 2500000}, {"-0.5", "0", -500000},
     {"86399.999999", "86399", 86399999999}}},
    {"OPAQUE", TRN_TYPE_OPAQUE, 0, stored, {{"x'414200'", "AB", "AB\0"s}, {"x'00'", "status -13", "\0"s},
     {"cast(printf('%.70c', 'o') as blob)", std::string(63, 'o'), std::string(70, 'o')}}},
    {"VARCHAR(20)", TRN_TYPE_TEXT, 20, TRN_TYPE_BYTES, {{"'Grüße'", "Grüße", "Grüße"}, {"''", "NULL", "NULL"},
     {"printf('%.300c', 'v')", std::string(300, 'v'), std::string(300, 'v')}}},
    {"CLOB", TRN_TYPE_CLOB, 0, TRN_TYPE_BYTES, {{"'it''s'", "it's", "it's"}, {"' '", " ", " "}}},
    {"VARBINARY(4)", TRN_TYPE_BYTES, 4, TRN_TYPE_BYTES, {{"x'00ff0010'", "\0\xFF\0\x10"s, "\0\xFF\0\x10"s},
     {"x''", "NULL", "NULL"}}},
    {"BLOB", TRN_TYPE_BLOB, 0, TRN_TYPE_BYTES, {{"x'ff'", "\xFF", "\xFF"},
     {"zeroblob(300)", std::string(300, '\0'), std::string(300, '\0')}}},
};
// clang-format on

constexpr std::size_t sample_rows = 5;

std::string create_table() {
    std::string sql;
    for (const TypeCase& type : types)
        sql += (sql.empty() ? "create table every(" : ", ") + ("c" + std::to_string(&type - types)) + ' ' +
               type.declaration;
    return sql + ")";
}

// Row k holds the sample k of every column and null where there is none; the row behind the last sample is
// all null.
std::string insert_rows() {
    std::string sql = "insert into every values";
    for (std::size_t row = 0; row <= sample_rows; ++row)
        for (const TypeCase& type : types)
            sql += (&type != types ? ", "
                    : row          ? "), ("
                                   : "(") +
                   (row < type.samples.size() ? type.samples[row].sql : "null"s);
    return sql + ")";
}

template <class T> T from_bytes(const std::string& bytes) {
    T value{};
    std::memcpy(&value, bytes.data(), std::min(bytes.size(), sizeof value));
    return value;
}

// The value in the form that the expectation has.
Native native_value(Reader& reader, std::int32_t column, std::int32_t target, const Native& expected) {
    std::string value(512, '\x55');
    std::int32_t length = 0;
    const std::int32_t size = target == TRN_TYPE_BYTES ? 512 : 0;
    const std::int32_t status = TRN_GetData(&reader.result, column, target, value.data(), size, &length);
    if (status != TRN_OK)
        return status == TRN_NULL_VALUE && length == 0 ? "NULL" : "status " + std::to_string(status);
    value.resize(static_cast<std::size_t>(length));
    if (std::holds_alternative<double>(expected))
        return length == 4 ? double{from_bytes<float>(value)} : from_bytes<double>(value);
    if (std::holds_alternative<std::string>(expected)) return value;
    switch (length) {
    case 1: return from_bytes<std::int8_t>(value);
    case 2: return from_bytes<std::int16_t>(value);
    case 4: return from_bytes<std::int32_t>(value);
    case 8: return from_bytes<std::int64_t>(value);
    default: return "length " + std::to_string(length);
    }
}

} // namespace

TEST(live_types, every_declared_type_arrives_as_it_was_written) {
    LiveServer server;
    Connection connection(server);
    ASSERT_EQ(connection.run(create_table()), TRN_OK);
    ASSERT_EQ(connection.run(insert_rows()), 1) << error_text(connection.handle);

    Reader reader(connection, "select * from every order by rowid");
    ASSERT_EQ(reader.status, static_cast<std::int32_t>(sample_rows) + 1) << error_text(reader.result);
    ASSERT_EQ(reader.columns, static_cast<std::int32_t>(std::size(types)));
    for (const TypeCase& type : types) {
        SCOPED_TRACE(type.declaration);
        const auto column = static_cast<std::int32_t>(&type - types) + 1;
        std::int32_t api_type = -7;
        std::int32_t modifier = -7;
        EXPECT_EQ(TRN_getResultcolType(&reader.result, column, &api_type), TRN_OK);
        EXPECT_EQ(TRN_getResultcolmodi(&reader.result, column, &modifier), TRN_OK);
        EXPECT_EQ(api_type, type.api_type);
        EXPECT_EQ(modifier, type.modifier);
    }
    for (std::size_t row = 0; row <= sample_rows; ++row) {
        ASSERT_TRUE(reader.next());
        for (const TypeCase& type : types) {
            const auto column = static_cast<std::int32_t>(&type - types) + 1;
            const Sample sample =
                row < type.samples.size() ? type.samples[row] : Sample{"null", "NULL", "NULL"};
            SCOPED_TRACE(type.declaration + " "s + sample.sql);
            EXPECT_EQ(reader.text(column), sample.text);
            EXPECT_EQ(native_value(reader, column, type.target, sample.native), sample.native);
        }
    }
    EXPECT_FALSE(reader.next());
}
