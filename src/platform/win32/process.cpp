// Output, environment, time and threads of Windows.
#include "platform/platform.h"

#include <cstdlib>

#include <windows.h>

namespace tarn::platform {

void write_text(std::FILE* file, const char* text) noexcept {
    std::fputs(text, file);
    std::fflush(file);
}

const char* environment(const char* name) noexcept {
    return std::getenv(name);
}

void yield_thread() noexcept {
    Sleep(0);
}

int64_t monotonic_ms() noexcept {
    return static_cast<int64_t>(GetTickCount64());
}

} // namespace tarn::platform
