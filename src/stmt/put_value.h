// Encoding shared by single entries and batches.
#pragma once

#include <algorithm>
#include <cstdint>
#include <cstring>

#include "base/bytes.h"
#include "stmt/param_set.h"
#include "stmt/param_types.h"
#include "wire/channel.h"

namespace tarn {

// A value as given by the application. Its length need not match what may be read.
struct BoundValue {
    const uint8_t* bytes;
    int32_t readable;
    int32_t length;

    // A number in host order; missing bytes are zero.
    template <class T> T as() const noexcept {
        if (readable >= static_cast<int32_t>(sizeof(T))) [[likely]]
            return load<T>(bytes);
        T number{};
        std::memcpy(&number, bytes, std::min(static_cast<size_t>(std::max(readable, 0)), sizeof number));
        return number;
    }
};

// The name and direction at the start of an entry.
void put_entry_head(Channel& channel, const ParamSlot& slot) noexcept;

// The part after the length field: nothing for a length below 1.
void put_value(Channel& channel, ValueForm form, const BoundValue& value) noexcept;

} // namespace tarn
