// Sending: small writes are collected in the channel's send buffer, writes of more than 2,048 bytes are sent
// on their own, and a request ends with a flush. Each send is one platform call and is not retried. On an
// encrypted channel everything is encrypted first, in stream order.
//
// Writes return the result of the underlying send; most callers ignore it, because a lost connection is
// noticed when the reply cannot be read.
#pragma once

#include <cstddef>
#include <cstdint>

#include "wire/channel.h"

namespace tarn {

// 0 when the bytes only entered the buffer, else the result of the send that made room or carried them.
ptrdiff_t put_bytes(Channel& channel, const void* data, size_t size) noexcept;
ptrdiff_t put_u16(Channel& channel, uint16_t value) noexcept;
ptrdiff_t put_u32(Channel& channel, uint32_t value) noexcept;
ptrdiff_t put_u64(Channel& channel, uint64_t value) noexcept;

// 0, or -1 when the send failed; the buffer is empty afterwards in any case.
int32_t flush_send(Channel& channel) noexcept;

// The command frame: "?", the text's length, the text with its NUL, the parameter word. Not flushed:
// parameter entries may follow. The word's low 16 bits count the entries, its high 16 bits the rows of a
// batch; 0 for a plain command. length is below 2^31.
void put_command(Channel& channel, const char* text, size_t length, uint32_t parameter_word) noexcept;

// Asks for more rows of a query that sends them in chunks.
void put_more_rows(Channel& channel) noexcept;

} // namespace tarn
