#include "base/safe_api.h"

#include <atomic>
#include <cstring>

#include "base/system_function.h"

namespace {

constexpr char kModuleFileName[] = "GetModuleFileNameW";

std::atomic<FARPROC> moduleFileName = nullptr;

} // namespace

void PrepareSafeApi()
{
    static LONG prepared = 0;
    if (InterlockedExchange(&prepared, 1) == 0) {
        moduleFileName = FindSystemFunction<FARPROC>(L"kernel32.dll", kModuleFileName);
    }
}

FARPROC FindSafeApi(const char* name)
{
    return std::strcmp(name, kModuleFileName) == 0 ? moduleFileName.load() : nullptr;
}
