#include "intervals.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <limits>

namespace tarnlite {

namespace {

enum Field : std::size_t {
    year,
    month,
    day,
    hour,
    minute,
    second
};

struct FieldRule {
    std::int64_t per_larger; // how many make up one of the next larger field
    char before;             // the separator between the next larger field and this one
};

constexpr std::array<FieldRule, 6> field_rules{
    {{0, '\0'}, {12, '-'}, {0, '\0'}, {24, ' '}, {60, ':'}, {60, ':'}}};

struct IntervalKind {
    WireType wire;
    Field first;
    Field last;
};

constexpr std::array<IntervalKind, 13> kinds{{
    {WireType::interval_year, year, year},
    {WireType::interval_year_to_month, year, month},
    {WireType::interval_month, month, month},
    {WireType::interval_day, day, day},
    {WireType::interval_day_to_hour, day, hour},
    {WireType::interval_hour, hour, hour},
    {WireType::interval_day_to_minute, day, minute},
    {WireType::interval_hour_to_minute, hour, minute},
    {WireType::interval_minute, minute, minute},
    {WireType::interval_day_to_second, day, second},
    {WireType::interval_hour_to_second, hour, second},
    {WireType::interval_minute_to_second, minute, second},
    {WireType::interval_second, second, second},
}};

const IntervalKind* kind_of(WireType type) {
    const auto* const found = std::ranges::find(kinds, type, &IntervalKind::wire);
    return found == kinds.end() ? nullptr : found;
}

constexpr std::int64_t second_us = 1'000'000;
// Keeps every product within 64 bits; counts that fit the wire are smaller.
constexpr std::int64_t largest_number = 9'000'000'000'000;

std::optional<std::int64_t> take_number(std::string_view& text) {
    std::int64_t value = 0;
    std::size_t digits = 0;
    for (; digits < text.size() && text[digits] >= '0' && text[digits] <= '9'; ++digits) {
        value = value * 10 + (text[digits] - '0');
        if (value > largest_number) return std::nullopt;
    }
    if (digits == 0) return std::nullopt;
    text.remove_prefix(digits);
    return value;
}

// A point and digits at the front of the text, as microseconds; 0 when there are none.
std::optional<std::int64_t> take_fraction_us(std::string_view& text) {
    if (text.empty() || text.front() != '.') return 0;
    text.remove_prefix(1);
    std::int64_t value = 0;
    std::size_t digits = 0;
    for (; !text.empty() && text.front() >= '0' && text.front() <= '9'; ++digits) {
        if (digits < 6) value = value * 10 + (text.front() - '0');
        text.remove_prefix(1);
    }
    if (digits == 0) return std::nullopt;
    for (; digits < 6; ++digits)
        value *= 10;
    return value;
}

// The fields after the leading number, combined into a count of the last field.
std::optional<std::int64_t> take_fields(std::string_view& text, const IntervalKind& kind,
                                        std::int64_t leading) {
    std::int64_t count = leading;
    for (std::size_t field = kind.first + 1; field <= kind.last; ++field) {
        const FieldRule& rule = field_rules.at(field);
        if (text.empty() || text.front() != rule.before) return std::nullopt;
        text.remove_prefix(1);
        const auto number = take_number(text);
        if (!number || *number >= rule.per_larger || count > largest_number) return std::nullopt;
        count = count * rule.per_larger + *number;
    }
    return count;
}

} // namespace

bool is_interval(WireType type) {
    return kind_of(type) != nullptr;
}

bool counts_microseconds(WireType type) {
    const IntervalKind* const kind = kind_of(type);
    return kind != nullptr && kind->last == second;
}

std::optional<std::int64_t> interval_count(WireType type, std::string_view text) {
    const IntervalKind* const kind = kind_of(type);
    if (kind == nullptr) return std::nullopt;
    const bool negative = !text.empty() && text.front() == '-';
    if (negative || (!text.empty() && text.front() == '+')) text.remove_prefix(1);

    auto count = take_number(text);
    const bool number_alone = text.empty() || text.front() == '.';
    if (count && !number_alone) count = take_fields(text, *kind, *count);
    if (!count || *count > largest_number) return std::nullopt;

    if (kind->last == second) {
        const auto fraction = take_fraction_us(text);
        if (!fraction) return std::nullopt;
        count = *count * second_us + *fraction;
    } else if (*count > std::int64_t{std::numeric_limits<std::int32_t>::max()} + (negative ? 1 : 0)) {
        return std::nullopt;
    }
    if (!text.empty()) return std::nullopt;
    return negative ? -*count : *count;
}

} // namespace tarnlite
