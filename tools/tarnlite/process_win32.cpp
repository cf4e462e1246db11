// Arguments and stop signals of Windows.
#include "process.h"

#include <windows.h>

#include <shellapi.h>

#include <filesystem>

namespace tarnlite {

namespace {

HANDLE stopped = nullptr;

// Runs on its own thread. When it returns for the end of the console or the session, Windows ends the
// process, so it waits until the main thread has stopped the server.
BOOL WINAPI stop(DWORD) {
    SetEvent(stopped);
    Sleep(INFINITE);
    return TRUE;
}

} // namespace

std::vector<std::string> command_line(int argc, char** argv) {
    wchar_t** const wide = CommandLineToArgvW(GetCommandLineW(), &argc);
    if (!wide) return {argv, argv + argc};
    std::vector<std::string> texts;
    for (int i = 0; i < argc; ++i) {
        const std::u8string text = std::filesystem::path(wide[i]).u8string();
        texts.emplace_back(text.begin(), text.end());
    }
    LocalFree(wide);
    return texts;
}

void raise_descriptor_limit() {} // there is none

void hold_stop_signals() {
    stopped = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    SetConsoleCtrlHandler(stop, TRUE);
}

void wait_for_stop_signal() {
    WaitForSingleObject(stopped, INFINITE);
}

} // namespace tarnlite
