// Programs, files and names.
#include "terminal.h"
#include "wide_text.h"

#include <winsock2.h>

#include <fcntl.h>
#include <io.h>
#include <shellapi.h>
#include <windows.h>
#include <ws2tcpip.h>

#include <cstdlib>

namespace tarnsh {

static UINT code_page = 0; // the console's own, which outlives the shell

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

void prepare_process() {
    code_page = GetConsoleOutputCP();
    SetConsoleOutputCP(CP_UTF8);
    std::atexit([] { SetConsoleOutputCP(code_page); });
    std::setvbuf(stderr, nullptr, _IOFBF, 1 << 12); // a console needs whole characters
    _setmode(_fileno(stdout), _O_BINARY);
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

void hide_argument(char*, std::size_t) {}

std::FILE* open_file(const std::string& path, const char* mode) {
    return _wfopen(wide_text(path).c_str(), wide_text(mode).c_str());
}

std::FILE* open_program(const std::string& command, const char* mode) {
    return _wpopen(wide_text(command).c_str(), wide_text(std::string(mode) + "b").c_str());
}

bool close_program(std::FILE* program) {
    return _pclose(program) == 0;
}

int run_program(const std::string& command) {
    return _wsystem(command.empty() ? L"cmd" : wide_text(command).c_str());
}

bool has_program(const std::string& name) {
    wchar_t place[MAX_PATH];
    return SearchPathW(nullptr, wide_text(name).c_str(), L".exe", MAX_PATH, place, nullptr) != 0;
}

bool is_private(std::FILE*) {
    return true;
}

std::FILE* open_private_file(const std::string& path) {
    return open_file(path, "ab"); // in the user's own profile
}

std::string make_temporary_file() {
    wchar_t folder[MAX_PATH + 1], name[MAX_PATH + 1];
    if (GetTempPathW(MAX_PATH, folder) == 0 || GetTempFileNameW(folder, L"trn", 0, name) == 0) return "";
    return narrow_text(name);
}

std::string home_directory() {
    const wchar_t* const home = _wgetenv(L"USERPROFILE");
    return home ? narrow_text(home) : "";
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

} // namespace tarnsh
