// hold_file load|open|mutex NAME: keeps a file in use until it is killed, loaded as programs load a module or open
// without allowing its renaming, or holds a mutex. Says whether it does.
#include <windows.h>

#include <cstdio>

int wmain(int, wchar_t** arguments)
{
    const wchar_t* const name = arguments[2];
    HANDLE held = nullptr;
    switch (arguments[1][0]) {
    case L'l':
        held = LoadLibraryW(name);
        break;
    case L'o':
        held = CreateFileW(name, GENERIC_READ, FILE_SHARE_READ, nullptr, OPEN_EXISTING, 0, nullptr);
        break;
    default:
        held = CreateMutexW(nullptr, FALSE, name);
    }
    std::puts(held != nullptr && held != INVALID_HANDLE_VALUE ? "held" : "not held");
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}
