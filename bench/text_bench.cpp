// Every type's values as text: TRN_GetData with target TRN_TYPE_TEXT against one snprintf per value that
// makes the same text from the same stored number, including calendar arithmetic. CPU time of rows of one
// type (sixteen columns each) and of rows with one column of each type.
#include <chrono>
#include <cmath>
#include <cstdio>
#include <cstring>

#include "measure.h"
#include "peer.h"

using namespace bench;

namespace {

constexpr size_t buffer_size = 64;

// A value in stored form.
struct Native {
    int64_t count = 0; // integers, dates, times, intervals
    int32_t zone = 0;  // minutes
    double number = 0;
    std::string text;
};

using Print = int (*)(char* to, const Native& value);

struct Type {
    const char* name;
    int32_t wire_type;
    int width; // bytes on the wire; 0: a counted text
    int64_t low, high;
    Print print;
};

struct Time {
    explicit Time(int64_t seconds)
        : hour(int(seconds / 3600)), minute(int(seconds / 60 % 60)), second(int(seconds % 60)) {}
    int hour, minute, second;
};

struct Day {
    explicit Day(int64_t days) : Day(std::chrono::sys_days(std::chrono::days(days))) {}
    explicit Day(std::chrono::year_month_day date)
        : year(int(date.year())), month(unsigned(date.month())), day(unsigned(date.day())) {}
    int year;
    unsigned month, day;
};

template <class... Values> int print(char* to, const char* form, Values... values) {
    return std::snprintf(to, buffer_size, form, values...);
}

int print_integer(char* to, const Native& v) {
    return print(to, "%d", int(v.count));
}
int print_bigint(char* to, const Native& v) {
    return print(to, "%lld", static_cast<long long>(v.count));
}
int print_boolean(char* to, const Native& v) {
    return print(to, "%s", v.count == 'T' ? "T" : "F");
}
int print_text(char* to, const Native& v) {
    return print(to, "%.*s", int(v.text.size()), v.text.data());
}
int print_float(char* to, const Native& v) {
    return print(to, "%f", v.number);
}
// Sixteen significant digits, those before the point included.
int print_double(char* to, const Native& v) {
    int digits = 1;
    for (double limit = 10; std::fabs(v.number) >= limit; limit *= 10)
        ++digits;
    return print(to, "%.*f", 16 - digits, v.number);
}
int print_date(char* to, const Native& v) {
    const Day day(v.count);
    return print(to, "%04d-%02u-%02u", day.year, day.month, day.day);
}
int print_time(char* to, const Native& v) {
    const Time time(v.count / 1000);
    return print(to, "%02d:%02d:%02d", time.hour, time.minute, time.second);
}
int print_time_tz(char* to, const Native& v) {
    const Time time((v.count + v.zone * 60000) / 1000);
    return print(to, "%d:%02d:%02d%+d", time.hour, time.minute, time.second, v.zone / 60);
}
int print_datetime(char* to, const Native& v) {
    const Day day(v.count / 86400000);
    const Time time(v.count % 86400000 / 1000);
    return print(to, "%04d-%02u-%02u %02d:%02d:%02d", day.year, day.month, day.day, time.hour, time.minute,
                 time.second);
}
int print_datetime_tz(char* to, const Native& v) {
    const int64_t seconds = (v.count + v.zone * 60000000LL) / 1000000;
    const Day day(seconds / 86400);
    const Time time(seconds % 86400);
    return print(to, "%d-%02u-%02u %02d:%02d:%02d%+d", day.year, day.month, day.day, time.hour, time.minute,
                 time.second, v.zone / 60);
}
int print_year_to_month(char* to, const Native& v) {
    return print(to, "%d-%02d", int(v.count) / 12, int(v.count) % 12);
}
int print_day_to_hour(char* to, const Native& v) {
    return print(to, "%d %02d", int(v.count) / 24, int(v.count) % 24);
}
int print_day_to_minute(char* to, const Native& v) {
    const int minutes = int(v.count);
    return print(to, "%d %02d:%02d", minutes / 1440, minutes / 60 % 24, minutes % 60);
}
int print_sixties(char* to, const Native& v) { // hours and minutes
    return print(to, "%d:%02d", int(v.count) / 60, int(v.count) % 60);
}
int print_day_to_second(char* to, const Native& v) {
    const Time time(v.count / 1000000);
    return print(to, "%d %d:%02d:%02d", time.hour / 24, time.hour % 24, time.minute, time.second);
}
int print_hour_to_second(char* to, const Native& v) {
    const Time time(v.count / 1000000);
    return print(to, "%d:%02d:%02d", time.hour, time.minute, time.second);
}
int print_minute_to_second(char* to, const Native& v) {
    const int seconds = int(v.count / 1000000);
    return print(to, "%d:%02d", seconds / 60, seconds % 60);
}
int print_seconds(char* to, const Native& v) {
    return print(to, "%lld", static_cast<long long>(v.count / 1000000));
}

constexpr int64_t day_us = 86400000000;

// Counts are drawn between the limits; texts have that many characters.
constexpr Type types[] = {
    {"BOOLEAN", TRN_WIRE_BOOLEAN, 1, 0, 1, print_boolean},
    {"TINYINT", TRN_WIRE_TINYINT, 1, INT8_MIN, INT8_MAX, print_integer},
    {"SMALLINT", TRN_WIRE_SMALLINT, 2, INT16_MIN, INT16_MAX, print_integer},
    {"INTEGER", TRN_WIRE_INTEGER, 4, INT32_MIN, INT32_MAX, print_integer},
    {"BIGINT", TRN_WIRE_BIGINT, 8, INT64_MIN, INT64_MAX, print_bigint},
    {"NUMERIC", TRN_WIRE_NUMERIC, 0, 5, 20, print_text},
    {"FLOAT", TRN_WIRE_FLOAT, 4, -1000000, 1000000, print_float},
    {"DOUBLE", TRN_WIRE_DOUBLE, 8, -1000000000, 1000000000, print_double},
    {"DATE", TRN_WIRE_DATE, 4, 0, 25567, print_date},
    {"TIME", TRN_WIRE_TIME, 4, 0, 86399999, print_time},
    {"TIME_TZ", TRN_WIRE_TIME_TZ, 6, 43200000, 86399999, print_time_tz},
    {"DATETIME", TRN_WIRE_DATETIME, 8, 0, 25567 * day_us / 1000, print_datetime},
    {"DATETIME_TZ", TRN_WIRE_DATETIME_TZ, 10, day_us, 25567 * day_us, print_datetime_tz},
    {"INTERVAL_YEAR", TRN_WIRE_INTERVAL_YEAR, 4, 0, 9999, print_integer},
    {"INTERVAL_YEAR_TO_MONTH", TRN_WIRE_INTERVAL_YEAR_TO_MONTH, 4, 0, 119999, print_year_to_month},
    {"INTERVAL_MONTH", TRN_WIRE_INTERVAL_MONTH, 4, 0, 9999, print_integer},
    {"INTERVAL_DAY", TRN_WIRE_INTERVAL_DAY, 4, 0, 9999, print_integer},
    {"INTERVAL_DAY_TO_HOUR", TRN_WIRE_INTERVAL_DAY_TO_HOUR, 4, 0, 99999, print_day_to_hour},
    {"INTERVAL_HOUR", TRN_WIRE_INTERVAL_HOUR, 4, 0, 9999, print_integer},
    {"INTERVAL_DAY_TO_MINUTE", TRN_WIRE_INTERVAL_DAY_TO_MINUTE, 4, 0, 9999999, print_day_to_minute},
    {"INTERVAL_HOUR_TO_MINUTE", TRN_WIRE_INTERVAL_HOUR_TO_MINUTE, 4, 0, 99999, print_sixties},
    {"INTERVAL_MINUTE", TRN_WIRE_INTERVAL_MINUTE, 4, 0, 9999, print_integer},
    {"INTERVAL_DAY_TO_SECOND", TRN_WIRE_INTERVAL_DAY_TO_SECOND, 8, 0, 9999 * day_us, print_day_to_second},
    {"INTERVAL_HOUR_TO_SECOND", TRN_WIRE_INTERVAL_HOUR_TO_SECOND, 8, 0, day_us, print_hour_to_second},
    {"INTERVAL_MINUTE_TO_SECOND", TRN_WIRE_INTERVAL_MINUTE_TO_SECOND, 8, 0, day_us / 24,
     print_minute_to_second},
    {"INTERVAL_SECOND", TRN_WIRE_INTERVAL_SECOND, 8, 0, day_us, print_seconds},
    {"OPAQUE", TRN_WIRE_OPAQUE, 0, 5, 20, print_text},
    {"CHAR", TRN_WIRE_CHAR, 0, 20, 20, print_text},
};

// A query's rows: the columns' types, and the values row after row.
struct Rows {
    const char* name;
    std::vector<const Type*> columns;
    std::vector<Native> values;
    std::string reply;
};

Native draw(const Type& type, Random& random) {
    Native value;
    value.count = random.between(type.low, type.high);
    if (type.wire_type == TRN_WIRE_BOOLEAN) value.count = value.count ? 'T' : 'F';
    if (type.wire_type == TRN_WIRE_NUMERIC) {
        value.text = std::to_string(random.next()).substr(0, static_cast<size_t>(value.count));
        value.text.insert(value.text.size() - 2, ".");
    } else if (type.width == 0) {
        value.text = random.letters(static_cast<size_t>(value.count));
    }
    // A fraction of four digits, as amounts and measures have.
    value.number = static_cast<double>(value.count) + static_cast<double>(random.next() % 9999) / 1e4;
    if (type.wire_type == TRN_WIRE_FLOAT)
        value.number = static_cast<double>(static_cast<float>(value.number));
    value.zone = static_cast<int32_t>(random.between(-11, 11)) * 60;
    return value;
}

template <class To, class From> uint64_t bits_of(From value) {
    To bits;
    std::memcpy(&bits, &value, sizeof bits);
    return bits;
}

void put_value(std::string& bytes, const Type& type, const Native& value) {
    if (type.width == 0) return put_counted(bytes, value.text);
    put_u32(bytes, static_cast<uint64_t>(type.width));
    const auto count = static_cast<uint64_t>(value.count);
    switch (type.width) {
    case 1: bytes += static_cast<char>(count); break;
    case 2: put_u16(bytes, count); break;
    case 8: put_u64(bytes, type.print == print_double ? bits_of<uint64_t>(value.number) : count); break;
    case 10:
        put_u64(bytes, count);
        put_u16(bytes, static_cast<uint64_t>(value.zone));
        break;
    default:
        put_u32(bytes,
                type.print == print_float ? bits_of<uint32_t>(static_cast<float>(value.number)) : count);
        if (type.width == 6) put_u16(bytes, static_cast<uint64_t>(value.zone));
    }
}

Rows build_rows(const char* name, std::vector<const Type*> columns, size_t rows) {
    Rows built{name, std::move(columns), {}, {}};
    std::vector<int32_t> wire_types;
    for (const Type* type : built.columns)
        wire_types.push_back(type->wire_type);
    built.reply = result_head(wire_types);
    Random random;
    for (size_t row = 0; row < rows; ++row) {
        built.reply += 'R';
        for (const Type* type : built.columns) {
            built.values.push_back(draw(*type, random));
            put_value(built.reply, *type, built.values.back());
        }
    }
    built.reply += 'K';
    return built;
}

TRN_HANDLE query(TRN_HANDLE* conn, size_t number) {
    TRN_HANDLE result = nullptr;
    check(TRN_ExecwithDataReader(conn, std::to_string(number).c_str(), &result, nullptr, nullptr, nullptr) >
              0,
          "the rows did not arrive");
    return result;
}

// Both return the seconds per value; the number of characters must be the same.
double seconds_of_driver(TRN_HANDLE* conn, size_t number, const Rows& rows, int64_t& characters) {
    TRN_HANDLE result = query(conn, number);
    char text[buffer_size];
    const auto columns = static_cast<int32_t>(rows.columns.size());
    characters = 0;
    const double start = thread_cpu_seconds();
    while (TRN_ReadNext(&result) == TRN_OK)
        for (int32_t column = 1; column <= columns; ++column) {
            int32_t length = 0;
            TRN_GetData(&result, column, TRN_TYPE_TEXT, text, sizeof text, &length);
            characters += length;
        }
    const double spent = thread_cpu_seconds() - start;
    TRN_FreeRowset(&result);
    return spent / static_cast<double>(rows.values.size());
}

double seconds_of_rival(const Rows& rows, int64_t& characters) {
    char text[buffer_size];
    characters = 0;
    const double start = thread_cpu_seconds();
    for (const Native* value = rows.values.data(); value != rows.values.data() + rows.values.size();)
        for (const Type* type : rows.columns)
            characters += type->print(text, *value++);
    return (thread_cpu_seconds() - start) / static_cast<double>(rows.values.size());
}

void check_texts(TRN_HANDLE* conn, size_t number, const Rows& rows) {
    TRN_HANDLE result = query(conn, number);
    const Native* value = rows.values.data();
    while (TRN_ReadNext(&result) == TRN_OK)
        for (size_t column = 0; column < rows.columns.size(); ++column, ++value) {
            char text[buffer_size], expected[buffer_size];
            rows.columns[column]->print(expected, *value);
            const int32_t status = TRN_GetData(&result, static_cast<int32_t>(column + 1), TRN_TYPE_TEXT, text,
                                               sizeof text, nullptr);
            if (status == TRN_OK && std::strcmp(text, expected) == 0) continue;
            std::fprintf(stderr, "%s: \"%s\" instead of \"%s\"\n", rows.columns[column]->name, text,
                         expected);
            check(false, "a text differs");
        }
    check(value == rows.values.data() + rows.values.size(), "rows are missing");
    TRN_FreeRowset(&result);
}

} // namespace

int main(int argc, char** argv) {
    const Options options = parse_options(argc, argv);
    const size_t count = options.quick ? 100 : 2000;
    std::vector<Rows> all;
    std::vector<const Type*> each;
    for (const Type& type : types)
        each.push_back(&type);
    all.push_back(build_rows("one_of_each", each, count));
    for (const Type& type : types)
        all.push_back(build_rows(type.name, std::vector<const Type*>(16, &type), count));
    const Peer peer([&] {
        std::vector<std::string> replies;
        for (const Rows& rows : all)
            replies.push_back(rows.reply);
        return replay(std::move(replies));
    });
    pin_to_cpu(0);
    TRN_HANDLE conn = peer.open();
    Figures figures;
    for (size_t i = 0; i < all.size(); ++i) {
        check_texts(&conn, i, all[i]);
        int64_t characters = 0, expected = 0;
        const std::vector<double> spent =
            medians(options.quick ? 1 : 15, {[&] { return seconds_of_driver(&conn, i, all[i], characters); },
                                             [&] { return seconds_of_rival(all[i], expected); }});
        check(characters == expected, "texts have other lengths");
        const std::string name = std::string("text/") + all[i].name;
        figures.add(name + "/TRN_GetData", spent[0] * 1e9, "ns/value");
        figures.add(name + "/snprintf", spent[1] * 1e9, "ns/value");
        figures.add(name + "/ratio", spent[0] / spent[1], "of snprintf");
    }
    TRN_CloseConn(&conn);
    figures.report(options);
}
