// Values bound and read as every type of C++: round trips, the borders of lengths and ranges, nulls.
#include "cpp_fixture.h"

#include <array>
#include <cmath>
#include <limits>
#include <vector>

using namespace std::chrono_literals;
using std::chrono::system_clock;

namespace {

using cpp_types = CppTest;

tarnsql::date day(int64_t count) {
    return tarnsql::date(tarnsql::days(count));
}

template <class Duration> std::chrono::time_point<system_clock, Duration> at(Duration since) {
    return std::chrono::time_point<system_clock, Duration>(since);
}

// What comes back of a value bound into a column of a type, as the types given.
template <class Read, class T>
Read through(tarnsql::connection& db, const std::string& declaration, const T& value) {
    db.execute("DROP TABLE IF EXISTS t");
    db.execute("CREATE TABLE t (v " + declaration + ")");
    db.execute("INSERT INTO t VALUES (?)", value);
    return db.query_value<Read>("SELECT v FROM t");
}

template <class T>
void expect_round_trip(tarnsql::connection& db, const std::string& declaration,
                       std::initializer_list<T> values) {
    for (const T& value : values) {
        SCOPED_TRACE(declaration + ", value " + std::to_string(&value - values.begin()));
        EXPECT_EQ(through<T>(db, declaration, value), value);
        EXPECT_EQ(through<std::optional<T>>(db, declaration, std::optional<T>(value)), value);
        EXPECT_EQ(through<std::optional<T>>(db, declaration, std::optional<T>()), std::nullopt);
    }
}

template <class T> void expect_limits(tarnsql::connection& db, const std::string& declaration) {
    expect_round_trip<T>(db, declaration,
                         {std::numeric_limits<T>::min(), 0, 1, std::numeric_limits<T>::max()});
}

} // namespace

TEST_F(cpp_types, values_come_back_as_they_were_bound) {
    expect_limits<int8_t>(db_, "TINYINT");
    expect_limits<uint8_t>(db_, "SMALLINT");
    expect_limits<int16_t>(db_, "SMALLINT");
    expect_limits<uint16_t>(db_, "INTEGER");
    expect_limits<int32_t>(db_, "INTEGER");
    expect_limits<uint32_t>(db_, "BIGINT");
    expect_limits<int64_t>(db_, "BIGINT");
    expect_limits<long>(db_, "BIGINT");
    expect_round_trip<uint64_t>(db_, "BIGINT", {0, INT64_MAX});
    expect_round_trip<bool>(db_, "BOOLEAN", {true, false});
    expect_round_trip<bool>(db_, "INTEGER", {true, false});
    expect_round_trip<float>(db_, "FLOAT", {0.25F, -1e30F});
    expect_round_trip<double>(db_, "DOUBLE", {0.1, -1e-300, std::numeric_limits<double>::max()});
    expect_round_trip<int>(db_, "NUMERIC(9,2)", {7, -70000});
    expect_round_trip<std::string>(db_, "VARCHAR(20)", {"x", "caf\xC3\xA9", "it's"});
    expect_round_trip<std::vector<std::byte>>(db_, "VARBINARY(9)", {{std::byte{0}, std::byte{255}}});
    expect_round_trip<std::vector<unsigned char>>(db_, "BLOB",
                                                  {{0, 1, 2}, std::vector<unsigned char>(300, 7)});
    expect_round_trip<tarnsql::date>(db_, "DATE",
                                     {day(0), day(-1), day(-719528), day(2932896), day(19782), day(11016)});
    expect_round_trip<tarnsql::moment>(db_, "DATETIME", {at(0ms), at(-1ms), at(1709210096789ms)});
    expect_round_trip<std::chrono::time_point<system_clock, std::chrono::seconds>>(db_, "DATETIME",
                                                                                   {at(-62167219200s)});
    expect_round_trip<tarnsql::time_of_day>(db_, "TIME", {{0ms}, {45296789ms}, {86399999ms}});
    expect_round_trip<std::chrono::microseconds>(db_, "INTERVAL DAY TO SECOND",
                                                 {0us, 183845000001us, -500000us});
    expect_round_trip<std::chrono::hours>(db_, "INTERVAL DAY TO SECOND", {-50h});
    expect_round_trip<tarnsql::months>(db_, "INTERVAL YEAR TO MONTH",
                                       {tarnsql::months(14), tarnsql::months(-25)});
    expect_round_trip<tarnsql::years>(db_, "INTERVAL YEAR TO MONTH", {tarnsql::years(3)});
}

TEST_F(cpp_types, other_types_of_the_same_value) {
    const tarnsql::zoned_moment moment{at(1709202896000000us), 120min};
    const auto read = through<tarnsql::zoned_moment>(db_, "DATETIME WITH TIME ZONE", moment);
    EXPECT_EQ(read.utc, moment.utc);
    EXPECT_EQ(read.zone, moment.zone);
    EXPECT_EQ(db_.query_value<tarnsql::moment>("SELECT v FROM t"), at(1709202896000ms));
    const tarnsql::zoned_time time{19800000ms, -330min};
    const auto read_time = through<tarnsql::zoned_time>(db_, "TIME WITH TIME ZONE", time);
    EXPECT_EQ(read_time.utc, time.utc);
    EXPECT_EQ(read_time.zone, time.zone);

    EXPECT_EQ(through<std::string>(db_, "VARCHAR(9)", "literal"), "literal");
    EXPECT_EQ(through<std::string>(db_, "VARCHAR(9)", std::string_view("a view")), "a view");
    EXPECT_EQ(through<std::string>(db_, "VARCHAR(9)", 'c'), "c");
    EXPECT_EQ(through<std::optional<std::string>>(db_, "VARCHAR(9)", nullptr), std::nullopt);
    EXPECT_EQ(through<std::optional<std::string>>(db_, "VARCHAR(9)", static_cast<const char*>(nullptr)),
              std::nullopt);
    EXPECT_EQ(through<std::optional<std::string>>(db_, "VARCHAR(9)", ""),
              std::nullopt); // as the protocol has it
    EXPECT_EQ(through<std::vector<std::byte>>(db_, "BLOB", std::array<std::byte, 1>{std::byte{9}}).size(),
              1U);
    EXPECT_EQ(through<std::string>(db_, "DATE", day(19782)), "2024-02-29");
    EXPECT_EQ(through<tarnsql::moment>(db_, "DATE", day(1)), at(86400000ms));
    EXPECT_EQ(through<tarnsql::date>(db_, "DATETIME", at(-1ms)), day(-1));
    EXPECT_EQ(through<tarnsql::moment>(db_, "DATETIME", at(1999999ns)), at(1ms)); // rounded down
    EXPECT_EQ(through<std::chrono::seconds>(db_, "TIME", tarnsql::time_of_day{90999ms}), 90s);
    EXPECT_EQ(through<std::chrono::microseconds>(db_, "INTERVAL MINUTE TO SECOND", "04:05.5"), 245500000us);
    EXPECT_EQ(through<std::string>(db_, "INTERVAL DAY TO HOUR", "2 03"), "2 03");
    EXPECT_EQ(through<double>(db_, "NUMERIC(9,3)", "1.125"), 1.125);
    EXPECT_EQ(through<int64_t>(db_, "NUMERIC(20,0)", "9000000000"), 9000000000); // not cut to 32 bits
    EXPECT_EQ(through<int>(db_, "BOOLEAN", true), 1);                            // and not the letter's code
    EXPECT_EQ(through<float>(db_, "DOUBLE", 0.5), 0.5F);
    EXPECT_EQ(through<double>(db_, "BIGINT", -3), -3.0);
}

TEST_F(cpp_types, what_does_not_fit_throws) {
    const auto no_room = [&](const char* declaration, auto value, auto wanted) {
        SCOPED_TRACE(declaration);
        const std::string text =
            thrown<tarnsql::range_error>([&] { through<decltype(wanted)>(db_, declaration, value); });
        EXPECT_NE(text.find("column v: "), std::string::npos) << text;
    };
    no_room("SMALLINT", 128, int8_t());
    no_room("INTEGER", -32769, int16_t());
    no_room("BIGINT", int64_t{INT32_MAX} + 1, int32_t());
    no_room("INTEGER", -1, uint32_t());
    no_room("BIGINT", int64_t{1} << 32, uint32_t());
    no_room("INTEGER", -1, uint64_t());
    no_room("INTEGER", 2, bool());
    no_room("NUMERIC(9,2)", "7.50", int());
    no_room("NUMERIC(12,0)", "3000000000", int());
    no_room("DOUBLE", 1e39, float());

    const auto refused = [](auto work) { return thrown<tarnsql::range_error>(work); };
    EXPECT_EQ(refused([&] { db_.execute("SELECT ?", uint64_t{1} << 63); }),
              "an integer above those of a BIGINT");
    EXPECT_EQ(refused([&] { db_.execute("SELECT ?", day(2932897)); }), "a date outside the years 0 to 9999");
    EXPECT_EQ(refused([&] { db_.execute("SELECT ?", tarnsql::time_of_day{24h}); }),
              "a time of day outside 0 to 24 hours");
    EXPECT_EQ(refused([&] {
                  through<system_clock::time_point>(db_, "DATETIME", at(std::chrono::hours(24 * 365 * 300)));
              }),
              "a time that is too long");
    EXPECT_EQ(db_.query_value<int>("SELECT 1"), 1); // nothing bound is left behind
}

TEST_F(cpp_types, nulls_and_wrong_types_throw_and_name_the_column) {
    db_.execute("CREATE TABLE t (name VARCHAR(9), born DATE, raw BLOB)");
    db_.execute("INSERT INTO t VALUES ('x', '2024-02-29', x'00'), (NULL, NULL, NULL)");
    auto all = db_.query("SELECT * FROM t");
    auto at = all.begin();
    const tarnsql::row row = *at;
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { row["name"].as<int>(); }),
              "column name: a value of CHAR is not an integer");
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { row["name"].as<double>(); }),
              "column name: a value of CHAR is not a number");
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { row["born"].as<bool>(); }),
              "column born: a value of DATE is not an integer");
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { row["born"].as<std::chrono::hours>(); }),
              "column born: a value of DATE is not an interval");
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { row["raw"].as<tarnsql::date>(); }),
              "column raw: a value of BLOB is not a date");
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { row["born"].as<tarnsql::bytes_view>(); }),
              "column born: a value of DATE is not made of bytes");
    ++at;
    for (const char* name : {"name", "BORN", "raw"}) {
        const tarnsql::field field = row[std::string_view(name)];
        EXPECT_TRUE(field.is_null());
        EXPECT_EQ(field.as<std::optional<int>>(), std::nullopt); // whatever the column's type
        EXPECT_EQ(field.value_or<std::string>("none"), "none");
        EXPECT_EQ(thrown<tarnsql::null_error>([&] { field.as<std::string>(); }),
                  "column " + field.name() + " is null");
    }
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { row["nobody"]; }), "no column is called nobody");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { row[3]; }), "no such column");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { row[-1]; }), "no such column");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { row.as<int>(); }), "not as many columns as types");
    EXPECT_EQ(thrown<tarnsql::usage_error>([&] { db_.query<int>("SELECT 1, 2"); }),
              "the query does not have as many columns as types");
}

TEST_F(cpp_types, texts_and_bytes_of_every_length_are_whole) {
    db_.execute("CREATE TABLE t (name VARCHAR(9), long CLOB, raw VARBINARY(9), blob BLOB, opaque OPAQUE)");
    for (const size_t size : {1, 15, 62, 63, 64, 65, 127, 1000, 70000}) {
        const std::string text(size, 'x');
        std::string zeros(size, '\0');
        zeros.back() = 'z';
        const tarnsql::bytes_view bytes(zeros.data(), size);
        db_.execute("INSERT INTO t VALUES (?, ?, ?, ?, ?)", text, text, bytes, bytes, bytes);
    }
    size_t rows = 0;
    for (const tarnsql::row row : db_.query("SELECT *, length(name) AS size FROM t")) {
        const auto size = row["size"].as<size_t>();
        SCOPED_TRACE(size);
        for (const char* name : {"name", "long"}) {
            EXPECT_EQ(row[name].as<std::string>(), std::string(size, 'x'));
            EXPECT_EQ(row[name].as<std::string_view>(), std::string(size, 'x'));
        }
        for (const char* name : {"raw", "blob", "opaque"}) {
            const auto bytes = row[name].as<std::vector<unsigned char>>();
            ASSERT_EQ(bytes.size(), size);
            EXPECT_EQ(bytes.back(), 'z');
            EXPECT_EQ(row[name].as<tarnsql::bytes_view>().size(), size);
            EXPECT_EQ(row[name].as<std::string>().size(), size);
        }
        ++rows;
    }
    EXPECT_EQ(rows, 9U);
    // The library's own text of a number ends after 63 digits.
    db_.execute("CREATE TABLE n (v NUMERIC(80,0))");
    for (const int digits : {62, 63, 64, 80}) {
        db_.execute("DELETE FROM n");
        db_.execute("INSERT INTO n VALUES (?)", std::pow(10.0, digits - 1));
        const auto text = db_.query_value<std::string>("SELECT v FROM n");
        EXPECT_EQ(text.size(), static_cast<size_t>(digits)) << text;
    }
}

// A tuple whose columns have other types than its places, and one that they fit, over the same rows.
TEST_F(cpp_types, tuples_are_read_alike_whatever_the_columns_are) {
    db_.execute("CREATE TABLE t (id INTEGER, people BIGINT, name VARCHAR(100), born DATE, area DOUBLE)");
    db_.execute("INSERT INTO t VALUES (1, 65000, 'Ur', '1970-01-02', 1.5), (2, NULL, ?, NULL, NULL)",
                std::string(90, 'u'));
    using text = std::string_view;
    std::string direct, converted;
    for (auto [id, people, name, born, area] :
         db_.query<int32_t, std::optional<int64_t>, text, std::optional<tarnsql::date>,
                   std::optional<double>>("SELECT * FROM t"))
        direct += std::to_string(id) + ' ' + std::to_string(people.value_or(-1)) + ' ' + std::string(name) +
                  ' ' + std::to_string(born.value_or(day(-1)).time_since_epoch().count()) + ' ' +
                  std::to_string(area.value_or(-1)) + '\n';
    for (auto [id, people, name, born, area] :
         db_.query<uint16_t, std::optional<uint32_t>, std::string, std::optional<tarnsql::moment>,
                   std::optional<float>>("SELECT * FROM t"))
        converted += std::to_string(id) + ' ' + (people ? std::to_string(*people) : "-1") + ' ' + name + ' ' +
                     (born ? std::to_string(born->time_since_epoch() / 24h) : "-1") + ' ' +
                     std::to_string(area.value_or(-1)) + '\n';
    EXPECT_EQ(direct, "1 65000 Ur 1 1.500000\n2 -1 " + std::string(90, 'u') + " -1 -1.000000\n");
    EXPECT_EQ(converted, direct);
    EXPECT_EQ((db_.query_row<int, std::string>("SELECT id, name FROM t WHERE id = ?", 1)),
              std::make_tuple(1, "Ur"));
    EXPECT_EQ((db_.query_row<int>("SELECT id FROM t WHERE id = 7")), std::nullopt);
    EXPECT_EQ(thrown<tarnsql::value_error>([&] { db_.query_value<int>("SELECT id FROM t WHERE id = 7"); }),
              "the query gave no row");
}
