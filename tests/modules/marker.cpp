// Lies under another library's name where no program may look for it. When one loads it all the same, its path goes to
// the file that TARVO_MARKER_FILE names, a line each, and the load fails.
#include <windows.h>

BOOL WINAPI DllMain(HINSTANCE self, DWORD reason, void*)
{
    if (reason != DLL_PROCESS_ATTACH) {
        return TRUE;
    }
    char path[MAX_PATH + 1], file[MAX_PATH];
    DWORD length = GetModuleFileNameA(self, path, MAX_PATH);
    path[length++] = '\n';
    const DWORD named = GetEnvironmentVariableA("TARVO_MARKER_FILE", file, MAX_PATH);
    const HANDLE log = named == 0 ? INVALID_HANDLE_VALUE
                                  : CreateFileA(file, FILE_APPEND_DATA, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                                                OPEN_ALWAYS, 0, nullptr);
    if (log != INVALID_HANDLE_VALUE) {
        WriteFile(log, path, length, &length, nullptr);
        CloseHandle(log);
    }
    return FALSE;
}
