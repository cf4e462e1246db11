#include "rows.h"

#include <fmt/format.h>

#include <algorithm>
#include <optional>

namespace tarnlite {

namespace {

constexpr std::size_t look_ahead_rows = 64;
constexpr std::size_t look_ahead_bytes = 256 * 1024;

struct ResultColumn {
    ColumnDescription description;
    bool typed_by_values = false;
};

std::string_view text_or_empty(const char* text) {
    return text == nullptr ? std::string_view() : std::string_view(text);
}

void cut_to_wire(std::string& name) {
    if (name.size() <= longest_column_name) return;
    std::size_t length = longest_column_name;
    while (length > 0 && (static_cast<unsigned char>(name[length]) & 0xC0) == 0x80)
        --length;
    name.resize(length);
}

// A table or column name that contains a separator of the wire name cannot be sent; then only the label is.
std::string wire_name(std::string_view table, std::string_view column, std::string_view label) {
    const bool spellable = !table.empty() && table.find_first_of(".%") == std::string_view::npos &&
                           column.find('%') == std::string_view::npos &&
                           table.size() + column.size() < longest_column_name;
    std::string name = spellable ? fmt::format("{}.{}%{}", table, column, label) : fmt::format("%{}", label);
    cut_to_wire(name);
    return name;
}

std::uint32_t flags_of(sqlite3* database, sqlite3_stmt* statement, int index) {
    int not_null = 0;
    int primary_key = 0;
    const int found = sqlite3_table_column_metadata(
        database, sqlite3_column_database_name(statement, index), sqlite3_column_table_name(statement, index),
        sqlite3_column_origin_name(statement, index), nullptr, nullptr, &not_null, &primary_key, nullptr);
    if (found != SQLITE_OK) return 0;
    return (not_null != 0 ? flag_not_null : 0U) | (primary_key != 0 ? flag_primary_key : 0U);
}

ResultColumn describe(sqlite3* database, sqlite3_stmt* statement, int index) {
    const std::string_view table = text_or_empty(sqlite3_column_table_name(statement, index));
    ResultColumn column;
    column.description.name = wire_name(table, text_or_empty(sqlite3_column_origin_name(statement, index)),
                                        text_or_empty(sqlite3_column_name(statement, index)));
    if (!table.empty()) column.description.flags = flags_of(database, statement, index);
    const auto type = declared_type(text_or_empty(sqlite3_column_decltype(statement, index)));
    column.typed_by_values = !type;
    if (type) column.description.type = *type;
    return column;
}

// The type that fits this value and those so far; null changes nothing.
std::optional<WireType> widened(std::optional<WireType> type, const Value& value) {
    WireType own = WireType::character;
    switch (value.kind) {
    case Value::Kind::null: return type;
    case Value::Kind::integer: own = WireType::bigint; break;
    case Value::Kind::real: own = WireType::double_; break;
    case Value::Kind::text: own = WireType::character; break;
    case Value::Kind::bytes: own = WireType::binary; break;
    }
    if (!type || *type == own) return own;
    const auto is_number = [](WireType t) { return t == WireType::bigint || t == WireType::double_; };
    return is_number(*type) && is_number(own) ? WireType::double_ : WireType::character;
}

} // namespace

bool step(sqlite3* database, sqlite3_stmt* statement) {
    switch (sqlite3_step(statement)) {
    case SQLITE_ROW: return true;
    case SQLITE_DONE: return false;
    default: throw SqlError(sqlite3_errmsg(database));
    }
}

Value column_value(sqlite3_stmt* statement, int index) {
    const auto size = [&] { return static_cast<std::size_t>(sqlite3_column_bytes(statement, index)); };
    Value value;
    switch (sqlite3_column_type(statement, index)) {
    case SQLITE_INTEGER:
        value.kind = Value::Kind::integer;
        value.integer = sqlite3_column_int64(statement, index);
        break;
    case SQLITE_FLOAT:
        value.kind = Value::Kind::real;
        value.real = sqlite3_column_double(statement, index);
        break;
    case SQLITE_TEXT: {
        value.kind = Value::Kind::text;
        const auto* const text = reinterpret_cast<const char*>(sqlite3_column_text(statement, index));
        value.bytes = std::string_view(text, text == nullptr ? 0 : size());
        break;
    }
    case SQLITE_BLOB: {
        value.kind = Value::Kind::bytes;
        const auto* const bytes = static_cast<const char*>(sqlite3_column_blob(statement, index));
        value.bytes = std::string_view(bytes, bytes == nullptr ? 0 : size());
        break;
    }
    default: break;
    }
    return value;
}

ResultRows::ResultRows(sqlite3* database, sqlite3_stmt* statement, LobStore* lobs)
    : database_(database), statement_(statement), lobs_(lobs), at_row_(step(database, statement)) {
    // Columns are read after the first step, which may prepare the statement again, perhaps with other
    // columns, if another connection has changed the table.
    std::vector<bool> typed_by_values;
    for (int i = 0; i < sqlite3_column_count(statement); ++i) {
        ResultColumn column = describe(database, statement, i);
        columns_.push_back(std::move(column.description));
        typed_by_values.push_back(column.typed_by_values);
    }
    if (std::ranges::find(typed_by_values, true) == typed_by_values.end()) return;
    for (std::size_t bytes = 0; at_row_ && held_.size() < look_ahead_rows && bytes < look_ahead_bytes;
         at_row_ = step(database, statement)) {
        bytes += hold_row();
    }
    decide_types(typed_by_values);
}

// Copies the current row and returns the size of its texts.
std::size_t ResultRows::hold_row() {
    HeldRow& row = held_.emplace_back();
    std::size_t bytes = 0;
    for (int i = 0; i < sqlite3_column_count(statement_); ++i) {
        Value value = column_value(statement_, i);
        value.bytes = row.texts.emplace_back(value.bytes);
        bytes += value.bytes.size();
        row.values.push_back(value);
    }
    return bytes;
}

void ResultRows::decide_types(const std::vector<bool>& typed_by_values) {
    for (std::size_t i = 0; i < columns_.size(); ++i) {
        if (!typed_by_values[i]) continue;
        std::optional<WireType> type;
        for (const HeldRow& row : held_)
            type = widened(type, row.values[i]);
        columns_[i].type = ColumnType{type.value_or(WireType::character), 0};
    }
}

void ResultRows::append(std::size_t column, const Value& value) {
    const auto& [name, type, flags] = columns_[column];
    if (lobs_ != nullptr && LobStore::is_large_object(type.wire)) {
        return lobs_->append_value(row_, type.wire, value);
    }
    if (append_value(row_, type, value)) return;
    const std::string_view label = std::string_view(name).substr(name.find('%') + 1);
    throw SqlError(fmt::format("column {}: {} cannot be converted to {}", label, shown_value(value),
                               type_name(type.wire)));
}

bool ResultRows::reply_next(Reply& reply) {
    row_.clear();
    if (!held_.empty()) {
        for (std::size_t i = 0; i < columns_.size(); ++i)
            append(i, held_.front().values[i]);
        held_.pop_front();
        reply.row(row_);
        return true;
    }
    if (!at_row_) return false;
    for (std::size_t i = 0; i < columns_.size(); ++i)
        append(i, column_value(statement_, static_cast<int>(i)));
    reply.row(row_);
    at_row_ = step(database_, statement_);
    return true;
}

std::vector<ColumnDescription> describe_columns(sqlite3* database, sqlite3_stmt* statement) {
    const int count = sqlite3_column_count(statement);
    std::vector<ColumnDescription> descriptions;
    descriptions.reserve(static_cast<std::size_t>(count));
    for (int i = 0; i < count; ++i)
        descriptions.push_back(describe(database, statement, i).description);
    return descriptions;
}

void reply_rows(sqlite3* database, sqlite3_stmt* statement, LobStore* lobs, Reply& reply) {
    ResultRows rows(database, statement, lobs);
    reply.columns(rows.columns());
    while (rows.reply_next(reply)) {
    }
}

} // namespace tarnlite
