#include "catalogue/locale_info.h"

#include "base/system_function.h"

bool HasGetLocaleInfoEx()
{
    static const bool present = FindSystemFunction<FARPROC>(L"kernel32.dll", "GetLocaleInfoEx") != nullptr;
    return present;
}
