// A plain console: lines are read as the system's own line editing gives them, without history file and
// completion.
#include "terminal.h"

#include <fcntl.h>
#include <io.h>
#include <windows.h>

#include <shellapi.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <thread>

namespace tarnsh {

namespace {

int scratch = -1;
std::atomic<int> interrupts = 0; // the handler runs on a thread of its own

BOOL WINAPI note_interrupt(DWORD event) {
    if (event != CTRL_C_EVENT) return FALSE;
    if (interrupts++ > 0) ExitProcess(130);
    return TRUE;
}

std::wstring wide_text(const std::string& text) {
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.data(), static_cast<int>(text.size()), wide.data(), size);
    return wide;
}

} // namespace

// The DLL prints through the same C runtime, and so into the same descriptor 1.
std::FILE* claim_standard_output() {
    SetConsoleCP(CP_UTF8);
    SetConsoleOutputCP(CP_UTF8);
    const int rows = _dup(1);
    std::FILE* const file = std::tmpfile();
    if (rows < 0 || !file) return nullptr;
    scratch = _fileno(file);
    if (_dup2(scratch, 1) != 0) return nullptr;
    _setmode(rows, _O_BINARY);
    return _fdopen(rows, "wb");
}

std::string take_library_output() {
    std::string text;
    const long size = _lseek(1, 0, SEEK_CUR);
    if (size <= 0) return text;
    text.resize(static_cast<std::size_t>(size));
    _lseek(1, 0, SEEK_SET);
    const int got = _read(1, text.data(), static_cast<unsigned>(size));
    text.resize(got > 0 ? static_cast<std::size_t>(got) : 0);
    _lseek(1, 0, SEEK_SET);
    _chsize(1, 0);
    return text;
}

bool is_reader_gone() {
    return _doserrno == ERROR_NO_DATA || _doserrno == ERROR_BROKEN_PIPE ||
           _doserrno == ERROR_PIPE_NOT_CONNECTED;
}

std::vector<std::string> command_line(int argc, char** argv) {
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (!wide) return {argv, argv + argc};
    std::vector<std::string> texts;
    for (int i = 0; i < argc; ++i) {
        std::string text(static_cast<std::size_t>(
                             WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, nullptr, 0, nullptr, nullptr)),
                         '\0');
        WideCharToMultiByte(CP_UTF8, 0, wide[i], -1, text.data(), static_cast<int>(text.size()), nullptr,
                            nullptr);
        text.pop_back(); // the terminator
        texts.push_back(std::move(text));
    }
    LocalFree(wide);
    return texts;
}

std::FILE* open_file(const std::string& path, const char* mode) {
    return _wfopen(wide_text(path).c_str(), wide_text(mode).c_str());
}

bool is_terminal(std::FILE* file) {
    return _isatty(_fileno(file)) != 0;
}

bool is_private(std::FILE*) {
    return true;
}

bool read_secret(const std::string& prompt, std::string& secret) {
    const HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    DWORD shown = 0;
    if (!GetConsoleMode(console, &shown)) return false;
    SetConsoleMode(console, shown & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    std::string line;
    const bool good = read_line(prompt, line) == Line::read;
    SetConsoleMode(console, shown);
    std::fputs("\n", stderr);
    secret = line;
    return good;
}

void catch_interrupts() {
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

void start_line_input(const std::string&, Completer) {}

Line read_line(const std::string& prompt, std::string& line) {
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    line.clear();
    int c;
    while ((c = std::getc(stdin)) != EOF && c != '\n')
        line += static_cast<char>(c);
    if (c != EOF || !line.empty()) return Line::read;
    if (!is_interrupted()) return Line::end;
    take_interrupt();
    std::clearerr(stdin);
    return Line::interrupted;
}

void keep_in_history(const std::string&) {}

void end_line_input() {}

std::string default_history_file() {
    return "";
}

} // namespace tarnsh
