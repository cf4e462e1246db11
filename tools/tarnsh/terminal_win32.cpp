// A plain console: lines are read as the system's own line editing gives them, without history file and
// completion.
#include "terminal.h"

#include <winsock2.h>

#include <fcntl.h>
#include <io.h>
#include <share.h>
#include <shellapi.h>
#include <sys/stat.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <atomic>
#include <chrono>
#include <cstdlib>
#include <string_view>
#include <thread>

namespace tarnsh {

namespace {

std::atomic<int> interrupts = 0; // the handler runs on a thread of its own
UINT code_page = 0;              // the console's own, which outlives the shell

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

std::string narrow_text(std::wstring_view wide) {
    const int length = static_cast<int>(wide.size());
    const int size = WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, nullptr, 0, nullptr, nullptr);
    std::string text(static_cast<std::size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, wide.data(), length, text.data(), size, nullptr, nullptr);
    return text;
}

// Ctrl-C ends the reading before its handler, on another thread, has run.
Line wait_for_interrupt() {
    for (int tries = 0; tries < 100 && !is_interrupted(); ++tries)
        Sleep(10);
    take_interrupt();
    return Line::interrupted;
}

// A file that goes when it is closed. The runtime's own tmpfile wants to write to the root of the drive.
int open_scratch() {
    wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"trn", 0, name) == 0) return -1;
    int scratch = -1;
    _wsopen_s(&scratch, name, _O_RDWR | _O_BINARY | _O_TEMPORARY | _O_NOINHERIT, _SH_DENYNO,
              _S_IREAD | _S_IWRITE);
    return scratch;
}

} // namespace

// The DLL prints through the same C runtime, and so into the same descriptor 1.
std::FILE* claim_standard_output() {
    code_page = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
    std::atexit([] { SetConsoleOutputCP(code_page); });
    std::setvbuf(stderr, nullptr, _IOFBF, 1 << 12); // a console shows no character that comes byte by byte
    const int rows = _dup(1), scratch = open_scratch();
    if (rows < 0 || scratch < 0 || _dup2(scratch, 1) != 0) return nullptr;
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
    for (int i = 0; i < argc; ++i)
        texts.push_back(narrow_text(wide[i]));
    LocalFree(wide);
    return texts;
}

std::FILE* open_file(const std::string& path, const char* mode) {
    return _wfopen(wide_text(path).c_str(), wide_text(mode).c_str());
}

// Unlike _isatty, not the null device.
bool is_terminal(std::FILE* file) {
    DWORD mode = 0;
    return GetConsoleMode(reinterpret_cast<HANDLE>(_get_osfhandle(_fileno(file))), &mode) != 0;
}

bool is_private(std::FILE*) {
    return true;
}

std::string address_of(const std::string& name, std::string& reason) {
    WSADATA started;
    WSAStartup(MAKEWORD(2, 2), &started);
    addrinfo hints{}, *found = nullptr;
    hints.ai_family = AF_INET;
    char text[INET_ADDRSTRLEN] = "";
    int status = getaddrinfo(name.c_str(), nullptr, &hints, &found);
    if (status == 0) {
        status = getnameinfo(found->ai_addr, static_cast<socklen_t>(found->ai_addrlen), text, sizeof text,
                             nullptr, 0, NI_NUMERICHOST);
        freeaddrinfo(found);
    }
    if (status != 0) reason = gai_strerrorA(status);
    WSACleanup();
    return text;
}

bool read_secret(const std::string& prompt, std::string& secret) {
    const HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    DWORD shown = 0;
    if (!GetConsoleMode(console, &shown)) return false;
    SetConsoleMode(console, shown & ~static_cast<DWORD>(ENABLE_ECHO_INPUT));
    SetConsoleCtrlHandler(note_interrupt, TRUE); // Ctrl-C must not leave the console mute
    const bool good = read_line(prompt, secret) == Line::read && !is_interrupted();
    SetConsoleCtrlHandler(note_interrupt, FALSE);
    SetConsoleMode(console, shown);
    std::fputs("\n", stderr);
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

// In wide characters: not every console gives others than ASCII as UTF-8.
Line read_line(const std::string& prompt, std::string& line) {
    std::fputs(prompt.c_str(), stderr);
    std::fflush(stderr);
    const HANDLE console = GetStdHandle(STD_INPUT_HANDLE);
    std::wstring text;
    while (!text.ends_with(L'\n')) {
        wchar_t part[512];
        DWORD got = 0;
        SetLastError(0);
        if (!ReadConsoleW(console, part, 512, &got, nullptr)) return Line::end;
        if (got == 0 && GetLastError() == ERROR_OPERATION_ABORTED) return wait_for_interrupt();
        if (got == 0) return Line::end;
        text.append(part, got);
    }
    if (text.front() == L'\x1a' || text.front() == L'\x04') return Line::end; // Ctrl-Z, Ctrl-D
    text.resize(text.find_first_of(L"\r\n"));
    line = narrow_text(text);
    return Line::read;
}

void keep_in_history(const std::string&) {}

std::string default_history_file() {
    return "";
}

} // namespace tarnsh
