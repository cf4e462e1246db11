#include "conn/call.h"

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <utility>

#include "conn/messages.h"
#include "wire/cancel.h"
#include "wire/lines.h"
#include "wire/protocol_trace.h"

namespace tarn {

// Lines beyond this are counted, not kept.
static constexpr size_t most_kept = 1024 * 1024;

struct SaidLine {
    SaidLine* next;
    char text[1]; // continues after the record
};

static Conn* conn_for_text(const TRN_HANDLE* handle, const char* text) noexcept {
    return text && std::strlen(text) < INT32_MAX ? unlocked_conn_of(handle) : nullptr;
}

RunningCall::RunningCall(const TRN_HANDLE* handle, const char* text) noexcept
    : RunningCall(conn_for_text(handle, text), Locking::taken) {}

RunningCall::RunningCall(Conn* conn, Locking locking) noexcept
    : conn_(conn), lock_(conn && locking == Locking::taken ? conn->lock : nullptr) {
    if (lock_) platform::acquire(lock_);
    if (conn_) begin_call(conn_->channel);
}

static void print(SaidLines lines) noexcept {
    while (SaidLine* line = lines.first) {
        write_line(LineKind::printed, line->text);
        lines.first = line->next;
        release(line);
    }
    if (lines.left_out) print_line(message::print_left_out, lines.left_out);
}

RunningCall::~RunningCall() {
    if (!conn_) return;
    if (tracing()) [[unlikely]]
        trace_end(conn_->channel);
    if (end_call(conn_->channel)) set_error_message(conn_->head, message::call_cancelled);
    const SaidLines lines = std::exchange(conn_->said, {});
    if (lock_) platform::give_back(lock_);
    print(lines);
}

static void keep(SaidLines& lines, const char* text) noexcept {
    const size_t size = sizeof(SaidLine) + std::strlen(text);
    SaidLine* line = lines.kept + size <= most_kept ? static_cast<SaidLine*>(allocate_raw(size)) : nullptr;
    if (!line) {
        ++lines.left_out;
        return;
    }
    line->next = nullptr;
    std::strcpy(line->text, text);
    (lines.first ? lines.last->next : lines.first) = line;
    lines.last = line;
    lines.kept += size;
}

void say(Conn& conn, const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    const Owned<char> line = format_line(format, arguments);
    va_end(arguments);
    if (line) keep(conn.said, line.get());
}

} // namespace tarn
