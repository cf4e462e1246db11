#include "values.h"

#include "bytes.h"
#include "calendar.h"
#include "decimal.h"
#include "intervals.h"

#include <fmt/format.h>

#include <cctype>
#include <cmath>
#include <limits>
#include <optional>

namespace tarnlite {

namespace {

using Kind = Value::Kind;

constexpr std::size_t longest_shown = 64;

template <typename Integer> void put_fixed(std::string& row, Integer value) {
    put_integer(row, static_cast<std::uint32_t>(sizeof(Integer)));
    put_integer(row, value);
}

// A real number keeps its point, as in SQLite's own output.
std::string real_text(double value) {
    std::string text = fmt::format("{:.15g}", value);
    if (std::isfinite(value) && text.find_first_of(".e") == std::string::npos) text += ".0";
    return text;
}

std::string lower_case(std::string_view text) {
    std::string result(text);
    for (char& c : result)
        c = static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    return result;
}

bool append_boolean(std::string& row, const Value& value) {
    std::optional<bool> truth;
    if (value.kind == Kind::integer) {
        if (value.integer == 1 || value.integer == 'T') truth = true;
        if (value.integer == 0 || value.integer == 'F') truth = false;
    } else if (value.kind == Kind::text) {
        const std::string word = lower_case(value.bytes);
        if (word == "t" || word == "true") truth = true;
        if (word == "f" || word == "false") truth = false;
    }
    if (!truth) return false;
    put_fixed(row, *truth ? 'T' : 'F');
    return true;
}

template <typename Integer> bool append_integer(std::string& row, const Value& value) {
    if (value.kind != Kind::integer) return false;
    if (value.integer < std::numeric_limits<Integer>::min() ||
        value.integer > std::numeric_limits<Integer>::max()) {
        return false;
    }
    put_fixed(row, static_cast<Integer>(value.integer));
    return true;
}

bool append_numeric(std::string& row, const ColumnType& type, const Value& value) {
    if (value.kind == Kind::bytes) return false;
    std::optional<int> scale;
    if (type.modifier != 0) scale = static_cast<int>(type.modifier & 0xFFFF);
    const auto text = plain_decimal(text_of(value), scale);
    if (!text) return false;
    put_text(row, *text);
    return true;
}

std::optional<double> number_of(const Value& value) {
    if (value.kind == Kind::integer) return static_cast<double>(value.integer);
    if (value.kind == Kind::real) return value.real;
    return std::nullopt;
}

bool append_single(std::string& row, const Value& value) {
    const auto number = number_of(value);
    if (!number) return false;
    if (std::isfinite(*number) && std::abs(*number) > std::numeric_limits<float>::max()) return false;
    put_integer(row, std::uint32_t{sizeof(float)});
    put_float(row, static_cast<float>(*number));
    return true;
}

bool append_double(std::string& row, const Value& value) {
    const auto number = number_of(value);
    if (!number) return false;
    put_integer(row, std::uint32_t{sizeof(double)});
    put_double(row, *number);
    return true;
}

template <typename Count> bool append_count(std::string& row, const std::optional<Count>& count) {
    if (count) put_fixed(row, *count);
    return count.has_value();
}

bool append_time_tz(std::string& row, std::string_view text) {
    const auto time = zoned_time_of(text);
    if (!time) return false;
    put_integer(row, std::uint32_t{sizeof time->milliseconds + sizeof time->zone_minutes});
    put_integer(row, time->milliseconds);
    put_integer(row, time->zone_minutes);
    return true;
}

bool append_datetime_tz(std::string& row, std::string_view text) {
    const auto moment = zoned_datetime_of(text);
    if (!moment) return false;
    put_integer(row, std::uint32_t{sizeof moment->microseconds + sizeof moment->zone_minutes});
    put_integer(row, moment->microseconds);
    put_integer(row, moment->zone_minutes);
    return true;
}

bool append_interval(std::string& row, WireType type, const Value& value) {
    if (value.kind == Kind::bytes) return false;
    // The text of a number may have an exponent, an interval's has none.
    const std::optional<std::string> text =
        value.kind == Kind::text ? std::string(value.bytes) : plain_decimal(text_of(value), std::nullopt);
    if (!text) return false;
    const auto count = interval_count(type, *text);
    if (!count) return false;
    if (counts_microseconds(type)) {
        put_fixed(row, *count);
    } else {
        put_fixed(row, static_cast<std::int32_t>(*count));
    }
    return true;
}

void append_text(std::string& row, const Value& value) {
    if (value.kind == Kind::text || value.kind == Kind::bytes) {
        put_text(row, value.bytes);
    } else {
        put_text(row, text_of(value));
    }
}

bool append_calendar(std::string& row, WireType type, const Value& value) {
    if (value.kind != Kind::text) return false;
    switch (type) {
    case WireType::date: return append_count(row, days_of_date(value.bytes));
    case WireType::time: return append_count(row, milliseconds_of_time(value.bytes));
    case WireType::datetime: return append_count(row, milliseconds_of_datetime(value.bytes));
    case WireType::time_tz: return append_time_tz(row, value.bytes);
    case WireType::datetime_tz: return append_datetime_tz(row, value.bytes);
    default: return false;
    }
}

} // namespace

bool append_value(std::string& row, const ColumnType& type, const Value& value) {
    if (value.kind == Kind::null) {
        put_integer(row, std::uint32_t{0});
        return true;
    }
    if (is_interval(type.wire)) return append_interval(row, type.wire, value);
    switch (type.wire) {
    case WireType::boolean: return append_boolean(row, value);
    case WireType::tinyint: return append_integer<std::int8_t>(row, value);
    case WireType::smallint: return append_integer<std::int16_t>(row, value);
    case WireType::integer: return append_integer<std::int32_t>(row, value);
    case WireType::bigint: return append_integer<std::int64_t>(row, value);
    case WireType::numeric: return append_numeric(row, type, value);
    case WireType::single: return append_single(row, value);
    case WireType::double_: return append_double(row, value);
    case WireType::date:
    case WireType::time:
    case WireType::time_tz:
    case WireType::datetime:
    case WireType::datetime_tz: return append_calendar(row, type.wire, value);
    default: append_text(row, value); return true;
    }
}

std::string text_of(const Value& value) {
    switch (value.kind) {
    case Kind::null: return {};
    case Kind::integer: return std::to_string(value.integer);
    case Kind::real: return real_text(value.real);
    case Kind::text:
    case Kind::bytes: return std::string(value.bytes);
    }
    return {};
}

std::string shown_value(const Value& value) {
    switch (value.kind) {
    case Kind::null: return "NULL";
    case Kind::bytes: return fmt::format("a binary value of {} bytes", value.bytes.size());
    case Kind::text: return shown_text(value.bytes);
    case Kind::integer:
    case Kind::real: break;
    }
    return text_of(value);
}

std::string shown_text(std::string_view text) {
    const std::string_view shown = text.substr(0, longest_shown);
    return fmt::format("'{}{}'", shown, shown.size() < text.size() ? "..." : "");
}

} // namespace tarnlite
