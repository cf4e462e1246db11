// A value as the database holds it, and its form on the wire for a column's type.
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

// Appends the value's wire form to a row. False, with nothing appended, when the value cannot be made into
// the column's type: out of the type's range, or no such text.
bool append_value(std::string& row, const ColumnType& type, const Value& value);

// The value as text, as a character column gives it.
std::string text_of(const Value& value);

// A value, a text or a name for an error text: quoted where it is a text, and cut when long.
std::string shown_value(const Value& value);
std::string shown_text(std::string_view text);

} // namespace tarnlite
