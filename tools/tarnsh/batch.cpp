#include "batch.h"

#include "terminal.h"
#include "text.h"

#include <fmt/format.h>

#include <algorithm>
#include <cstdlib>
#include <cstring>
#include <optional>

namespace tarnsh {

namespace {

constexpr std::size_t most_rows_of_any = 10'000, most_values = 400'000; // in a batch
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

ColumnValues::ColumnValues(bool binary, std::size_t most_rows) : lengths_(most_rows), gap_(binary ? 4 : 0) {
    grow(0);
}

void ColumnValues::grow(std::size_t size) {
    const std::size_t used = end_ ? this->size() : 0;
    bytes_.resize(std::max(2 * bytes_.size(), used + size + step));
    end_ = bytes_.data() + used;
    limit_ = bytes_.data() + bytes_.size() - step;
}

void ColumnValues::add(std::size_t row, std::string_view value) {
    if (static_cast<std::size_t>(limit_ - end_) < gap_ + value.size()) grow(gap_ + value.size());
    end_ = std::copy_n(value.data(), value.size(), end_ + gap_);
    lengths_[row] = static_cast<std::int32_t>(value.size());
}

std::size_t ColumnValues::begin_of(std::size_t row) const {
    std::size_t begin = gap_ * row;
    for (std::size_t i = 0; i < row; ++i)
        begin += static_cast<std::size_t>(lengths_[i]);
    return begin;
}

Batch::Batch(const Target& target)
    : lines_(std::clamp<std::size_t>(most_values / std::max<std::size_t>(target.columns.size(), 1), 1,
                                     most_rows_of_any)) {
    for (const Column& column : target.columns)
        columns.emplace_back(is_binary(column.type), most_rows());
}

void Batch::clear() {
    for (ColumnValues& values : columns)
        values.clear();
    rows_ = 0;
}

Insert::Insert(Session& session, const Target& target) : session_(session), target_(target) {
    check_call(session, TRN_Prepare2(session.handle(), insert_statement(target).c_str(), name_.data()));
}

Insert::~Insert() {
    TRN_ResetParams(session_.handle());
    if (session_.connected) TRN_UnPrepare(session_.handle(), name_.data());
    drop_library_lines(); // the copy has ended, whatever they say
}

void Insert::send(Batch& batch, std::size_t first, std::size_t count) {
    const auto rows = static_cast<std::int32_t>(count),
               columns = static_cast<std::int32_t>(batch.columns.size());
    TRN_ResetParams(session_.handle());
    for (std::int32_t i = 0; i < columns; ++i) {
        ColumnValues& values = batch.columns[static_cast<std::size_t>(i)];
        const std::size_t begin = values.begin_of(first);
        // Bound as dates, texts travel unchanged, and unlike those bound as text they are not copied at the
        // bind.
        const std::int32_t type =
            is_binary(target_.columns[static_cast<std::size_t>(i)].type) ? TRN_TYPE_BYTES : TRN_TYPE_DATE;
        check_call(session_, TRN_BindParamArrayByPos(session_.handle(), i + 1, columns, TRN_DIRECTION_IN,
                                                     type, rows, values.bytes() + begin,
                                                     static_cast<std::int32_t>(values.size() - begin),
                                                     values.lengths() + first));
    }
    const std::string call = std::string("? ") + name_.data();
    check_call(session_, TRN_ExecBatch(session_.handle(), call.c_str(), rows));
    stored_ += rows;
}

// The column that the server's text names, otherwise the first numeric column whose value is not a number.
std::string Insert::blame(Batch& batch, std::size_t row, const std::string& reason) const {
    std::optional<std::size_t> found;
    for (std::size_t i = 0; i < target_.columns.size() && !found; ++i)
        if (mentions(reason, target_.columns[i].name)) found = i;
    for (std::size_t i = 0; i < target_.columns.size() && !found; ++i)
        if (is_number(target_.columns[i].type) && !batch.columns[i].text(row).empty() &&
            !reads_as_number(std::string(batch.columns[i].text(row))))
            found = i;
    if (!found) return "";
    std::string value(batch.columns[*found].text(row));
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
