#include "result/value.h"

namespace tarn {

// A text inside a value ends at its first zero byte.
static std::string_view up_to_zero(std::string_view text) noexcept {
    return text.substr(0, text.find('\0'));
}

static void add_boolean(char letter, TextStyle style, WorkingText& text) noexcept {
    if (style == TextStyle::of_rows)
        text.add(letter == 'T' ? "T" : letter == 'F' ? "F" : "UNKNOWN");
    else if (letter)
        text.add(letter);
}

static void add_time_of_day(int32_t milliseconds, TextStyle style, WorkingText& text) noexcept {
    const TimeOfDay time = time_of_milliseconds(milliseconds);
    text.add_time(time);
    if (style != TextStyle::of_outputs) return;
    text.add('.');
    text.add_padded(time.millisecond, 3);
}

// Only the year part has the sign.
static void add_year_month(int32_t months, WorkingText& text) noexcept {
    text.add_integer(months / 12);
    text.add('-');
    const int32_t rest = months % 12;
    text.add_padded(rest < 0 ? -rest : rest, 2);
}

// "%lld" of the first field, then ":%02lld" or " %02lld" of each further one.
static void add_fields(WorkingText& text, int64_t first, char mark, int64_t second) noexcept {
    text.add_integer(first);
    text.add(mark);
    text.add_padded(second, 2);
}

static void add_day_second(int64_t seconds, WorkingText& text) noexcept {
    text.add_integer(seconds / 86400);
    text.add(' ');
    text.add_integer(seconds % 86400 / 3600); // hours are not padded, unlike minutes and seconds
    text.add(':');
    text.add_padded(seconds % 3600 / 60, 2);
    text.add(':');
    text.add_padded(seconds % 60, 2);
}

static void add_hour_second(int64_t seconds, WorkingText& text) noexcept {
    add_fields(text, seconds / 3600, ':', seconds % 3600 / 60);
    text.add(':');
    text.add_padded(seconds % 60, 2);
}

// Zoned values are stored in wire form: a big-endian count, then a big-endian zone in minutes, which is added
// to the count.
static int16_t zone_minutes(const Value& value, size_t offset) noexcept {
    return static_cast<int16_t>(load_wire<uint16_t>(value.bytes + offset));
}

static void add_zoned_time(const Value& value, WorkingText& text) noexcept {
    if (value.length != 6) return;
    const int64_t milliseconds = static_cast<int32_t>(load_wire<uint32_t>(value.bytes));
    const int64_t zone = zone_minutes(value, 4);
    add_hour_second((zone * 60000 + milliseconds) / 1000, text);
    text.add_signed(zone / 60);
}

static void add_zoned_date_time(const Value& value, WorkingText& text) noexcept {
    if (value.length != 10) return;
    const int64_t microseconds = static_cast<int64_t>(load_wire<uint64_t>(value.bytes));
    const int64_t zone = zone_minutes(value, 8);
    int64_t milliseconds;
    // On overflow both have the same sign, so dividing them separately gives the same.
    if (__builtin_add_overflow(microseconds, zone * 60000000, &milliseconds))
        milliseconds = microseconds / 1000 + zone * 60000;
    else
        milliseconds /= 1000;
    const DateTime when = date_time_of_milliseconds(milliseconds);
    text.add_integer(when.date.year); // not padded, unlike the year of a DATETIME
    text.add('-');
    text.add_padded(when.date.month, 2);
    text.add('-');
    text.add_padded(when.date.day, 2);
    text.add(' ');
    text.add_time(when.time);
    text.add_signed(zone / 60);
}

void add_value_text(const Value& value, TextStyle style, WorkingText& text) noexcept {
    constexpr int64_t second = 1000000; // microseconds; fractions of a second are dropped
    switch (value.wire_type) {
    case TRN_WIRE_BOOLEAN: add_boolean(value.as<char>(), style, text); break;
    case TRN_WIRE_TINYINT: text.add_integer(value.as<int8_t>()); break;
    case TRN_WIRE_SMALLINT: text.add_integer(value.as<int16_t>()); break;
    case TRN_WIRE_INTEGER:
    case TRN_WIRE_INTERVAL_YEAR:
    case TRN_WIRE_INTERVAL_MONTH:
    case TRN_WIRE_INTERVAL_DAY:
    case TRN_WIRE_INTERVAL_HOUR:
    case TRN_WIRE_INTERVAL_MINUTE: text.add_integer(value.as<int32_t>()); break;
    case TRN_WIRE_BIGINT: text.add_integer(value.as<int64_t>()); break;
    case TRN_WIRE_NUMERIC: text.add(up_to_zero(value.text())); break;
    case TRN_WIRE_FLOAT: text.add_fixed(static_cast<double>(value.as<float>()), 6); break;
    case TRN_WIRE_DOUBLE:
        if (style == TextStyle::of_rows)
            text.add_double(value.as<double>());
        else
            text.add_general(value.as<double>(), 16);
        break;
    case TRN_WIRE_DATE: text.add_date(date_of_days(value.as<int32_t>())); break;
    case TRN_WIRE_TIME: add_time_of_day(value.as<int32_t>(), style, text); break;
    case TRN_WIRE_DATETIME: text.add_date_time(date_time_of_milliseconds(value.as<int64_t>())); break;
    case TRN_WIRE_TIME_TZ:
        if (style == TextStyle::of_rows) add_zoned_time(value, text);
        break;
    case TRN_WIRE_DATETIME_TZ:
        if (style == TextStyle::of_rows) add_zoned_date_time(value, text);
        break;
    case TRN_WIRE_INTERVAL_YEAR_TO_MONTH: add_year_month(value.as<int32_t>(), text); break;
    case TRN_WIRE_INTERVAL_DAY_TO_HOUR: {
        const int32_t hours = value.as<int32_t>();
        add_fields(text, hours / 24, ' ', hours % 24);
        break;
    }
    case TRN_WIRE_INTERVAL_DAY_TO_MINUTE: {
        const int32_t minutes = value.as<int32_t>();
        add_fields(text, minutes / 1440, ' ', minutes % 1440 / 60);
        text.add(':');
        text.add_padded(minutes % 60, 2);
        break;
    }
    case TRN_WIRE_INTERVAL_HOUR_TO_MINUTE: {
        const int32_t minutes = value.as<int32_t>();
        add_fields(text, minutes / 60, ':', minutes % 60);
        break;
    }
    case TRN_WIRE_INTERVAL_DAY_TO_SECOND: add_day_second(value.as<int64_t>() / second, text); break;
    case TRN_WIRE_INTERVAL_HOUR_TO_SECOND: add_hour_second(value.as<int64_t>() / second, text); break;
    case TRN_WIRE_INTERVAL_MINUTE_TO_SECOND: {
        const int64_t seconds = value.as<int64_t>() / second;
        add_fields(text, seconds / 60, ':', seconds % 60);
        break;
    }
    case TRN_WIRE_INTERVAL_SECOND: text.add_integer(value.as<int64_t>() / second); break;
    case TRN_WIRE_OPAQUE:
    case wire_opaque_too:
        if (style == TextStyle::of_rows) text.add(up_to_zero(value.text()));
        break;
    default: break;
    }
}

} // namespace tarn
