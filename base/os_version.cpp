#include "base/os_version.h"

#include "base/file_version.h"
#include "base/system_directory.h"

bool GetOsVersionFromKernel32(OSVERSIONINFOW& version)
{
    t_path path;
    VS_FIXEDFILEINFO info{};
    ReadSystemDirectory(path);
    if (path.empty() || path.Join(L"kernel32.dll").size() >= MAX_PATH || !ReadFileVersion(path.c_str(), info)) {
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
