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

// Finds a column's value in a row; false when it is null.
inline bool locate_value(const uint8_t* row, const ColumnDesc& column, Value& value) noexcept {
    const uint8_t* data = row + row_header_size;
    if (data[column.null_offset] & column.null_bit) return false;
    const uint8_t* slot = data + column.offset;
    const bool held = column.slot_size == held_slot_size;
    value.wire_type = column.wire_type;
    value.bytes = held ? load<const uint8_t*>(slot + held_pointer_offset) : slot;
    value.length = held ? load<uint32_t>(slot) : static_cast<uint32_t>(column.slot_size);
    return true;
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
