// The head of every record behind a handle, with its error text: one owned text per handle, from the latest
// failure.
#pragma once

#include <cstdint>

#include "base/memory.h"
#include "tarnsql.h"

namespace tarn {

struct Handle {
    int32_t kind;     // TRN_KIND_*
    char* error_text; // owned; null: none
};

// The kind of the record behind a handle variable, 0 when there is none.
inline int32_t kind_of(const TRN_HANDLE* handle) noexcept {
    return handle && *handle ? static_cast<const Handle*>(*handle)->kind : 0;
}

// Replaces the error text; the handle takes ownership. Null clears it.
void set_error_text(Handle& handle, Owned<char> text) noexcept;

// The same with a copy of one of the library's messages. Keeps the old text when memory is short.
void set_error_message(Handle& handle, const char* text) noexcept;

} // namespace tarn
