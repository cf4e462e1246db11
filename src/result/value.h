// One value, and its text.
#pragma once

#include <cstdint>

#include "base/bytes.h"
#include "reply/result_set.h"
#include "reply/type_codes.h"
#include "reply/value_size.h"
#include "result/working_text.h"

namespace tarn {

// As on the wire.
struct Value {
    int32_t wire_type;
    uint32_t length;
    const uint8_t* bytes; // numbers are big-endian

    template <class T> T as() const noexcept { return load_wire<T>(bytes); }
    std::string_view text() const noexcept { return {reinterpret_cast<const char*>(bytes), length}; }
};

// A value of the current row that is not null.
struct StoredValue {
    const Column* column;
    const uint8_t* field; // its length and its bytes

    int32_t wire_type() const noexcept { return column->wire_type; }
    // Of a type with a width.
    template <class T> T fixed() const noexcept { return load_wire<T>(field + length_size); }
    // Of a type without one.
    Value byte_run() const noexcept { return {wire_type(), load_wire<uint32_t>(field), field + length_size}; }
    Value value() const noexcept {
        const uint32_t length = column->width ? column->width : load_wire<uint32_t>(field);
        return {wire_type(), length, field + length_size};
    }
};

inline bool is_null(const uint8_t* field) noexcept {
    return value_length(field) < 1;
}

// The bytes of a fixed value in host order.
class HostBytes {
  public:
    HostBytes(const uint8_t* wire, size_t width) noexcept {
        for (size_t i = 0; i < width; ++i)
            bytes_[i] = wire[std::endian::native == std::endian::little ? width - 1 - i : i];
    }
    const uint8_t* data() const noexcept { return bytes_; }

  private:
    uint8_t bytes_[8];
};

// The three ways to write a value as text. They differ on purpose, in these types only:
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

// Writes the value's text; the text is empty for a type that has none in this style (CHAR, CLOB, BINARY, BLOB
// and unknown codes have none in any style).
void add_value_text(const Value& value, TextStyle style, WorkingText& text) noexcept;

} // namespace tarn
