#include "wire/protocol_trace.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <cstring>
#include <functional>
#include <thread>

#include "base/text.h"
#include "platform/platform.h"
#include "wire/lines.h"
#include "wire/receive.h"

namespace tarn {

std::atomic<TraceLevel> trace_level;
static std::atomic<int32_t> text_limit = 100;

void set_trace(TraceLevel level, int32_t limit) noexcept {
    text_limit = limit;
    trace_level = level;
}

static TraceLevel level_asked_for() noexcept {
    const char* value = platform::environment("TARNSQL_TRACE_PROTOCOL");
    const int32_t level = value ? leading_int32(value) : 0;
    return static_cast<TraceLevel>(std::clamp(level, 0, static_cast<int32_t>(TraceLevel::values)));
}

void start_trace() noexcept {
    static const bool started = [] {
        if (const TraceLevel level = level_asked_for(); level != TraceLevel::off) trace_level = level;
        return true;
    }();
    (void)started;
}

// The time of day (UTC), the thread, the connection's socket, and the event.
static void tell(const Channel& channel, const char* text) noexcept {
    using namespace std::chrono;
    const auto now = floor<milliseconds>(system_clock::now());
    const hh_mm_ss time(now - floor<days>(now));
    const size_t thread = std::hash<std::thread::id>()(std::this_thread::get_id());
    const size_t size = std::strlen(text) + 100;
    const Owned<char> line = format_text(
        size, "%02d:%02d:%02d.%03d thread %zx socket %zu %s\n", static_cast<int>(time.hours().count()),
        static_cast<int>(time.minutes().count()), static_cast<int>(time.seconds().count()),
        static_cast<int>(time.subseconds().count()), thread, static_cast<size_t>(channel.sock), text);
    if (line) write_line(LineKind::protocol, line.get());
}

// Bytes as text on one line: bytes that are neither printable ASCII nor part of a multi-byte character are
// shown as numbers.
static Owned<char> readable(const void* bytes, size_t length) noexcept {
    const size_t shown = std::min(length, static_cast<size_t>(text_limit.load()));
    Owned<char> text(static_cast<char*>(allocate_raw(4 * shown + 4)));
    if (!text) return text;
    char* out = text.get();
    for (const uint8_t *p = static_cast<const uint8_t*>(bytes), *end = p + shown; p < end; ++p) {
        if (*p < ' ' || *p == 0x7F || *p == '\\')
            out += std::snprintf(out, 5, "\\x%02X", static_cast<unsigned>(*p));
        else
            *out++ = static_cast<char>(*p);
    }
    std::strcpy(out, shown < length ? "..." : "");
    return text;
}

void trace_event(const Channel& channel, const char* event) noexcept {
    tell(channel, event);
}

static void tell_with_text(const Channel& channel, const char* head, const void* bytes,
                           size_t length) noexcept {
    const Owned<char> text = readable(bytes, length);
    if (!text) return;
    if (const Owned<char> line =
            format_text(std::strlen(head) + std::strlen(text.get()) + 1, "%s%s", head, text.get()))
        tell(channel, line.get());
}

void trace_command(const Channel& channel, const char* text, size_t length,
                   uint32_t parameter_word) noexcept {
    char head[100];
    const uint32_t rows = parameter_word >> 16;
    const uint32_t parameters = parameter_word & 0xFFFF;
    std::snprintf(head, sizeof head, "> '?' command, %zu bytes, %u parameters, %u rows: ", length, parameters,
                  rows);
    tell_with_text(channel, head, text, length);
}

void trace_value(const Channel& channel, uint16_t wire_type, const void* value, size_t length) noexcept {
    char head[100];
    std::snprintf(head, sizeof head, ">     value of type %u, %zu bytes: ", static_cast<unsigned>(wire_type),
                  length);
    tell_with_text(channel, head, value, length);
}

static const char* name_of(MessageType type) noexcept {
    switch (type) {
    case MessageType::query: return "columns and rows of a query";
    case MessageType::update_count: return "rows updated";
    case MessageType::delete_count: return "rows deleted";
    case MessageType::insert_id: return "row inserted";
    case MessageType::error: return "error";
    case MessageType::fatal_error: return "fatal error";
    case MessageType::warning: return "warning";
    case MessageType::notice: return "notice";
    case MessageType::output_value: return "output value";
    case MessageType::return_value: return "return value";
    case MessageType::parameters: return "parameters";
    case MessageType::accepted_301: return "login accepted";
    case MessageType::end_of_reply: return "end of reply";
    case MessageType::row:
    case MessageType::row_with_id: return "further rows";
    default: return "separator";
    }
}

// The stream position of the next byte to be read.
static uint64_t position(const Channel& channel) noexcept {
    return channel.received - unread_size(channel);
}

void trace_end(Channel& channel) noexcept {
    if (channel.traced == MessageType::none) return;
    char line[100];
    const auto letter = static_cast<unsigned char>(channel.traced);
    const bool printable = letter >= ' ' && letter < 0x7F;
    std::snprintf(line, sizeof line, printable ? "< '%c' %s, %llu bytes" : "< %u %s, %llu bytes", letter,
                  name_of(channel.traced),
                  static_cast<unsigned long long>(position(channel) - channel.traced_from));
    tell(channel, line);
    channel.traced = MessageType::none;
}

void trace_message(Channel& channel, MessageType type) noexcept {
    // The type itself has been read.
    const uint64_t here = position(channel);
    channel.received -= 1;
    trace_end(channel);
    channel.received += 1;
    channel.traced = type;
    channel.traced_from = here - 1;
}

} // namespace tarn
