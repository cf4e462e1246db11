#include "types.h"

#include <fmt/format.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <charconv>
#include <string>

namespace tarnlite {

namespace {

struct DeclaredName {
    std::string_view name;
    WireType wire;
};

// The first name of a type is used in messages.
constexpr std::array declared_names{
    DeclaredName{"BOOLEAN", WireType::boolean},
    DeclaredName{"BOOL", WireType::boolean},
    DeclaredName{"TINYINT", WireType::tinyint},
    DeclaredName{"SMALLINT", WireType::smallint},
    DeclaredName{"INT2", WireType::smallint},
    DeclaredName{"INTEGER", WireType::integer},
    DeclaredName{"INT", WireType::integer},
    DeclaredName{"INT4", WireType::integer},
    DeclaredName{"BIGINT", WireType::bigint},
    DeclaredName{"INT8", WireType::bigint},
    DeclaredName{"NUMERIC", WireType::numeric},
    DeclaredName{"DECIMAL", WireType::numeric},
    DeclaredName{"DEC", WireType::numeric},
    DeclaredName{"NUMBER", WireType::numeric},
    DeclaredName{"FLOAT", WireType::single},
    DeclaredName{"REAL", WireType::single},
    DeclaredName{"DOUBLE", WireType::double_},
    DeclaredName{"DOUBLE PRECISION", WireType::double_},
    DeclaredName{"DATE", WireType::date},
    DeclaredName{"TIME", WireType::time},
    DeclaredName{"TIME WITH TIME ZONE", WireType::time_tz},
    DeclaredName{"DATETIME", WireType::datetime},
    DeclaredName{"TIMESTAMP", WireType::datetime},
    DeclaredName{"DATETIME WITH TIME ZONE", WireType::datetime_tz},
    DeclaredName{"TIMESTAMP WITH TIME ZONE", WireType::datetime_tz},
    DeclaredName{"INTERVAL YEAR", WireType::interval_year},
    DeclaredName{"INTERVAL YEAR TO MONTH", WireType::interval_year_to_month},
    DeclaredName{"INTERVAL MONTH", WireType::interval_month},
    DeclaredName{"INTERVAL DAY", WireType::interval_day},
    DeclaredName{"INTERVAL DAY TO HOUR", WireType::interval_day_to_hour},
    DeclaredName{"INTERVAL HOUR", WireType::interval_hour},
    DeclaredName{"INTERVAL DAY TO MINUTE", WireType::interval_day_to_minute},
    DeclaredName{"INTERVAL HOUR TO MINUTE", WireType::interval_hour_to_minute},
    DeclaredName{"INTERVAL MINUTE", WireType::interval_minute},
    DeclaredName{"INTERVAL DAY TO SECOND", WireType::interval_day_to_second},
    DeclaredName{"INTERVAL HOUR TO SECOND", WireType::interval_hour_to_second},
    DeclaredName{"INTERVAL MINUTE TO SECOND", WireType::interval_minute_to_second},
    DeclaredName{"INTERVAL SECOND", WireType::interval_second},
    DeclaredName{"OPAQUE", WireType::opaque},
    DeclaredName{"CHAR", WireType::character},
    DeclaredName{"CHARACTER", WireType::character},
    DeclaredName{"VARCHAR", WireType::character},
    DeclaredName{"CHARACTER VARYING", WireType::character},
    DeclaredName{"TEXT", WireType::character},
    DeclaredName{"CLOB", WireType::clob},
    DeclaredName{"BINARY", WireType::binary},
    DeclaredName{"VARBINARY", WireType::binary},
    DeclaredName{"BLOB", WireType::blob},
};

// Upper case, one blank between words, no quotes.
std::string normal_form(std::string_view text) {
    std::string result;
    for (const char c : text) {
        const auto letter = static_cast<unsigned char>(c);
        if (std::isspace(letter) != 0) {
            if (!result.empty() && result.back() != ' ') result.push_back(' ');
        } else if (c != '"' && c != '\'' && c != '`' && c != '[' && c != ']') {
            result.push_back(static_cast<char>(std::toupper(letter)));
        }
    }
    if (!result.empty() && result.back() == ' ') result.pop_back();
    return result;
}

// A non-negative integer at the front of the text, after blanks; 0 for anything else.
std::uint32_t argument(std::string_view text) {
    text.remove_prefix(std::min(text.find_first_not_of(" +"), text.size()));
    std::uint32_t value = 0;
    const auto [end, failure] = std::from_chars(text.data(), text.data() + text.size(), value);
    return failure == std::errc() ? value : 0;
}

std::uint32_t modifier_of(WireType wire, std::string_view arguments) {
    const std::uint32_t first = argument(arguments);
    if (wire != WireType::numeric) return first;
    const std::size_t comma = arguments.find(',');
    const std::uint32_t scale = comma == std::string_view::npos ? 0 : argument(arguments.substr(comma + 1));
    return std::min(first, 0xFFFFU) << 16 | std::min(scale, 0xFFFFU);
}

} // namespace

std::optional<ColumnType> declared_type(std::string_view declaration) {
    const std::size_t open = declaration.find('(');
    const std::size_t shut = declaration.find(')', open);
    std::string name;
    std::string_view arguments;
    if (open == std::string_view::npos || shut == std::string_view::npos) {
        name = normal_form(declaration);
    } else {
        arguments = declaration.substr(open + 1, shut - open - 1);
        name = normal_form(fmt::format("{} {}", declaration.substr(0, open), declaration.substr(shut + 1)));
    }
    const auto found = std::ranges::find(declared_names, name, &DeclaredName::name);
    if (found == declared_names.end()) return std::nullopt;
    return ColumnType{found->wire, modifier_of(found->wire, arguments)};
}

std::string_view type_name(WireType type) {
    const auto found = std::ranges::find(declared_names, type, &DeclaredName::wire);
    return found == declared_names.end() ? "unknown type" : found->name;
}

} // namespace tarnlite
