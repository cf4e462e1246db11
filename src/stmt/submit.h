// Sending statements. All exchanges run under the connection's lock.
#pragma once

#include <cstdint>
#include <cstring>

#include "base/text.h"
#include "conn/conn.h"
#include "stmt/param_set.h"

namespace tarn {

// The connection behind a handle variable that a text is to be sent on; null when either is missing, or when the text does
// not fit a command frame, whose length field is a signed 32-bit count.
Conn* conn_for_command(const TRN_HANDLE* handle, const char* text) noexcept;

// A command text with names of any length in it; null when memory is short, or when the text does not fit a command frame.
template <class... Names> Owned<char> format_command(const char* form, const Names*... names) noexcept {
    const size_t size = std::strlen(form) + (std::strlen(names) + ... + 0);
    return size < INT32_MAX ? format_text(size, form, names...) : nullptr;
}

// The same with a number of rows in front of one name.
inline Owned<char> format_fetch(const char* form, int32_t rows, const char* name) noexcept {
    constexpr size_t longest_number = 11;
    const size_t size = std::strlen(form) + longest_number + std::strlen(name);
    return size < INT32_MAX ? format_text(size, form, rows, name) : nullptr;
}

// Sends a statement with the parameters of a set, if there is one, as one flushed command. False when the rest of an earlier
// reply could not be passed over, which prints the line of a broken stream with the step, if there is one; a failed send shows
// itself when the reply cannot be read.
bool submit(Conn& conn, const char* sql, const ParamSet* params = nullptr,
            const char* step = nullptr) noexcept;

} // namespace tarn
