// Where the library's printed lines go: standard output, unless TRNX_SetTrace or the environment variable
// TARNSQL_TRACE names another place. Any thread may print; nothing here needs a connection's lock.
#pragma once

#include <cstdarg>
#include <cstdint>

#include "base/text.h"

namespace tarn {

// As the values of TRNX_LINE_*.
enum class LineKind : int32_t {
    printed = 1,
    protocol = 2
};

using LineSink = void (*)(void* user, int32_t kind, const char* line);

// Sends all lines to the application's function; null ends that. On return no thread is inside the previous
// function.
void set_line_sink(LineSink sink, void* user) noexcept;

// Writes a line out. The text includes its line end, if any; a function gets it without.
void write_line(LineKind kind, const char* text) noexcept;

// Formats a line of any length; null when memory is short.
Owned<char> format_line(const char* format, va_list arguments) noexcept;

// Formats and writes out at once.
void print_line(const char* format, ...) noexcept TARN_PRINTF(1, 2);

} // namespace tarn
