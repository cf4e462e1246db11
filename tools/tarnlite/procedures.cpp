#include "procedures.h"

#include "database.h"
#include "types.h"
#include "values.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>
#include <span>

namespace tarnlite {

namespace {

constexpr const char* numbers_up_to_count =
    "WITH RECURSIVE numbers(number) AS (SELECT 1 WHERE :count > 0 UNION ALL "
    "SELECT number + 1 FROM numbers WHERE number < :count) "
    "SELECT number, 'number ' || number AS text FROM numbers";

void give_typed(Call& call) {
    const std::string name = call.text("type");
    const auto type = declared_type(name);
    if (!type) throw SqlError(fmt::format("{} is no type", shown_text(name)));
    call.set_type("value", *type);
    call.answer_as("SELECT :value", type);
}

void give_every_type(Call& call) {
    call.answer("SELECT 1, -7, -1234, 123456789, -1234567890123456789, '-1234.50', 1.5, 0.1, '2024-02-29', "
                "'12:34:56.789', '12:34:56+02:00', '2024-02-29 12:34:56.789', '2024-02-29 12:34:56+02:00', "
                "'a text', x'00FF80'");
}

std::span<const Procedure> procedures() {
    using enum WireType;
    using enum Direction;
    static const Procedure all[] = {
        {"ADD",
         {{"a", in, {bigint}}, {"b", in, {bigint}}, {"sum", out, {bigint}}},
         {},
         [](Call& call) { call.answer("SELECT :a + :b"); }},
        {"ANSWER", {}, ColumnType{integer}, [](Call& call) { call.answer("SELECT 42"); }},
        {"DIVIDE",
         {{"number", both, {bigint}}, {"divisor", in, {bigint}}, {"rest", out, {bigint}}},
         ColumnType{boolean},
         [](Call& call) {
             call.answer("SELECT :number / :divisor, :number % :divisor, :number % :divisor = 0");
         }},
        {"EVERY_TYPE",
         {{"boolean", out, {boolean}},
          {"tinyint", out, {tinyint}},
          {"smallint", out, {smallint}},
          {"integer", out, {integer}},
          {"bigint", out, {bigint}},
          {"numeric", out, {numeric, 10U << 16 | 2U}},
          {"float", out, {single}},
          {"double", out, {double_}},
          {"date", out, {date}},
          {"time", out, {time}},
          {"time_tz", out, {time_tz}},
          {"datetime", out, {datetime}},
          {"datetime_tz", out, {datetime_tz}},
          {"char", out, {character}},
          {"binary", out, {binary}}},
         {},
         give_every_type},
        {"FAIL", {{"text", in, {character}}}, {}, [](Call& call) { throw SqlError(call.text("text")); }},
        {"GREET",
         {{"name", both, {character}}},
         {},
         [](Call& call) { call.answer("SELECT 'Hello, ' || :name"); }},
        {"NOTHING", {{"value", out, {integer}}}, {}, [](Call& call) { call.answer("SELECT NULL"); }},
        {"NUMBERS",
         {{"count", in, {bigint}}, {"sum", out, {bigint}}},
         {},
         [](Call& call) {
             call.reply_rows(numbers_up_to_count);
             call.answer("SELECT max(:count, 0) * (max(:count, 0) + 1) / 2");
         }},
        {"OPEN_NUMBERS",
         {{"count", in, {bigint}}, {"cursor", out, {character}}},
         {},
         [](Call& call) {
             call.set_text("cursor", call.open_cursor(numbers_up_to_count));
             call.answer("SELECT :cursor");
         }},
        {"TYPED", {{"type", in, {character}}, {"value", in, {character}}}, ColumnType{character}, give_typed},
        {"WARN",
         {{"text", in, {character}}},
         {},
         [](Call& call) {
             call.warn(call.text("text"));
             call.notify(call.text("text"));
         }},
    };
    return all;
}

} // namespace

const Procedure& find_procedure(const std::string& name) {
    const auto found = std::ranges::find(procedures(), name, &Procedure::name);
    if (found == procedures().end())
        throw SqlError(fmt::format("there is no procedure {}", shown_text(name)));
    return *found;
}

} // namespace tarnlite
