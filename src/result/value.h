// One value of a stored row, and its text.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "result/result_set.h"
#include "result/type_codes.h"
#include "result/working_text.h"

namespace tarn {

struct Value {
    int32_t wire_type;
    uint32_t length;      // a held value's own, else the slot size; never 0
    const uint8_t* bytes; // fixed values in host order, not aligned; held ones zero-terminated

    template <class T> T as() const noexcept { return load<T>(bytes); }
    std::string_view text() const noexcept { return {reinterpret_cast<const char*>(bytes), length}; }
};

// A value of a stored row that is not null, as its column and its slot: what a conversion needs to know of it is loaded there.
struct StoredValue {
    const ColumnDesc* column;
    const uint8_t* slot;

    int32_t wire_type() const noexcept { return column->wire_type; }
    bool is_held() const noexcept { return column->slot_size == held_slot_size; }
    // Of a type that is not held.
    template <class T> T fixed() const noexcept { return load<T>(slot); }
    Value held() const noexcept {
        return {wire_type(), load<uint32_t>(slot), load<const uint8_t*>(slot + held_pointer_offset)};
    }
    Value value() const noexcept {
        return is_held() ? held() : Value{wire_type(), static_cast<uint32_t>(column->slot_size), slot};
    }
};

inline bool is_null(const uint8_t* row, const ColumnDesc& column) noexcept {
    return (row + row_header_size)[column.null_offset] & column.null_bit;
}

// The value of a column that is not null in the row.
inline StoredValue stored_value(const uint8_t* row, const ColumnDesc& column) noexcept {
    return {&column, row + row_header_size + column.offset};
}

// The three ways in which a value is put into words. They differ on purpose, in these types only:
//                            of_rows (TRN_GetData)     of_single_value              of_outputs (procedures)
//   BOOLEAN                  "T", "F" or "UNKNOWN"     the letter as it stands      the letter
//   DOUBLE                   fixed, about 16 digits    16 significant at most       16 significant at most
//   TIME                     without milliseconds      without milliseconds         with milliseconds
//   TIME_TZ, DATETIME_TZ     with the zone             none                         none
//   OPAQUE and code 45       the bytes                 none                         none
enum class TextStyle {
    of_rows,
    of_single_value, // TRN_Execute_query_with_one
    of_outputs,
};

// Writes the value's text; leaves the text empty for a type that has none in the style given (CHAR, CLOB, BINARY, BLOB and
// unknown codes have none in any style).
void add_value_text(const Value& value, TextStyle style, WorkingText& text) noexcept;

} // namespace tarn
