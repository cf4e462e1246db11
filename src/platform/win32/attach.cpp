// The DLL's entry point; part of the DLL only. In a program that links the static library the first open
// starts the sockets layer.
#include "platform/platform.h"

#include <windows.h>

extern "C" BOOL WINAPI DllMain(HINSTANCE, DWORD reason, LPVOID) {
    if (reason == DLL_PROCESS_ATTACH || reason == DLL_THREAD_ATTACH) tarn::platform::start_sockets();
    return TRUE;
}
