// hold_file load|open|make NAME: keeps a file in use until it is killed, loaded as programs load a module, open without
// allowing its renaming, or made for itself alone. Says whether it does.
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
        held = CreateFileW(name, GENERIC_WRITE, 0, nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    }
    std::puts(held != nullptr && held != INVALID_HANDLE_VALUE ? "held" : "not held");
    std::fflush(stdout);
    Sleep(INFINITE);
    return 0;
}
