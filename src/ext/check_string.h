// What a connection string must not hold where mistakes are reported instead of ignored.
#pragma once

#include "base/memory.h"

namespace tarn {

enum class StringFault {
    none,
    unknown_key,
    refused
};

// The first fault of a connection string, in words: refused ones before unknown keys. A memory shortage
// leaves no words.
StringFault check_conn_string(const char* text, Owned<char>& words) noexcept;

} // namespace tarn
