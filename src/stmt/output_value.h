// Delivery of a procedure's output values into the application's buffers.
#pragma once

#include "stmt/param_set.h"

namespace tarn {

// Writes a received value of that wire type into a slot's buffer, as text where the slot is bound as text,
// and its full length into the slot's length; a slot without buffer or length is skipped. A slot bound as a
// large object gets the bytes as its content. TRN_OK, TRN_TRUNCATED when the value was cut to the buffer, or
// TRN_ERR_MEMORY.
int32_t deliver_output(const ParamSlot& slot, int32_t type, const uint8_t* received, size_t length) noexcept;

} // namespace tarn
