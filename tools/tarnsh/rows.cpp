#include "rows.h"

#include "failure.h"
#include "text.h"
#include "value_text.h"

#include <algorithm>
#include <array>

namespace tarnsh {

namespace {

constexpr std::size_t name_area = 1025;
// Texts made by the library have up to 63 bytes.
constexpr std::int32_t made_text_area = 64, short_area = 64;
constexpr std::size_t longest_held = 1 << 16, piece_size = 3 << 14;

} // namespace

Lob::Lob() {
    if (TRN_Create_Lob(&handle_) != TRN_OK) fail(exit_shell, "out of memory");
}

void Result::release() {
    if (!handle_) return;
    while (next_item()) {
    }
    TRN_FreeRowset(&handle_);
}

bool is_number(std::int32_t type) {
    return type >= TRN_TYPE_TINYINT && type <= TRN_TYPE_NUMERIC;
}

bool is_binary(std::int32_t type) {
    return type == TRN_TYPE_BYTES || type == TRN_TYPE_BLOB;
}

std::vector<Column> columns_of(Result& result) {
    std::int32_t count = 0;
    TRN_getResultColumnsnum(result.handle(), &count);
    std::vector<Column> columns;
    for (std::int32_t i = 1; i <= count; ++i) {
        std::array<char, name_area> name{};
        std::int32_t type = TRN_TYPE_TEXT;
        TRN_getResultcolname(result.handle(), i, name.data());
        TRN_getResultcolType(result.handle(), i, &type);
        columns.push_back({name.data(), type});
    }
    return columns;
}

LongValue::LongValue(Result& result, std::int32_t column, Lob* lob, As as)
    : result_(result), column_(column), lob_(lob), as_(as), bytes_(piece_size) {}

std::size_t LongValue::fill() {
    const auto capacity = static_cast<std::int32_t>(bytes_.size());
    std::int32_t got = 0;
    if (lob_) {
        if (TRN_LobRead_SetPos(lob_->handle(), offset_) >= 0)
            got = TRN_Get_Lob_data(lob_->handle(), bytes_.data(), capacity);
    } else {
        got = offset_;
        const std::int32_t status =
            TRN_GetData(result_.handle(), column_, TRN_TYPE_BYTES_PIECEWISE, bytes_.data(), capacity, &got);
        if (status != TRN_OK && status != TRN_TRUNCATED) got = 0;
        got = std::min(got, capacity);
    }
    return static_cast<std::size_t>(std::max(got, 0));
}

std::string_view LongValue::next() {
    std::size_t size = fill();
    if (as_ == As::text && size == bytes_.size())
        size = whole_characters({bytes_.data(), size}); // an incomplete character is read again
    const std::string_view piece(bytes_.data(), size);
    const bool first = offset_ == 0;
    offset_ += static_cast<std::int32_t>(size);
    if (as_ != As::hex || piece.empty()) return piece;
    digits_.clear();
    add_hex(piece, first, digits_);
    return digits_;
}

RowReader::RowReader(Result& result, const std::vector<Column>& columns, bool descriptors, RowMarks marks)
    : result_(result), marks_(marks), cells_(columns.size()),
      short_room_((columns.size() + 1) * (made_text_area + 1)) {
    for (const Column& column : columns) {
        const auto kind_of = [descriptors](std::int32_t type) {
            switch (type) {
            case TRN_TYPE_TINYINT:
            case TRN_TYPE_SMALLINT:
            case TRN_TYPE_INTEGER:
            case TRN_TYPE_BIGINT: return Kind::integer;
            case TRN_TYPE_FLOAT: return Kind::real4;
            case TRN_TYPE_DOUBLE: return Kind::real8;
            case TRN_TYPE_DATE: return Kind::date;
            case TRN_TYPE_DATETIME: return Kind::date_time;
            case TRN_TYPE_TEXT: return Kind::text;
            case TRN_TYPE_BYTES: return Kind::binary;
            case TRN_TYPE_CLOB: return descriptors ? Kind::large : Kind::text;
            case TRN_TYPE_BLOB: return descriptors ? Kind::large : Kind::binary;
            default: return Kind::other;
            }
        };
        values_.push_back({.column = static_cast<std::int32_t>(values_.size() + 1),
                           .kind = kind_of(column.type),
                           .binary = is_binary(column.type)});
    }
}

template <typename Number>
inline std::int32_t RowReader::get(const Value& value, std::int32_t type, Number& number) {
    return TRN_GetData(result_.handle(), value.column, type, &number, sizeof number, nullptr);
}

// Reads a value of short_area bytes at most; TRN_TRUNCATED for others, which read_any() reads. Called for
// every value: worth inlining into the loop of read().
[[gnu::always_inline]] inline std::int32_t RowReader::read_short(const Value& value, char* to,
                                                                 std::size_t& size) {
    std::int32_t status = TRN_TRUNCATED;
    switch (value.kind) {
    case Kind::integer: {
        std::int64_t number = 0;
        status = get(value, TRN_TYPE_BIGINT, number);
        if (status == TRN_OK) size = write_integer(number, to);
        break;
    }
    case Kind::real4: {
        float number = 0;
        status = get(value, TRN_TYPE_FLOAT, number);
        if (status == TRN_OK) size = write_real(number, to);
        break;
    }
    case Kind::real8: {
        double number = 0;
        status = get(value, TRN_TYPE_DOUBLE, number);
        if (status == TRN_OK) size = write_real(number, to);
        break;
    }
    case Kind::date: {
        std::int32_t days = 0;
        status = get(value, TRN_TYPE_NUMERIC, days);
        if (status == TRN_OK) size = write_date(days, to);
        if (status == TRN_OK && size == 0) return read_made_text(value, to, size);
        break;
    }
    case Kind::date_time: {
        std::int64_t milliseconds = 0;
        status = get(value, TRN_TYPE_DATETIME_RAW, milliseconds);
        if (status == TRN_OK) size = write_date_time(milliseconds, to);
        if (status == TRN_OK && size == 0) return read_made_text(value, to, size);
        break;
    }
    case Kind::text: {
        // The library clears what it does not fill, and is quickest with short areas.
        std::int32_t length = 0;
        status = TRN_GetData(result_.handle(), value.column, TRN_TYPE_BYTES, to, short_area, &length);
        if (status == TRN_OK) size = static_cast<std::size_t>(length);
        if (status == TRN_ERR_CONVERSION) return read_made_text(value, to, size);
        break;
    }
    case Kind::other: return read_made_text(value, to, size);
    case Kind::binary:
    case Kind::large: break;
    }
    return status;
}

std::int32_t RowReader::read() {
    used_ = 0;
    char* to = room(0);
    const char* const area = to;
    Cell* cell = cells_.data();
    for (Value& value : values_) {
        std::size_t size = 0;
        std::int32_t status = read_short(value, to, size);
        cell->rest = nullptr;
        if (status == TRN_TRUNCATED) [[unlikely]] {
            used_ = static_cast<std::size_t>(to - area_.data());
            status = read_any(value, size);
            to = room(size);
            cell->rest = value.rest ? &*value.rest : nullptr;
        }
        if (status != TRN_OK && status != TRN_NULL_VALUE) return status;
        cell->null = status == TRN_NULL_VALUE;
        cell++->text = {to, size};
        to += size;
        *to++ = marks_.between;
    }
    if (to != area_.data()) to[-1] = marks_.behind;
    if (area != area_.data()) find_texts();
    return TRN_OK;
}

// A large value has moved the area.
void RowReader::find_texts() {
    const char* at = area_.data();
    for (Cell& cell : cells_) {
        cell.text = {at, cell.text.size()};
        at += cell.text.size() + 1;
    }
}

// Room for size bytes after those in use, and for the short values of a whole row after them.
char* RowReader::room(std::size_t size) {
    const std::size_t needed = used_ + size + short_room_;
    if (area_.size() < needed) area_.resize(std::max(2 * area_.size(), needed));
    return area_.data() + used_;
}

std::int32_t RowReader::read_made_text(const Value& value, char* to, std::size_t& size) {
    std::int32_t length = 0, status = TRN_TRUNCATED;
    for (std::int32_t area = made_text_area / 2; status == TRN_TRUNCATED && area <= made_text_area; area *= 2)
        status = TRN_GetData(result_.handle(), value.column, TRN_TYPE_TEXT, to, area, &length);
    if (status == TRN_OK) size = static_cast<std::size_t>(length);
    return status;
}

// Texts and binary values of any size.
std::int32_t RowReader::read_any(Value& value, std::size_t& size) {
    value.rest.reset();
    return value.kind == Kind::large ? read_large(value, size) : read_bytes(value, size);
}

std::int32_t RowReader::read_bytes(Value& value, std::size_t& size) {
    std::int32_t length = 0;
    std::int32_t status =
        TRN_GetData(result_.handle(), value.column, TRN_TYPE_BYTES, room(0), short_area, &length);
    if (status == TRN_OK) return keep(value, size = static_cast<std::size_t>(length));
    if (status == TRN_ERR_CONVERSION) return read_made_text(value, room(0), size);
    if (status != TRN_TRUNCATED) return status;
    const std::size_t whole = static_cast<std::size_t>(short_area) + static_cast<std::size_t>(length);
    if (whole > longest_held) {
        value.rest.emplace(result_, value.column, nullptr,
                           value.binary ? LongValue::As::hex : LongValue::As::text);
        return TRN_OK;
    }
    status = TRN_GetData(result_.handle(), value.column, TRN_TYPE_BYTES, room(whole),
                         static_cast<std::int32_t>(whole), &length);
    return status == TRN_OK ? keep(value, size = whole) : status;
}

std::int32_t RowReader::read_large(Value& value, std::size_t& size) {
    if (!value.lob) value.lob = std::make_unique<Lob>();
    TRN_HANDLE* const lob = value.lob->handle();
    const std::int32_t status = TRN_GetData(result_.handle(), value.column,
                                            value.binary ? TRN_TYPE_BLOB : TRN_TYPE_CLOB, lob, 0, nullptr);
    if (status != TRN_OK) return status;
    TRN_LobRead_SetPos(lob, 0);
    const std::int32_t got =
        TRN_Get_Lob_data(lob, room(longest_held + 1), static_cast<std::int32_t>(longest_held + 1));
    const auto read = static_cast<std::size_t>(std::max(got, 0));
    if (read <= longest_held) return keep(value, size = read);
    value.rest.emplace(result_, value.column, value.lob.get(),
                       value.binary ? LongValue::As::hex : LongValue::As::text);
    return TRN_OK;
}

// Makes the bytes read after those in use the value.
std::int32_t RowReader::keep(const Value& value, std::size_t& size) {
    if (!value.binary) return TRN_OK;
    const std::string bytes(room(0), size);
    std::string digits;
    add_hex(bytes, true, digits);
    size = digits.size();
    std::ranges::copy(digits, room(size));
    return TRN_OK;
}

} // namespace tarnsh
