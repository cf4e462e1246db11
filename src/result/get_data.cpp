// TRN_GetData: one value of the current row, converted to the application's type.
//
// Each target has one conversion, found in a table. Most values are read as their own type: a load, a change
// of byte order and a store. Other sources of a target are handled in a separate function, so that only they
// pay for its stack frame.
#include <algorithm>
#include <array>
#include <cstring>

#include "base/short_copy.h"
#include "base/text.h"
#include "lob/fetch.h"
#include "result/value.h"

namespace tarn {

// Writes the value into the application's buffer, whose size matters for texts and byte runs only; 0 or less
// asks for their length. length, which may be null, receives the value's length.
using Conversion = int32_t (*)(StoredValue from, const ResultSet& result, void* to, int32_t room,
                               int32_t* length) noexcept;

static void report(int32_t* length, size_t size) noexcept {
    if (length) *length = static_cast<int32_t>(size);
}

static int32_t refuse(int32_t* length) noexcept {
    report(length, 0);
    return TRN_ERR_CONVERSION;
}

static int32_t null_value(int32_t* length) noexcept {
    report(length, 0);
    return TRN_NULL_VALUE;
}

static int32_t to_nothing(StoredValue, const ResultSet&, void*, int32_t, int32_t* length) noexcept {
    return refuse(length);
}

template <class T> static int32_t deliver(void* to, int32_t* length, T value) noexcept {
    store(to, value);
    report(length, sizeof value);
    return TRN_OK;
}

// The integer types of the wire, narrowest first: their codes grow with their widths.
static int64_t integer_of(StoredValue from) noexcept {
    switch (from.wire_type()) {
    case TRN_WIRE_SMALLINT: return from.fixed<int16_t>();
    case TRN_WIRE_INTEGER: return from.fixed<int32_t>();
    case TRN_WIRE_BIGINT: return from.fixed<int64_t>();
    default: return from.fixed<int8_t>();
    }
}

static bool is_integer(StoredValue from, int32_t narrowest, int32_t widest) noexcept {
    return from.wire_type() >= narrowest && from.wire_type() <= widest;
}

// A value read as its own type; others go through the target's conversion.
template <class T, int32_t own_type, Conversion otherwise>
static int32_t to_fixed(StoredValue from, const ResultSet& result, void* to, int32_t room,
                        int32_t* length) noexcept {
    if (from.wire_type() != own_type) return otherwise(from, result, to, room, length);
    return deliver(to, length, from.fixed<T>());
}

// Integer targets take the integer types up to their own width.
template <class T, int32_t widest>
static int32_t from_integer(StoredValue from, const ResultSet&, void* to, int32_t, int32_t* length) noexcept {
    if (!is_integer(from, TRN_WIRE_BOOLEAN, widest)) return refuse(length);
    return deliver(to, length, static_cast<T>(integer_of(from)));
}

// NUMERIC goes through 32 bits even for the 64-bit target: larger numbers are not preserved, and never were.
template <class T, int32_t widest>
[[gnu::noinline]] static int32_t from_integer_or_numeric(StoredValue from, const ResultSet& result, void* to,
                                                         int32_t room, int32_t* length) noexcept {
    if (from.wire_type() != TRN_WIRE_NUMERIC) return from_integer<T, widest>(from, result, to, room, length);
    return deliver(to, length, T{nearest_int32(from.value().text())});
}

// Any source: its first byte, for a number in host order.
static int32_t to_byte(StoredValue from, const ResultSet&, void* to, int32_t, int32_t* length) noexcept {
    const Value value = from.value();
    const size_t width = from.column->width;
    return deliver(to, length, width ? *HostBytes(value.bytes, width).data() : *value.bytes);
}

template <class T> static bool floating_of(StoredValue from, T& number) noexcept {
    switch (from.wire_type()) {
    case TRN_WIRE_NUMERIC: number = static_cast<T>(leading_double(from.value().text())); return true;
    case TRN_WIRE_FLOAT: number = static_cast<T>(from.fixed<float>()); return true;
    case TRN_WIRE_DOUBLE: number = static_cast<T>(from.fixed<double>()); return true;
    default:
        if (!is_integer(from, TRN_WIRE_TINYINT, TRN_WIRE_BIGINT)) return false;
        number = static_cast<T>(integer_of(from));
        return true;
    }
}

[[gnu::noinline]] static int32_t from_number(StoredValue from, const ResultSet&, void* to, int32_t,
                                             int32_t* length) noexcept {
    double number;
    return floating_of(from, number) ? deliver(to, length, number) : refuse(length);
}

// Unlike everywhere else, a source that does not convert is not a failure here: the call succeeds and writes
// nothing.
static int32_t to_float(StoredValue from, const ResultSet&, void* to, int32_t, int32_t* length) noexcept {
    float number;
    return floating_of(from, number) ? deliver(to, length, number) : TRN_OK;
}

[[gnu::noinline]] static int32_t copy_bytes(StoredValue from, void* to, int32_t* length) noexcept {
    const Value value = from.value();
    std::memcpy(to, value.bytes, value.length);
    report(length, value.length);
    return TRN_OK;
}

// All the bytes of a value, numbers in host order.
static int32_t to_stored_bytes(StoredValue from, const ResultSet&, void* to, int32_t,
                               int32_t* length) noexcept {
    switch (from.column->width) {
    case 2: return deliver(to, length, from.fixed<uint16_t>());
    case 4: return deliver(to, length, from.fixed<uint32_t>());
    case 8: return deliver(to, length, from.fixed<uint64_t>());
    default: return copy_bytes(from, to, length);
    }
}

// Interval targets take integers as counts of their unit, in 64 bits.
static int32_t from_count(StoredValue from, const ResultSet&, void* to, int32_t, int32_t* length) noexcept {
    if (!is_integer(from, TRN_WIRE_INTEGER, TRN_WIRE_BIGINT)) return refuse(length);
    return deliver(to, length, integer_of(from));
}

// Only checks that the value is such an interval; writes nothing.
static int32_t check_interval(StoredValue from, const ResultSet&, void*, int32_t, int32_t*) noexcept {
    const bool is_interval = from.wire_type() == TRN_WIRE_INTERVAL_YEAR_TO_MONTH ||
                             from.wire_type() == TRN_WIRE_INTERVAL_DAY_TO_SECOND;
    return is_interval ? TRN_OK : TRN_ERR_CONVERSION;
}

// How to cut bytes that do not fit. A text made from a value needs room for its terminator; bytes that
// already are a text may fill the buffer to the last byte, and lose one more when cut. These limits differ by
// one and always have.
struct Cut {
    size_t fitting; // both in bytes less than the buffer size: the longest value that fits
    size_t kept;    // of a longer one
};
static constexpr Cut made_text{1, 1}, text_bytes{0, 1}, raw_bytes{0, 0};

// Copies the bytes, cut if necessary, and clears the rest of the buffer.
template <Cut cut>
[[gnu::noinline]] static int32_t deliver_bytes(void* to, int32_t room, int32_t* length, const uint8_t* bytes,
                                               size_t size) noexcept {
    if (room <= 0) {
        report(length, size);
        return TRN_TRUNCATED;
    }
    uint8_t* out = static_cast<uint8_t*>(to);
    const size_t capacity = static_cast<size_t>(room);
    const bool fits = size <= capacity - cut.fitting;
    const size_t copied = fits ? size : capacity - cut.kept;
    std::memcpy(out, bytes, copied);
    std::memset(out + copied, 0, capacity - copied);
    // Last, because the length variable may be part of the buffer, after the text.
    report(length, fits ? size : size - copied);
    return fits ? TRN_OK : TRN_TRUNCATED;
}

// The same; short buffers are common enough to be filled inline.
template <Cut cut>
static int32_t deliver_run(void* to, int32_t room, int32_t* length, const uint8_t* bytes,
                           size_t size) noexcept {
    const uint32_t capacity = static_cast<uint32_t>(room);
    if (capacity - 16 > 64 - 16 || size + cut.fitting > capacity)
        return deliver_bytes<cut>(to, room, length, bytes, size);
    uint8_t* out = static_cast<uint8_t*>(to);
    clear_short(out, capacity);
    copy_short(out, bytes, size);
    report(length, size);
    return TRN_OK;
}

template <Cut cut>
static int32_t deliver_byte_run(void* to, int32_t room, int32_t* length, Value value) noexcept {
    return deliver_run<cut>(to, room, length, value.bytes, value.length);
}

[[gnu::noinline]] static int32_t to_made_text(StoredValue from, void* to, int32_t room,
                                              int32_t* length) noexcept {
    WorkingText text;
    add_value_text(from.value(), TextStyle::of_rows, text);
    if (text.empty()) return refuse(length);
    return deliver_run<made_text>(to, room, length, reinterpret_cast<const uint8_t*>(text.text().data()),
                                  text.text().size());
}

static int32_t to_text(StoredValue from, const ResultSet&, void* to, int32_t room, int32_t* length) noexcept {
    if (!is_byte_run(from.wire_type())) return to_made_text(from, to, room, length);
    return deliver_byte_run<text_bytes>(to, room, length, from.byte_run());
}

static int32_t to_raw_bytes(StoredValue from, const ResultSet&, void* to, int32_t room,
                            int32_t* length) noexcept {
    if (!is_byte_run(from.wire_type())) return refuse(length);
    return deliver_byte_run<raw_bytes>(to, room, length, from.byte_run());
}

// The length variable holds the offset to read from and receives what was read.
static int32_t to_piece(StoredValue from, const ResultSet&, void* to, int32_t room,
                        int32_t* length) noexcept {
    const int32_t offset = length ? *length : 0;
    const Value value = from.value();
    if (offset < 0 || static_cast<uint32_t>(offset) > value.length) return TRN_ERR_OFFSET;
    const size_t left = value.length - static_cast<uint32_t>(offset);
    if (left == 0) {
        report(length, 0);
        return TRN_OK;
    }
    if (!is_byte_run(from.wire_type())) return refuse(length);
    const size_t wanted = room > 0 ? std::min(left, static_cast<size_t>(room)) : left;
    return deliver_bytes<raw_bytes>(to, room, length, value.bytes + offset, wanted);
}

static int32_t fill(Lob& lob, const uint8_t* bytes, size_t size) noexcept {
    return fill_lob(lob, bytes, size) ? TRN_OK : TRN_ERR_ARGUMENT;
}

static int32_t report_filled(int32_t* length, const Lob& lob, int32_t status) noexcept {
    if (status == TRN_OK) report(length, static_cast<size_t>(lob.total_len));
    return status;
}

// The destination is the application's handle variable of a large object, whose content is replaced. When the
// session asked for descriptors, the value's first byte tells whether the data follow or a descriptor does.
template <uint8_t inline_data, uint8_t descriptor>
static int32_t to_lob(StoredValue from, const ResultSet& result, void* to, int32_t,
                      int32_t* length) noexcept {
    Lob* lob = lob_of(static_cast<const TRN_HANDLE*>(to));
    if (!lob) return TRN_ERR_ARGUMENT;
    Value value = from.value();
    if (!result.lob_descriptor) {
        if (!is_byte_run(from.wire_type())) return refuse(length);
        return report_filled(length, *lob, fill(*lob, value.bytes, value.length));
    }
    const HostBytes number(value.bytes, from.column->width);
    if (from.column->width) value.bytes = number.data();
    const uint8_t marker = *value.bytes;
    if (marker != inline_data && marker != descriptor) return TRN_OK;
    if (marker == descriptor) {
        const std::string_view text = value.text();
        return report_filled(length, *lob, fetch_lob(*result.conn, *lob, text.substr(0, text.find('\0'))));
    }
    // Inline data is at most one chunk.
    const size_t size = std::min(size_t{value.length} - 1, lob_chunk_size);
    return report_filled(length, *lob, fill(*lob, value.bytes + 1, size));
}

// By target, TRN_TYPE_*.
static constexpr auto conversions = [] {
    std::array<Conversion, TRN_TYPE_BYTE + 1> table{};
    table.fill(to_nothing);
    table[TRN_TYPE_BOOLEAN] =
        to_fixed<int32_t, TRN_WIRE_INTEGER, from_integer_or_numeric<int32_t, TRN_WIRE_INTEGER>>;
    table[TRN_TYPE_SMALLINT] = to_fixed<int16_t, TRN_WIRE_SMALLINT, from_integer<int16_t, TRN_WIRE_SMALLINT>>;
    table[TRN_TYPE_INTEGER] = table[TRN_TYPE_BOOLEAN];
    table[TRN_TYPE_BIGINT] =
        to_fixed<int64_t, TRN_WIRE_BIGINT, from_integer_or_numeric<int64_t, TRN_WIRE_BIGINT>>;
    table[TRN_TYPE_FLOAT] = to_float;
    table[TRN_TYPE_DOUBLE] = to_fixed<double, TRN_WIRE_DOUBLE, from_number>;
    table[TRN_TYPE_TINYINT] = table[TRN_TYPE_BYTE] = to_byte;
    table[TRN_TYPE_NUMERIC] = to_stored_bytes;
    for (const int32_t text : {TRN_TYPE_TEXT, TRN_TYPE_DATE, TRN_TYPE_TIME, TRN_TYPE_TIME_TZ,
                               TRN_TYPE_DATETIME, TRN_TYPE_DATETIME_TZ})
        table[static_cast<size_t>(text)] = to_text;
    table[TRN_TYPE_BYTES] = to_raw_bytes;
    table[TRN_TYPE_BYTES_PIECEWISE] = to_piece;
    table[TRN_TYPE_INTERVAL] = check_interval;
    table[TRN_TYPE_DATETIME_RAW] = to_fixed<int64_t, TRN_WIRE_DATETIME, to_nothing>;
    table[TRN_TYPE_INTERVAL_YEAR_TO_MONTH] = to_fixed<int32_t, TRN_WIRE_INTERVAL_YEAR_TO_MONTH, from_count>;
    table[TRN_TYPE_INTERVAL_DAY_TO_SECOND] = to_fixed<int64_t, TRN_WIRE_INTERVAL_DAY_TO_SECOND, from_count>;
    table[TRN_TYPE_CLOB] = to_lob<'c', 'C'>;
    table[TRN_TYPE_BLOB] = to_lob<'b', 'B'>;
    return table;
}();

} // namespace tarn

using namespace tarn;

[[gnu::noinline]] static int32_t refuse_handle(const TRN_HANDLE* handle) noexcept {
    return kind_of(handle) == TRN_KIND_RESERVED ? TRN_OK : TRN_ERR_ARGUMENT;
}

// Locates the column after the last located one, whose value has size bytes in the row.
static inline void locate_next(ResultSet& result, Column* last, size_t size) noexcept {
    result.last_located = last + 1;
    last[1].value = last->value + size;
}

// Columns are located in order, as far as needed. This one is not located yet, or there is no current row.
[[gnu::noinline]] static int32_t get_unlocated(ResultSet& result, int32_t number, int32_t target,
                                               void* destination, int32_t destination_length,
                                               int32_t* length) noexcept {
    if (!result.last_located) return null_value(length);
    for (Column* column = result.last_located; column < &result.columns[number - 1]; ++column)
        locate_next(result, column, size_in_row(*column, column->value));
    TRN_HANDLE handle = &result;
    return TRN_GetData(&handle, number, target, destination, destination_length, length);
}

int32_t TRN_GetData(TRN_HANDLE* handle, int32_t number, int32_t target, void* destination,
                    int32_t destination_length, int32_t* length) {
    ResultSet* result = result_of(handle);
    if (!result) [[unlikely]]
        return refuse_handle(handle);
    if (!destination) return TRN_ERR_ARGUMENT;
    if (!has_column(*result, number)) return TRN_ERR_COLUMN;
    Column* column = &result->columns[static_cast<uint32_t>(number) - 1];
    if (column > result->last_located) [[unlikely]]
        return get_unlocated(*result, number, target, destination, destination_length, length);
    const uint8_t* field = column->value;
    const int32_t size = value_length(field);
    // Values are mostly read in column order, so each read locates the next column.
    if (column == result->last_located) locate_next(*result, column, size_in_row(*column, field));
    if (size < 1) return null_value(length);
    const uint32_t index = static_cast<uint32_t>(target);
    if (index >= conversions.size()) return refuse(length);
    return conversions[index]({column, field}, *result, destination, destination_length, length);
}
