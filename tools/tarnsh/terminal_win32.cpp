// The console: its size, keys and secrets, and Ctrl-C. Keys are turned into what an xterm sends.
#include "terminal.h"
#include "wide_text.h"

#include <io.h>
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <chrono>
#include <thread>

namespace tarnsh {

namespace {

std::atomic<int> interrupts = 0; // the handler runs on a thread of its own
void (*interrupt_told)() = nullptr;
HANDLE screen = nullptr;
DWORD usual_input = 0, usual_output = 0;
wchar_t first_half = 0; // of a character that comes in two

BOOL WINAPI note_interrupt(DWORD event) {
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) return FALSE;
    ++interrupts;
    if (interrupt_told) interrupt_told();
    return TRUE;
}

struct KeyText {
    WORD key;
    const char* plain;
    const char* with_control;
};

constexpr KeyText key_texts[] = {{VK_UP, "\x1b[A", "\x1b[A"},       {VK_DOWN, "\x1b[B", "\x1b[B"},
                                 {VK_RIGHT, "\x1b[C", "\x1b[1;5C"}, {VK_LEFT, "\x1b[D", "\x1b[1;5D"},
                                 {VK_HOME, "\x1b[H", "\x1b[H"},     {VK_END, "\x1b[F", "\x1b[F"},
                                 {VK_DELETE, "\x1b[3~", "\x1b[3~"}, {VK_BACK, "\x7f", "\x17"}};

void add_key(const KEY_EVENT_RECORD& event, std::string& bytes) {
    if (!event.bKeyDown) return;
    const bool control = (event.dwControlKeyState & (LEFT_CTRL_PRESSED | RIGHT_CTRL_PRESSED)) != 0;
    for (const KeyText& text : key_texts)
        if (event.wVirtualKeyCode == text.key) {
            bytes += control ? text.with_control : text.plain;
            return;
        }
    const wchar_t c = event.uChar.UnicodeChar;
    if (c == 0) return;
    if (c >= 0xD800 && c < 0xDC00) {
        first_half = c;
        return;
    }
    const bool escaped = (event.dwControlKeyState & LEFT_ALT_PRESSED) != 0 && c < 0x80;
    const wchar_t text[] = {first_half, c};
    if (escaped) bytes += '\x1b';
    bytes += first_half ? narrow_text({text, 2}) : narrow_text({text + 1, 1});
    first_half = 0;
}

} // namespace

// Unlike _isatty, not the null device.
bool is_terminal(std::FILE* file) {
    DWORD mode = 0;
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), &mode) != 0;
}

bool read_secret(const std::string& prompt, std::string& secret) {
    if (!start_keys()) return false;
    write_terminal(prompt);
    secret.clear();
    bool good = true;
    for (std::string bytes; good && !bytes.ends_with('\r');) {
        good = read_keys(bytes, -1) == Keys::read && bytes != "\x03";
        if (bytes == "\x7f")
            secret.resize(secret.size() - std::min<std::size_t>(secret.size(), 1));
        else if (good)
            secret += bytes;
    }
    stop_keys();
    write_terminal("\n");
    if (secret.ends_with('\r')) secret.pop_back();
    return good;
}

void catch_interrupts(void (*told)()) {
    interrupt_told = told;
    SetConsoleCtrlHandler(note_interrupt, TRUE);
}

bool is_interrupted() {
    return interrupts > 0;
}

void take_interrupt() {
    interrupts = 0;
}

void wait_seconds(double seconds) {
    using clock = std::chrono::steady_clock;
    const auto end = clock::now() + std::chrono::duration<double>(seconds);
    while (!is_interrupted() && clock::now() < end)
        std::this_thread::sleep_for(std::chrono::milliseconds(50));
}

TerminalSize terminal_size() {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    if (!GetConsoleScreenBufferInfo(GetStdHandle(STD_ERROR_HANDLE), &info) &&
        !GetConsoleScreenBufferInfo(GetStdHandle(STD_OUTPUT_HANDLE), &info))
        return {80, 24};
    return {static_cast<std::size_t>(std::max(1, info.srWindow.Right - info.srWindow.Left + 1)),
            static_cast<std::size_t>(std::max(1, info.srWindow.Bottom - info.srWindow.Top + 1))};
}

bool start_keys() {
    const HANDLE keyboard = GetStdHandle(STD_INPUT_HANDLE);
    if (!GetConsoleMode(keyboard, &usual_input)) return false;
    screen = CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                         nullptr, OPEN_EXISTING, 0, nullptr);
    if (screen == INVALID_HANDLE_VALUE || !GetConsoleMode(screen, &usual_output)) return false;
    SetConsoleMode(screen, usual_output | ENABLE_PROCESSED_OUTPUT | ENABLE_VIRTUAL_TERMINAL_PROCESSING);
    return SetConsoleMode(keyboard, ENABLE_WINDOW_INPUT | ENABLE_EXTENDED_FLAGS) != 0;
}

void stop_keys() {
    SetConsoleMode(GetStdHandle(STD_INPUT_HANDLE), usual_input);
    SetConsoleMode(screen, usual_output);
    CloseHandle(screen);
    screen = nullptr;
}

Keys read_keys(std::string& bytes, int wait_ms) {
    const HANDLE keyboard = GetStdHandle(STD_INPUT_HANDLE);
    bytes.clear();
    while (bytes.empty()) {
        const DWORD waited =
            WaitForSingleObject(keyboard, wait_ms < 0 ? INFINITE : static_cast<DWORD>(wait_ms));
        if (waited == WAIT_TIMEOUT) return Keys::none;
        INPUT_RECORD events[128];
        DWORD count = 0;
        if (!ReadConsoleInputW(keyboard, events, 128, &count)) return Keys::end;
        bool resized = false;
        for (DWORD i = 0; i < count; ++i) {
            if (events[i].EventType == KEY_EVENT) add_key(events[i].Event.KeyEvent, bytes);
            resized = resized || events[i].EventType == WINDOW_BUFFER_SIZE_EVENT;
        }
        if (bytes.empty() && resized) return Keys::resized;
    }
    return Keys::read;
}

void suspend() {}

void write_terminal(std::string_view text) {
    const std::wstring wide = wide_text(std::string(text));
    DWORD written = 0;
    WriteConsoleW(screen, wide.data(), static_cast<DWORD>(wide.size()), &written, nullptr);
}

} // namespace tarnsh
