#include "wire/lines.h"

#include <cstdio>
#include <cstring>
#include <mutex>
#include <shared_mutex>
#include <string_view>

#include "platform/platform.h"

namespace tarn {

namespace {

struct Sink {
    LineSink function;
    void* user;
};

} // namespace

// Held shared while a line is written, exclusively while the function changes.
static constinit std::shared_mutex sink_lock;
static constinit Sink sink{};

void set_line_sink(LineSink function, void* user) noexcept {
    const std::unique_lock held(sink_lock);
    sink = {function, user};
}

// The output that TARNSQL_TRACE names, looked up once per process; null for "none". A file that cannot be
// opened counts as not named.
static std::FILE* named_file() noexcept {
    const char* name = platform::environment("TARNSQL_TRACE");
    if (!name || equal_ignoring_case(name, "stdout")) return stdout;
    if (equal_ignoring_case(name, "stderr")) return stderr;
    if (equal_ignoring_case(name, "none")) return nullptr;
    std::FILE* file = std::fopen(name, "a");
    return file ? file : stdout;
}

static void call(const Sink& to, LineKind kind, const char* text) noexcept {
    std::string_view line(text);
    if (!line.empty() && line.back() == '\n') line.remove_suffix(1);
    const Owned<char> copy = copy_text(line.data(), line.size());
    if (copy) to.function(to.user, static_cast<int32_t>(kind), copy.get());
}

void write_line(LineKind kind, const char* text) noexcept {
    const std::shared_lock held(sink_lock);
    if (sink.function) return call(sink, kind, text);
    static std::FILE* const file = named_file();
    if (file) platform::write_text(file, text);
}

Owned<char> format_line(const char* format, va_list arguments) noexcept {
    va_list again;
    va_copy(again, arguments);
    const int length = std::vsnprintf(nullptr, 0, format, arguments);
    Owned<char> line;
    if (length >= 0) line.reset(static_cast<char*>(allocate_raw(static_cast<size_t>(length) + 1)));
    if (line) std::vsnprintf(line.get(), static_cast<size_t>(length) + 1, format, again);
    va_end(again);
    return line;
}

void print_line(const char* format, ...) noexcept {
    va_list arguments;
    va_start(arguments, format);
    const Owned<char> line = format_line(format, arguments);
    va_end(arguments);
    if (line) write_line(LineKind::printed, line.get());
}

} // namespace tarn
