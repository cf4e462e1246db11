#include "batch.h"

#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <optional>

namespace tarnsh {

namespace {

constexpr std::size_t most_values = 1 << 18, most_rows_of_any = 50'000;
constexpr std::size_t longest_shown = 40;

std::string insert_statement(const Target& target) {
    std::string names, marks;
    for (const Column& column : target.columns) {
        names += (names.empty() ? "" : ", ") + in_quotes(column.name, '"');
        marks += marks.empty() ? "?" : ", ?";
    }
    return fmt::format("INSERT INTO {} ({}) VALUES ({})", target.table, names, marks);
}

bool is_name_character(char c) {
    return c == '_' || std::isalnum(static_cast<unsigned char>(c)) != 0;
}

// Whether the name stands in the text as a word of its own.
bool mentions(std::string_view text, std::string_view name) {
    for (std::size_t at = 0; (at = text.find(name, at)) != text.npos; ++at) {
        const std::size_t end = at + name.size();
        if ((at == 0 || !is_name_character(text[at - 1])) &&
            (end == text.size() || !is_name_character(text[end])))
            return true;
    }
    return false;
}

bool reads_as_number(const std::string& text) {
    char* end = nullptr;
    std::strtod(text.c_str(), &end);
    return end != text.c_str() && trim(end).empty();
}

} // namespace

Batch::Batch(std::size_t columns)
    : columns_(columns), most_rows_(std::clamp<std::size_t>(most_values / columns, 1, most_rows_of_any)),
      lines_(std::make_unique_for_overwrite<std::size_t[]>(most_rows_)),
      values_(std::make_unique_for_overwrite<TRNX_VALUE[]>(columns * most_rows_ + spare_values)) {}

Insert::Insert(Session& session, const Target& target) : session_(session), target_(target) {
    for (const Column& column : target.columns)
        types_.push_back(is_binary(column.type) ? TRN_TYPE_BYTES : TRN_TYPE_TEXT);
    check_call(session, TRN_Prepare2(session.handle(), insert_statement(target).c_str(), name_.data()));
    // A set that the server described would be sent with the next statement.
    TRN_ResetParams(session.handle());
}

Insert::~Insert() {
    if (session_.connected) TRN_UnPrepare(session_.handle(), name_.data());
    drop_library_lines(); // the copy has ended, whatever they say
}

void Insert::send(Batch& batch, std::size_t first, std::size_t count) {
    const std::string call = std::string("? ") + name_.data();
    const auto rows = static_cast<std::int32_t>(count);
    // No row of a batch begins beyond 4 GiB, and what is after the last one is not read.
    const auto size = static_cast<std::uint32_t>(std::min<std::size_t>(batch.text.size(), UINT32_MAX));
    check_call(session_,
               TRNX_ExecRows(session_.handle(), call.c_str(), static_cast<std::int32_t>(batch.columns()),
                             types_.data(), rows, batch.row(first), batch.text.data(), size));
    stored_ += rows;
}

// The column that the server's text names, otherwise the first numeric column whose value is not a number.
std::string Insert::blame(const Batch& batch, std::size_t row, const std::string& reason) const {
    std::optional<std::size_t> found;
    for (std::size_t i = 0; i < target_.columns.size() && !found; ++i)
        if (mentions(reason, target_.columns[i].name)) found = i;
    for (std::size_t i = 0; i < target_.columns.size() && !found; ++i)
        if (is_number(target_.columns[i].type) && !batch.value(row, i).empty() &&
            !reads_as_number(std::string(batch.value(row, i))))
            found = i;
    if (!found) return "";
    std::string value(batch.value(row, *found));
    if (value.size() > longest_shown)
        value = value.substr(0, whole_characters({value.data(), longest_shown})) + "...";
    return fmt::format(", column {} ({})", target_.columns[*found].name,
                       is_binary(target_.columns[*found].type) ? "binary" : in_quotes(value, '\''));
}

void Insert::store(Batch& batch, const std::string& file) {
    const std::size_t rows = batch.rows();
    std::size_t end = rows; // a row before it is refused, while narrowing
    bool narrowing = false;
    for (std::size_t first = 0; first < rows;) {
        const std::size_t count = narrowing ? std::max<std::size_t>((end - first) / 2, 1) : rows - first;
        try {
            send(batch, first, count);
            first += count;
            narrowing = narrowing && first < end;
        } catch (const Failure& failure) {
            if (failure.code != exit_statement || is_interrupted()) throw;
            if (count == 1)
                fail(exit_statement, fmt::format("{}, line {}{}: {}", file, batch.line(first),
                                                 blame(batch, first, failure.text), failure.text));
            end = first + count;
            narrowing = true;
        }
    }
    batch.clear();
}

} // namespace tarnsh
