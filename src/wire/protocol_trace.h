// The protocol trace: one line for each message, in both directions. Off unless TRNX_SetProtocolTrace or the
// environment variable TARNSQL_TRACE_PROTOCOL turns it on; when off it costs one load per message.
//
// A received message is reported when the next one begins: only then is its length known. Lines are written
// while the call runs, with its connection's lock held.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>

#include "wire/channel.h"

namespace tarn {

enum class TraceLevel : int32_t {
    off,
    messages,
    values
};

extern std::atomic<TraceLevel> trace_level;

inline bool tracing(TraceLevel level = TraceLevel::messages) noexcept {
    return trace_level.load(std::memory_order_relaxed) >= level;
}

// Statements and values are cut to this many bytes.
void set_trace(TraceLevel level, int32_t text_limit) noexcept;

// Applies the environment variable, once per process.
void start_trace() noexcept;

// Called only when tracing().
void trace_event(const Channel& channel, const char* event) noexcept;
void trace_command(const Channel& channel, const char* text, size_t length, uint32_t parameter_word) noexcept;
void trace_value(const Channel& channel, uint16_t wire_type, const void* value, size_t length) noexcept;
void trace_message(Channel& channel, MessageType type) noexcept;

// Reports the last message of a call.
void trace_end(Channel& channel) noexcept;

} // namespace tarn
