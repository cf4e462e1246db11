// Checks a connection string, where mistakes are reported instead of ignored.
#pragma once

#include "base/memory.h"

namespace tarn {

enum class StringFault {
    none,
    unknown_key,
    refused
};

// A text for the first mistake in a connection string; refused ones come before unknown keys. No text when
// memory is short.
StringFault check_conn_string(const char* text, Owned<char>& words) noexcept;

} // namespace tarn
