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

// A value of a stored row that is not null: what a conversion needs to know of it is loaded there.
struct StoredValue {
    const Slot* slot;
    const uint8_t* bytes; // of the slot

    int32_t wire_type() const noexcept { return slot->wire_type; }
    // Of a type that is not held.
    template <class T> T fixed() const noexcept { return load<T>(bytes); }
    Value held() const noexcept {
        return {wire_type(), load<uint32_t>(bytes), load<const uint8_t*>(bytes + held_pointer_offset)};
    }
    Value value() const noexcept {
        return slot->size == held_slot_size ? held() : Value{wire_type(), slot->size, bytes};
    }
};

inline bool is_null(const uint8_t* row, const Slot& slot) noexcept {
    return row[slot.null_offset] & slot.null_bit;
}

// The value of a slot that is not null in the row.
inline StoredValue stored_value(const uint8_t* row, const Slot& slot) noexcept {
    return {&slot, row + slot.offset};
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
