// TRN_GetData: one value of the current row, converted to the application's type.
#include <algorithm>
#include <cstring>

#include "base/text.h"
#include "lob/fetch.h"
#include "result/type_codes.h"
#include "result/value.h"

namespace tarn {

namespace {

// Where the application wants the value.
struct Destination {
    void* buffer;
    size_t size; // consulted by texts and byte runs only
    int32_t* length;
};

} // namespace

static int32_t refuse(const Destination& to) noexcept {
    *to.length = 0;
    return TRN_ERR_CONVERSION;
}

template <class T> static int32_t deliver(const Destination& to, T value) noexcept {
    store(to.buffer, value);
    *to.length = static_cast<int32_t>(sizeof value);
    return TRN_OK;
}

// The integer types of the wire, narrowest first: their codes grow with their widths.
static int64_t integer_of(const Value& value) noexcept {
    switch (value.wire_type) {
    case TRN_WIRE_SMALLINT: return value.as<int16_t>();
    case TRN_WIRE_INTEGER: return value.as<int32_t>();
    case TRN_WIRE_BIGINT: return value.as<int64_t>();
    default: return value.as<int8_t>();
    }
}

static bool is_integer(const Value& value, int32_t narrowest, int32_t widest) noexcept {
    return value.wire_type >= narrowest && value.wire_type <= widest;
}

// Integer targets take the integer types up to their own width.
template <class T>
static int32_t deliver_integer(const Destination& to, const Value& value, int32_t widest) noexcept {
    if (!is_integer(value, TRN_WIRE_BOOLEAN, widest)) return refuse(to);
    return deliver(to, static_cast<T>(integer_of(value)));
}

// NUMERIC passes through 32 bits even for the 64-bit target: a longer number is not preserved, as it never was.
template <class T>
static int32_t deliver_integer_or_numeric(const Destination& to, const Value& value,
                                          int32_t widest) noexcept {
    if (value.wire_type == TRN_WIRE_NUMERIC) return deliver(to, T{leading_int32(value.text())});
    return deliver_integer<T>(to, value, widest);
}

template <class T> static bool floating_of(const Value& value, T& number) noexcept {
    switch (value.wire_type) {
    case TRN_WIRE_NUMERIC: number = static_cast<T>(leading_double(value.text())); return true;
    case TRN_WIRE_FLOAT: number = static_cast<T>(value.as<float>()); return true;
    case TRN_WIRE_DOUBLE: number = static_cast<T>(value.as<double>()); return true;
    default:
        if (!is_integer(value, TRN_WIRE_TINYINT, TRN_WIRE_BIGINT)) return false;
        number = static_cast<T>(integer_of(value));
        return true;
    }
}

static int32_t deliver_double(const Destination& to, const Value& value) noexcept {
    double number;
    return floating_of(value, number) ? deliver(to, number) : refuse(to);
}

// A source that does not convert is no failure here, unlike everywhere else: nothing is written and the call succeeds.
static int32_t deliver_float(const Destination& to, const Value& value) noexcept {
    float number;
    return floating_of(value, number) ? deliver(to, number) : TRN_OK;
}

static int32_t deliver_stored_bytes(const Destination& to, const Value& value) noexcept {
    std::memcpy(to.buffer, value.bytes, value.length);
    *to.length = static_cast<int32_t>(value.length);
    return TRN_OK;
}

static int32_t deliver_interval(const Destination& to, const Value& value, int32_t own_type) noexcept {
    if (value.wire_type == own_type) return deliver_stored_bytes(to, value);
    if (!is_integer(value, TRN_WIRE_INTEGER, TRN_WIRE_BIGINT)) return refuse(to);
    return deliver(to, integer_of(value));
}

static int32_t check_interval(const Value& value) noexcept {
    const bool is_interval = value.wire_type == TRN_WIRE_INTERVAL_YEAR_TO_MONTH ||
                             value.wire_type == TRN_WIRE_INTERVAL_DAY_TO_SECOND;
    return is_interval ? TRN_OK : TRN_ERR_CONVERSION;
}

// Copies size bytes when they fit (at most fitting of them), else the first kept ones.
static int32_t deliver_bytes(const Destination& to, const void* bytes, size_t size, size_t fitting,
                             size_t kept) noexcept {
    if (to.size == 0) {
        *to.length = static_cast<int32_t>(size);
        return TRN_TRUNCATED;
    }
    std::memset(to.buffer, 0, to.size);
    const bool fits = size <= fitting;
    std::memcpy(to.buffer, bytes, fits ? size : kept);
    *to.length = static_cast<int32_t>(fits ? size : size - kept);
    return fits ? TRN_OK : TRN_TRUNCATED;
}

// A text made from a value needs room for its terminator; bytes that are a text already may fill the destination to the
// last byte. The two limits differ by one and always have.
static int32_t deliver_text(const Destination& to, const Value& value) noexcept {
    if (is_byte_run(value.wire_type))
        return deliver_bytes(to, value.bytes, value.length, to.size, to.size - 1);
    WorkingText text;
    add_value_text(value, TextStyle::of_rows, text);
    if (text.empty()) return refuse(to);
    return deliver_bytes(to, text.text().data(), text.text().size(), to.size - 1, to.size - 1);
}

static int32_t deliver_raw_bytes(const Destination& to, const Value& value) noexcept {
    if (!is_byte_run(value.wire_type)) return refuse(to);
    return deliver_bytes(to, value.bytes, value.length, to.size, to.size);
}

// The length variable holds the offset to read from and receives what was read.
static int32_t deliver_piece(const Destination& to, const Value& value) noexcept {
    const int32_t offset = *to.length;
    if (offset < 0 || static_cast<uint32_t>(offset) > value.length) return TRN_ERR_OFFSET;
    const size_t left = value.length - static_cast<uint32_t>(offset);
    if (left == 0) {
        *to.length = 0;
        return TRN_OK;
    }
    if (!is_byte_run(value.wire_type)) return refuse(to);
    return deliver_bytes(to, value.bytes + offset, to.size ? std::min(left, to.size) : left, to.size,
                         to.size);
}

// How a large object's value begins when the session asked for descriptors.
struct LobMarkers {
    uint8_t inline_data;
    uint8_t descriptor;
};

// What gives way to new content is no longer complete: an object that could not be filled is not sent.
static void clear_lob(Lob& lob) noexcept {
    reset_lob(lob);
    lob.state = LobState::empty;
}

static int32_t complete_lob(const Destination& to, Lob& lob, int32_t status) noexcept {
    if (status != TRN_OK) return status;
    lob.state = LobState::complete;
    *to.length = static_cast<int32_t>(lob.total_len);
    return TRN_OK;
}

static int32_t append_value(Lob& lob, const uint8_t* bytes, size_t size) noexcept {
    return append_to_lob(lob, bytes, size) ? TRN_OK : TRN_ERR_ARGUMENT;
}

static int32_t fetch_by_descriptor(const Value& value, const ResultSet& result, Lob& lob) noexcept {
    const std::string_view text = value.text();
    lob.descriptor = copy_text(text.data(), std::min(text.find('\0'), text.size())).release();
    return lob.descriptor ? fetch_lob(*result.conn, lob) : TRN_ERR_ARGUMENT;
}

// The destination is the application's handle variable of a large object, whose earlier content gives way.
static int32_t deliver_lob(const Destination& to, const Value& value, const ResultSet& result,
                           LobMarkers markers) noexcept {
    Lob* lob = lob_of(static_cast<const TRN_HANDLE*>(to.buffer));
    if (!lob) return TRN_ERR_ARGUMENT;
    if (!result.lob_descriptor) {
        if (!is_byte_run(value.wire_type)) return refuse(to);
        clear_lob(*lob);
        return complete_lob(to, *lob, append_value(*lob, value.bytes, value.length));
    }
    const uint8_t marker = value.as<uint8_t>();
    if (marker != markers.inline_data && marker != markers.descriptor) return TRN_OK;
    clear_lob(*lob);
    if (marker == markers.descriptor) return complete_lob(to, *lob, fetch_by_descriptor(value, result, *lob));
    // Inline data is at most one chunk.
    const size_t size = std::min(size_t{value.length} - 1, lob_chunk_size);
    return complete_lob(to, *lob, append_value(*lob, value.bytes + 1, size));
}

static int32_t convert(const Value& value, int32_t target, const ResultSet& result,
                       const Destination& to) noexcept {
    switch (target) {
    case TRN_TYPE_BOOLEAN:
    case TRN_TYPE_INTEGER: return deliver_integer_or_numeric<int32_t>(to, value, TRN_WIRE_INTEGER);
    case TRN_TYPE_SMALLINT: return deliver_integer<int16_t>(to, value, TRN_WIRE_SMALLINT);
    case TRN_TYPE_BIGINT: return deliver_integer_or_numeric<int64_t>(to, value, TRN_WIRE_BIGINT);
    case TRN_TYPE_FLOAT: return deliver_float(to, value);
    case TRN_TYPE_DOUBLE: return deliver_double(to, value);
    case TRN_TYPE_TINYINT:
    case TRN_TYPE_BYTE: return deliver(to, value.as<uint8_t>());
    case TRN_TYPE_NUMERIC: return deliver_stored_bytes(to, value);
    case TRN_TYPE_TEXT:
    case TRN_TYPE_DATE:
    case TRN_TYPE_TIME:
    case TRN_TYPE_TIME_TZ:
    case TRN_TYPE_DATETIME:
    case TRN_TYPE_DATETIME_TZ: return deliver_text(to, value);
    case TRN_TYPE_BYTES: return deliver_raw_bytes(to, value);
    case TRN_TYPE_BYTES_PIECEWISE: return deliver_piece(to, value);
    case TRN_TYPE_INTERVAL: return check_interval(value);
    case TRN_TYPE_DATETIME_RAW:
        return value.wire_type == TRN_WIRE_DATETIME ? deliver_stored_bytes(to, value) : refuse(to);
    case TRN_TYPE_INTERVAL_YEAR_TO_MONTH: return deliver_interval(to, value, TRN_WIRE_INTERVAL_YEAR_TO_MONTH);
    case TRN_TYPE_INTERVAL_DAY_TO_SECOND: return deliver_interval(to, value, TRN_WIRE_INTERVAL_DAY_TO_SECOND);
    case TRN_TYPE_CLOB: return deliver_lob(to, value, result, {'c', 'C'});
    case TRN_TYPE_BLOB: return deliver_lob(to, value, result, {'b', 'B'});
    default: return refuse(to);
    }
}

} // namespace tarn

using namespace tarn;

int32_t TRN_GetData(TRN_HANDLE* handle, int32_t column, int32_t target, void* destination,
                    int32_t destination_length, int32_t* length) {
    const ResultSet* result = result_of(handle);
    if (!result) return kind_of(handle) == TRN_KIND_RESERVED ? TRN_OK : TRN_ERR_ARGUMENT;
    if (!destination) return TRN_ERR_ARGUMENT;
    const ColumnDesc* described = column_of(*result, column);
    if (!described) return TRN_ERR_COLUMN;
    int32_t scratch_length = 0;
    const Destination to{destination, static_cast<size_t>(std::max(destination_length, 0)),
                         length ? length : &scratch_length};
    Value value;
    if (!result->current_row || !locate_value(result->current_row, *described, value)) {
        *to.length = 0;
        return TRN_NULL_VALUE;
    }
    return convert(value, target, *result, to);
}
