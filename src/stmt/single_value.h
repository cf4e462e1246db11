// The reply to a query for one value.
#pragma once

#include <cstddef>
#include <cstdint>

#include "conn/conn.h"

namespace tarn {

inline constexpr size_t value_area_size = 64;

// Where the value goes: an area of value_area_size zeroed bytes and a type word, in the two forms that
// TRN_Execute_query_with_one documents.
struct SingleValue {
    void* area;
    uint32_t* type_word;
};

// Reads the whole reply and returns the status of TRN_Execute_query_with_one.
int32_t read_single_value_reply(Conn& conn, const SingleValue& out) noexcept;

} // namespace tarn
