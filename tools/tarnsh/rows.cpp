#include "rows.h"

#include "failure.h"
#include "text.h"
#include "value_text.h"

#include <algorithm>
#include <array>

namespace tarnsh {

namespace {

constexpr std::size_t name_area = 1025;
// A text that the library makes has up to 63 bytes.
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
        size = whole_characters({bytes_.data(), size}); // what is cut off is read again
    const std::string_view piece(bytes_.data(), size);
    const bool first = offset_ == 0;
    offset_ += static_cast<std::int32_t>(size);
    if (as_ != As::hex || piece.empty()) return piece;
    digits_.clear();
    add_hex(piece, first, digits_);
    return digits_;
}

RowReader::RowReader(Result& result, const std::vector<Column>& columns, bool descriptors)
    : result_(result), cells_(columns.size()), short_room_((columns.size() + 1) * made_text_area) {
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

std::int32_t RowReader::read() {
    used_ = 0;
    const char* const area = room(0);
    for (std::size_t i = 0; i < values_.size(); ++i) {
        Value& value = values_[i];
        value.begin = used_;
        const std::int32_t status = read_value(value);
        if (status != TRN_OK && status != TRN_NULL_VALUE) return status;
        Cell& cell = cells_[i];
        cell.null = status == TRN_NULL_VALUE;
        cell.text = {area + value.begin, used_ - value.begin};
        cell.rest = value.rest ? &*value.rest : nullptr;
    }
    // A large value may have moved the area.
    if (area_.data() != area)
        for (std::size_t i = 0; i < values_.size(); ++i)
            cells_[i].text = {area_.data() + values_[i].begin, cells_[i].text.size()};
    return TRN_OK;
}

// Room for so many bytes behind those in use, and for the short values of a whole row behind them.
char* RowReader::room(std::size_t size) {
    const std::size_t needed = used_ + size + short_room_;
    if (area_.size() < needed) area_.resize(std::max(2 * area_.size(), needed));
    return place();
}

std::int32_t RowReader::read_value(Value& value) {
    if (value.rest) value.rest.reset();
    switch (value.kind) {
    case Kind::integer: return read_integer(value);
    case Kind::real4: return read_real<float>(value, TRN_TYPE_FLOAT);
    case Kind::real8: return read_real<double>(value, TRN_TYPE_DOUBLE);
    case Kind::date: return read_date(value);
    case Kind::date_time: return read_date_time(value);
    case Kind::text:
    case Kind::binary: return read_bytes(value);
    case Kind::large: return read_large(value);
    case Kind::other: break;
    }
    return read_made_text(value);
}

std::int32_t RowReader::read_integer(const Value& value) {
    std::int64_t number = 0;
    const std::int32_t status =
        TRN_GetData(result_.handle(), value.column, TRN_TYPE_BIGINT, &number, sizeof number, nullptr);
    if (status == TRN_OK) used_ += write_integer(number, place());
    return status;
}

template <typename Number> std::int32_t RowReader::read_real(const Value& value, std::int32_t type) {
    Number number = 0;
    const std::int32_t status =
        TRN_GetData(result_.handle(), value.column, type, &number, sizeof number, nullptr);
    if (status == TRN_OK) used_ += write_real(number, place());
    return status;
}

std::int32_t RowReader::read_date(const Value& value) {
    std::int32_t days = 0;
    const std::int32_t status =
        TRN_GetData(result_.handle(), value.column, TRN_TYPE_NUMERIC, &days, sizeof days, nullptr);
    if (status != TRN_OK) return status;
    const std::size_t size = write_date(days, place());
    if (size == 0) return read_made_text(value);
    used_ += size;
    return status;
}

std::int32_t RowReader::read_date_time(const Value& value) {
    std::int64_t milliseconds = 0;
    const std::int32_t status = TRN_GetData(result_.handle(), value.column, TRN_TYPE_DATETIME_RAW,
                                            &milliseconds, sizeof milliseconds, nullptr);
    if (status != TRN_OK) return status;
    const std::size_t size = write_date_time(milliseconds, place());
    if (size == 0) return read_made_text(value);
    used_ += size;
    return status;
}

std::int32_t RowReader::read_made_text(const Value& value) {
    std::int32_t length = 0, status = TRN_TRUNCATED;
    for (std::int32_t area = made_text_area / 2; status == TRN_TRUNCATED && area <= made_text_area; area *= 2)
        status = TRN_GetData(result_.handle(), value.column, TRN_TYPE_TEXT, place(), area, &length);
    if (status == TRN_OK) used_ += static_cast<std::size_t>(length);
    return status;
}

// The library clears what it does not fill, and is quickest with short areas.
std::int32_t RowReader::read_bytes(Value& value) {
    std::int32_t length = 0;
    std::int32_t status =
        TRN_GetData(result_.handle(), value.column, TRN_TYPE_BYTES, place(), short_area, &length);
    if (status == TRN_OK) return keep(value, static_cast<std::size_t>(length));
    if (status == TRN_ERR_CONVERSION) return read_made_text(value);
    if (status != TRN_TRUNCATED) return status;
    const std::size_t size = static_cast<std::size_t>(short_area) + static_cast<std::size_t>(length);
    if (size > longest_held) {
        value.rest.emplace(result_, value.column, nullptr,
                           value.binary ? LongValue::As::hex : LongValue::As::text);
        return TRN_OK;
    }
    status = TRN_GetData(result_.handle(), value.column, TRN_TYPE_BYTES, room(size),
                         static_cast<std::int32_t>(size), &length);
    return status == TRN_OK ? keep(value, size) : status;
}

std::int32_t RowReader::read_large(Value& value) {
    if (!value.lob) value.lob = std::make_unique<Lob>();
    TRN_HANDLE* const lob = value.lob->handle();
    const std::int32_t status = TRN_GetData(result_.handle(), value.column,
                                            value.binary ? TRN_TYPE_BLOB : TRN_TYPE_CLOB, lob, 0, nullptr);
    if (status != TRN_OK) return status;
    TRN_LobRead_SetPos(lob, 0);
    const std::int32_t got =
        TRN_Get_Lob_data(lob, room(longest_held + 1), static_cast<std::int32_t>(longest_held + 1));
    const auto size = static_cast<std::size_t>(std::max(got, 0));
    if (size <= longest_held) return keep(value, size);
    value.rest.emplace(result_, value.column, value.lob.get(),
                       value.binary ? LongValue::As::hex : LongValue::As::text);
    return TRN_OK;
}

// The bytes that were read behind those in use become the value.
std::int32_t RowReader::keep(Value& value, std::size_t size) {
    if (!value.binary) {
        used_ += size;
        return TRN_OK;
    }
    const std::string bytes(area_.data() + used_, size);
    std::string digits;
    add_hex(bytes, true, digits);
    std::ranges::copy(digits, room(digits.size()));
    used_ += digits.size();
    return TRN_OK;
}

} // namespace tarnsh
