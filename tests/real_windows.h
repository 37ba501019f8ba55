#pragma once

#include <windows.h>

// On what system the tests run. What one cannot do there is skipped with a message that says why.
inline bool RunsUnderWine()
{
    return GetProcAddress(GetModuleHandleW(L"ntdll.dll"), "wine_get_version") != nullptr;
}

inline bool RunsBeforeVista()
{
    return LOBYTE(LOWORD(GetVersion())) < 6;
}
