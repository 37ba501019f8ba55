#include "base/os_version.h"

#include <cwchar>

#include "base/file_version.h"

bool GetOsVersionFromKernel32(OSVERSIONINFOW& version)
{
    constexpr wchar_t kName[] = L"\\kernel32.dll";
    wchar_t path[MAX_PATH];
    const UINT length = GetSystemDirectoryW(path, MAX_PATH);
    if (length == 0 || length + ARRAYSIZE(kName) > MAX_PATH) {
        return false;
    }
    std::wcscpy(path + length, kName);

    VS_FIXEDFILEINFO info{};
    if (!ReadFileVersion(path, info)) {
        return false;
    }
    version = {};
    version.dwOSVersionInfoSize = sizeof(version);
    version.dwMajorVersion = HIWORD(info.dwFileVersionMS);
    version.dwMinorVersion = LOWORD(info.dwFileVersionMS);
    version.dwBuildNumber = HIWORD(info.dwFileVersionLS);
    version.dwPlatformId = VER_PLATFORM_WIN32_NT;
    return true;
}

bool IsVistaOrLater()
{
    OSVERSIONINFOW version{};
    return GetOsVersionFromKernel32(version) && version.dwMajorVersion > 5;
}

bool IsWin8OrLater()
{
    OSVERSIONINFOW version{};
    GetOsVersionFromKernel32(version);
    return version.dwMajorVersion > 6 || (version.dwMajorVersion == 6 && version.dwMinorVersion >= 2);
}
