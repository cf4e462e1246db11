#include "procedure_call.h"

#include "rows.h"
#include "scanner.h"
#include "values.h"

#include <fmt/format.h>

#include <algorithm>
#include <charconv>
#include <system_error>
#include <utility>

namespace tarnlite {

namespace {

// The value with its bytes, which the parameter holds.
Value whole_value(const Parameter& parameter) {
    Value value = parameter.value;
    value.bytes = parameter.content;
    return value;
}

bool is_number(WireType type) {
    return type >= WireType::tinyint && type <= WireType::double_ && type != WireType::numeric;
}

// A number that was sent as text.
void take_number(Parameter& parameter) {
    const char* const begin = parameter.content.data();
    const char* const end = begin + parameter.content.size();
    Value integer{Value::Kind::integer};
    Value real{Value::Kind::real};
    const auto read_whole = [&](auto& number) {
        const auto [stopped, failure] = std::from_chars(begin, end, number);
        return failure == std::errc() && stopped == end;
    };
    if (read_whole(integer.integer)) {
        parameter.value = integer;
    } else if (read_whole(real.real)) {
        parameter.value = real;
    }
}

[[noreturn]] void throw_unfit(std::string_view name, const Value& value, const ColumnType& type) {
    throw SqlError(fmt::format("argument {}: {} cannot be converted to {}", name, shown_value(value),
                               type_name(type.wire)));
}

void take_type(Parameter& input, const ColumnType& type) {
    if (input.value.kind == Value::Kind::text && is_number(type.wire)) take_number(input);
    std::string unused;
    if (!append_value(unused, type, whole_value(input))) throw_unfit(input.name, whole_value(input), type);
}

// The name of the parameter that an argument is, empty for "?". Nothing for an expression.
std::optional<std::string> parameter_in(std::string_view argument) {
    Scanner scanner(argument);
    Token sign;
    Token name;
    Token more;
    if (!scanner.next(sign) || (scanner.next(name) && scanner.next(more))) return std::nullopt;
    if (sign.word == "?" && name.word.empty()) return std::string();
    if ((sign.word == ":" || sign.word == "@" || sign.word == "$") && name.is_word()) return name.word;
    return std::nullopt;
}

// The index of every argument among the parameters of the call, whose names are collected; none for an
// expression. A name used twice is one parameter.
std::vector<std::optional<std::size_t>> places_of(const std::vector<std::string_view>& arguments,
                                                  std::vector<std::string>& names) {
    std::vector<std::optional<std::size_t>> places;
    for (const std::string_view argument : arguments) {
        auto& place = places.emplace_back();
        const auto name = parameter_in(argument);
        if (!name) continue;
        const auto known = name->empty() ? names.end() : std::ranges::find(names, *name);
        place = static_cast<std::size_t>(known - names.begin());
        if (known == names.end()) names.push_back(*name);
    }
    return places;
}

// The value of an expression.
Parameter evaluated(sqlite3* database, std::string_view expression) {
    const Statement statement = prepare_only_statement(database, fmt::format("SELECT ({}\n)", expression));
    if (sqlite3_bind_parameter_count(statement.get()) > 0) {
        throw SqlError(fmt::format("{}: a parameter must be an argument of its own", shown_text(expression)));
    }
    step(database, statement.get());
    Parameter result;
    result.value = column_value(statement.get(), 0);
    result.content = result.value.bytes;
    result.value.bytes = {};
    return result;
}

} // namespace

std::string Call::text(std::string_view argument) {
    return text_of(whole_value(input(argument)));
}

void Call::set_text(std::string_view argument, std::string text) {
    input(argument).value = Value{Value::Kind::text};
    input(argument).content = std::move(text);
}

void Call::set_type(std::string_view argument, const ColumnType& type) {
    take_type(input(argument), type);
}

Parameter& Call::input(std::string_view argument) {
    return *std::ranges::find(inputs_, argument, &Parameter::name);
}

Parameters Call::inputs_of(sqlite3_stmt* statement) {
    Parameters used;
    for (int i = 1; i <= sqlite3_bind_parameter_count(statement); ++i)
        used.push_back(input(parameter_name(statement, i)));
    return used;
}

// `used` must outlive the statement's run.
Statement Call::run(const char* sql, Parameters& used) {
    Statement statement = prepare_only_statement(site_.database, sql);
    used = inputs_of(statement.get());
    ParameterPlaces(statement.get(), used).bind(site_.database, statement.get(), used);
    return statement;
}

void Call::reply_rows(const char* sql) {
    Parameters used;
    tarnlite::reply_rows(site_.database, run(sql, used).get(), nullptr, reply_);
}

std::string Call::open_cursor(const char* sql) {
    Statement statement = prepare_only_statement(site_.database, sql);
    Parameters used = inputs_of(statement.get());
    return site_.cursors.open_unnamed(std::move(statement), std::move(used));
}

std::string Call::output(sqlite3_stmt* statement, int column, std::string_view name, const ColumnType& type) {
    const Value value = column_value(statement, column);
    std::string bytes;
    if (!append_value(bytes, type, value)) throw_unfit(name, value, type);
    return bytes;
}

void Call::answer_as(const char* sql, std::optional<ColumnType> returns) {
    Parameters used;
    const Statement statement = run(sql, used);
    step(site_.database, statement.get());
    std::vector<std::string> values; // all of them before the first is sent
    for (const auto& [name, direction, type] : procedure_.arguments) {
        if (direction == Direction::in) continue;
        values.push_back(output(statement.get(), static_cast<int>(values.size()), name, type));
    }
    if (returns)
        values.push_back(output(statement.get(), static_cast<int>(values.size()), "result", *returns));

    auto value = values.begin();
    for (std::size_t i = 0; i < slots_.size(); ++i) {
        const auto& [name, direction, type] = procedure_.arguments[i];
        if (direction == Direction::in) continue;
        if (slots_[i]) reply_.output(*slots_[i], type.wire, *value);
        ++value;
    }
    if (returns) reply_.returned(returns->wire, *value);
}

void call_procedure(const Procedure& procedure, const std::vector<std::string_view>& arguments,
                    const Parameters& entries, const CallSite& site, Reply& reply) {
    if (arguments.size() != procedure.arguments.size()) {
        throw SqlError(fmt::format("{} takes {} arguments, not {}", procedure.name,
                                   procedure.arguments.size(), arguments.size()));
    }
    std::vector<std::string> names;
    const auto places = places_of(arguments, names);
    const ParameterPlaces sources(names, entries);
    Parameters inputs;
    std::vector<std::optional<std::size_t>> slots(arguments.size());
    for (std::size_t i = 0; i < arguments.size(); ++i) {
        const std::size_t slot = places[i] ? sources.source(*places[i]) : i;
        Parameter input = places[i] ? entries[slot] : evaluated(site.database, arguments[i]);
        if (places[i] ? input.direction != input_direction : entries.empty()) slots[i] = slot;

        const auto& [name, direction, type] = procedure.arguments[i];
        const bool without_value = direction == Direction::out || input.direction == output_direction;
        if (without_value) input.value = Value{};
        input.name = name;
        input.direction = input_direction;
        take_type(input, type);
        inputs.push_back(std::move(input));
    }
    Call call(procedure, std::move(inputs), std::move(slots), site, reply);
    procedure.body(call);
}

} // namespace tarnlite
