// The connection string: settings, and the address list.
#pragma once

#include <cstddef>
#include <string_view>

#include "conn/conn.h"

namespace tarn {

// How a value is stored.
enum class Setting {
    text,       // cut to the field
    number,     // leading decimal number
    port,       // the same in 16 bits
    on_flag,    // 1 for "on", "yes" and "true"
    off_flag,   // 1 for "off" and "false"
    always_one, // 1 for any value
    not_kept,   // accepted without effect
};

struct Key {
    std::string_view name;
    Setting setting;
    size_t offset; // of the field in Settings
    size_t size;   // of a text field
};

// The key with a name, ignoring case; null for an unknown one.
const Key* find_key(std::string_view name) noexcept;

// The segments of a string: separated by ";", or by "," if it holds no ";".
class Segments {
  public:
    explicit Segments(std::string_view text) noexcept
        : left_(text), separator_(text.find(';') != std::string_view::npos ? ';' : ',') {}

    // Whether there is a separator at all: a string without one sets nothing.
    bool several() const noexcept { return left_.find(separator_) != std::string_view::npos; }
    bool next(std::string_view& segment) noexcept;

  private:
    std::string_view left_;
    char separator_;
};

// A segment of this many bytes or more repeats the one before it.
inline constexpr size_t segment_limit = 128;

bool holds_address_list(std::string_view segment) noexcept;

// Blanks only: a tab is part of the text.
std::string_view without_blanks(std::string_view text) noexcept;

// Reads a connection string into a connection's settings and address list. False when the string was rejected
// as a whole (fewer than 5 bytes, no separator) or memory is short.
bool parse_conn_string(const char* text, Conn& conn) noexcept;

} // namespace tarn
