// A value of the database, and its wire form for a column's type.
// The wire form of a value is a 32-bit length and the bytes; length 0 is null, so an empty text arrives as
// null.
#pragma once

#include "types.h"

#include <cstdint>
#include <string>
#include <string_view>

namespace tarnlite {

struct Value {
    enum class Kind {
        null,
        integer,
        real,
        text,
        bytes,
    };

    Kind kind = Kind::null;
    std::int64_t integer = 0;
    double real = 0;
    std::string_view bytes{}; // of a text or bytes; owned elsewhere
};

// Appends the value's wire form to a row. False, with nothing appended, when the value cannot be converted to
// the column's type: out of range, or not a valid text.
bool append_value(std::string& row, const ColumnType& type, const Value& value);

// The value as text, as a character column gives it.
std::string text_of(const Value& value);

// A value, a text or a name for an error text: quoted if it is a text, truncated if long.
std::string shown_value(const Value& value);
std::string shown_text(std::string_view text);

} // namespace tarnlite
