#include "runtime/os_version_sources.h"

#include <windows.h>

#include "base/system_function.h"

namespace {

t_osVersion MakeVersion(const OSVERSIONINFOEXW& info)
{
    t_osVersion version{info.dwMajorVersion, info.dwMinorVersion, true};
    if (info.wServicePackMajor != 0) {
        version.servicePack = info.wServicePackMajor;
    }
    return version;
}

} // namespace

t_osVersion ReadKernelOsVersion()
{
    using t_function = LONG(WINAPI*)(OSVERSIONINFOEXW*);
    const auto getVersion = FindSystemFunction<t_function>(L"ntdll.dll", "RtlGetVersion");
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    return getVersion != nullptr && getVersion(&info) == 0 ? MakeVersion(info) : t_osVersion{};
}

t_osVersion ReadDocumentedOsVersion()
{
    using t_function = BOOL(WINAPI*)(OSVERSIONINFOEXW*);
    const auto getVersion = FindSystemFunction<t_function>(L"kernel32.dll", "GetVersionExW");
    OSVERSIONINFOEXW info{};
    info.dwOSVersionInfoSize = sizeof(info);
    return getVersion != nullptr && getVersion(&info) ? MakeVersion(info) : t_osVersion{};
}
