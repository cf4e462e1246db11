#include "parameters.h"

#include "bytes.h"
#include "calendar.h"
#include "database.h"
#include "protocol.h"

#include <fmt/format.h>

#include <algorithm>
#include <bit>
#include <cctype>
#include <optional>
#include <string_view>
#include <unordered_map>

namespace tarnlite {

namespace {

using Kind = Value::Kind;

// The types in which a client sends values: those of columns except the first and the last.
enum class ParameterType : std::uint16_t {
    null = 1,
    raw_integer = 3,
    smallint = 4,
    integer = 5,
    bigint = 6,
    single = 8,
    double_ = 9,
    datetime = 13,
    text = 30,
    clob = 32,
    binary = 33,
    blob = 34,
    cursor = 1008,
};

// 0 for types of variable length; nothing for an unknown type.
std::optional<std::size_t> fixed_width(ParameterType type) {
    switch (type) {
    case ParameterType::smallint: return 2;
    case ParameterType::integer:
    case ParameterType::single: return 4;
    case ParameterType::bigint:
    case ParameterType::double_:
    case ParameterType::datetime: return 8;
    case ParameterType::null:
    case ParameterType::raw_integer:
    case ParameterType::text:
    case ParameterType::clob:
    case ParameterType::binary:
    case ParameterType::blob:
    case ParameterType::cursor: return 0;
    }
    return std::nullopt;
}

// A signed number of any width up to 8 bytes.
std::int64_t little_endian(std::string_view bytes) {
    std::uint64_t bits = static_cast<unsigned char>(bytes.back()) >= 0x80 ? ~std::uint64_t{0} : 0;
    for (auto byte = bytes.rbegin(); byte != bytes.rend(); ++byte)
        bits = bits << 8 | static_cast<unsigned char>(*byte);
    return static_cast<std::int64_t>(bits);
}

void set_integer(Parameter& parameter, std::int64_t integer) {
    parameter.value = Value{Kind::integer, integer, 0, {}};
}

void set_real(Parameter& parameter, double real) {
    parameter.value = Value{Kind::real, 0, real, {}};
}

void set_content(Parameter& parameter, Kind kind, std::string content) {
    parameter.value = Value{kind, 0, 0, {}};
    parameter.content = std::move(content);
}

void spend(std::uint64_t& allowance, std::uint64_t bytes) {
    if (bytes > allowance) {
        throw ProtocolError(fmt::format("parameters of more than {} bytes", longest_parameters));
    }
    allowance -= bytes;
}

Parameter read_parameter(Transport& transport, std::uint64_t& allowance) {
    Parameter parameter;
    const std::uint16_t name_length = transport.read_u16();
    spend(allowance, name_length);
    parameter.name = transport.read_bytes(name_length);
    parameter.direction = transport.read_u16();
    if (parameter.direction < input_direction || parameter.direction > both_directions) {
        throw ProtocolError(fmt::format("invalid parameter direction {}", parameter.direction));
    }
    parameter.wire_type = transport.read_u16();
    const auto length = static_cast<std::int32_t>(transport.read_u32());
    set_value(parameter, transport.read_bytes(value_size(parameter.wire_type, length, allowance)));
    return parameter;
}

// The form in which names are compared.
std::string bare_name(std::string_view name) {
    if (!name.empty() && std::string_view(":@$?").find(name.front()) != std::string_view::npos) {
        name.remove_prefix(1);
    }
    std::string result(name);
    std::ranges::transform(result, result.begin(), [](char c) {
        return static_cast<char>(std::tolower(static_cast<unsigned char>(c)));
    });
    return result;
}

int bind_value(sqlite3_stmt* statement, int index, const Parameter& parameter) {
    const auto& [name, direction, wire_type, value, content] = parameter;
    if (direction == output_direction) return sqlite3_bind_null(statement, index);
    switch (value.kind) {
    case Kind::null: break;
    case Kind::integer: return sqlite3_bind_int64(statement, index, value.integer);
    case Kind::real: return sqlite3_bind_double(statement, index, value.real);
    case Kind::text:
        return sqlite3_bind_text64(statement, index, content.data(), content.size(), SQLITE_STATIC,
                                   SQLITE_UTF8);
    case Kind::bytes:
        return sqlite3_bind_blob64(statement, index, content.data(), content.size(), SQLITE_STATIC);
    }
    return sqlite3_bind_null(statement, index);
}

} // namespace

std::size_t value_size(std::uint16_t wire_type, std::int32_t length, std::uint64_t& allowance) {
    const auto width = fixed_width(static_cast<ParameterType>(wire_type));
    if (!width) throw ProtocolError(fmt::format("unknown parameter type {}", wire_type));
    if (length <= 0) return 0;
    const std::size_t size = *width > 0 ? *width : static_cast<std::size_t>(length);
    spend(allowance, size);
    return size;
}

void set_value(Parameter& parameter, std::string bytes) {
    parameter.value = Value{};
    parameter.content.clear();
    if (bytes.empty()) return;
    switch (static_cast<ParameterType>(parameter.wire_type)) {
    case ParameterType::null:
    case ParameterType::cursor: return;
    case ParameterType::raw_integer:
        if (bytes.size() <= sizeof(std::int64_t)) return set_integer(parameter, little_endian(bytes));
        return set_content(parameter, Kind::bytes, std::move(bytes));
    case ParameterType::smallint: return set_integer(parameter, integer_of<std::int16_t>(bytes));
    case ParameterType::integer: return set_integer(parameter, integer_of<std::int32_t>(bytes));
    case ParameterType::bigint: return set_integer(parameter, integer_of<std::int64_t>(bytes));
    case ParameterType::single:
        return set_real(parameter, std::bit_cast<float>(integer_of<std::uint32_t>(bytes)));
    case ParameterType::double_:
        return set_real(parameter, std::bit_cast<double>(integer_of<std::uint64_t>(bytes)));
    case ParameterType::datetime:
        return set_content(parameter, Kind::text, datetime_text(integer_of<std::int64_t>(bytes)));
    case ParameterType::text:
    case ParameterType::clob: return set_content(parameter, Kind::text, std::move(bytes));
    case ParameterType::binary:
    case ParameterType::blob: return set_content(parameter, Kind::bytes, std::move(bytes));
    }
}

Parameters read_parameters(Transport& transport, std::size_t count) {
    std::uint64_t allowance = longest_parameters;
    Parameters parameters;
    try {
        while (parameters.size() < count)
            parameters.push_back(read_parameter(transport, allowance));
    } catch (const PeerSilent&) {
        throw ProtocolError(
            fmt::format("parameters announced by the command: {}, received: {}", count, parameters.size()));
    }
    return parameters;
}

std::string parameter_name(sqlite3_stmt* statement, int index) {
    const char* const name = sqlite3_bind_parameter_name(statement, index);
    return name == nullptr ? std::string() : std::string(name + 1);
}

static std::vector<std::string> parameter_names(sqlite3_stmt* statement) {
    std::vector<std::string> names;
    for (int i = 1; i <= sqlite3_bind_parameter_count(statement); ++i)
        names.push_back(parameter_name(statement, i));
    return names;
}

ParameterPlaces::ParameterPlaces(sqlite3_stmt* statement, const Parameters& parameters)
    : ParameterPlaces(parameter_names(statement), parameters) {}

ParameterPlaces::ParameterPlaces(const std::vector<std::string>& names, const Parameters& parameters)
    : sources_(names.size(), parameters.size()) {
    std::unordered_multimap<std::string, std::size_t> named;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (!names[i].empty()) named.emplace(bare_name(names[i]), i);
    }
    for (std::size_t entry = 0; entry < parameters.size(); ++entry) {
        const std::string& name = parameters[entry].name;
        if (name.empty() && entry < sources_.size()) {
            sources_[entry] = entry;
            continue;
        }
        const auto [begin, end] = named.equal_range(bare_name(name));
        if (begin == end) {
            throw SqlError(name.empty() ? fmt::format("the statement has {} parameters, value {} is one more",
                                                      sources_.size(), entry + 1)
                                        : fmt::format("the statement has no parameter {}", shown_text(name)));
        }
        std::for_each(begin, end, [&](const auto& place) { sources_[place.second] = entry; });
    }
    const auto missing = std::ranges::find(sources_, parameters.size());
    if (missing != sources_.end()) {
        throw SqlError(fmt::format("parameter {} has no value", missing - sources_.begin() + 1));
    }
}

void ParameterPlaces::bind(sqlite3* database, sqlite3_stmt* statement, const Parameters& parameters) const {
    for (std::size_t i = 0; i < sources_.size(); ++i) {
        if (bind_value(statement, static_cast<int>(i) + 1, parameters[sources_[i]]) != SQLITE_OK) {
            throw SqlError(sqlite3_errmsg(database));
        }
    }
}

} // namespace tarnlite
