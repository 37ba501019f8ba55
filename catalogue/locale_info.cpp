#include "catalogue/locale_info.h"

#include <windows.h>

bool HasGetLocaleInfoEx()
{
    static const bool present = [] {
        const HMODULE kernel = GetModuleHandleW(L"kernel32.dll");
        return kernel != nullptr && GetProcAddress(kernel, "GetLocaleInfoEx") != nullptr;
    }();
    return present;
}
