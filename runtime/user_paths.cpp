#include "runtime/user_paths.h"

#include <windows.h>

#include <shlobj.h>

#include "base/directory.h"
#include "base/system_function.h"
#include "base/unique_resource.h"
#include "config/config_file.h"
#include "diag/system_error.h"

namespace {

constexpr GUID kLocalLow = {0xa520a1a4, 0x1780, 0x4ff6, {0xbd, 0x18, 0x16, 0x73, 0x43, 0xc5, 0xaf, 0x16}};
// Any program of the user can write the file, and all that is wanted of it is one path.
constexpr std::size_t kMaxEnvironmentBytes = 65536;

constexpr DWORD kDoNotVerify = 0x4000; // KF_FLAG_DONT_VERIFY: a new profile gets the folder only when it is used

using t_taskMemory = ImmUnique<wchar_t*, &CoTaskMemFree>;

bool ReadShellFolder(t_errorChain& errors, int folder, t_path& path)
{
    wchar_t buffer[MAX_PATH] = {};
    const HRESULT result =
        SHGetFolderPathW(nullptr, folder | CSIDL_FLAG_DONT_VERIFY, nullptr, SHGFP_TYPE_CURRENT, buffer);
    if (result != S_OK) {
        return FailWithSystemError(errors, static_cast<DWORD>(result), L"SHGetFolderPath失败: %d", folder);
    }
    path.assign(buffer);
    return true;
}

bool ReadLocalLow(t_errorChain& errors, t_path& path)
{
    using t_function = HRESULT(WINAPI*)(const GUID&, DWORD, HANDLE, wchar_t**);
    const auto getKnownFolder = FindSystemFunction<t_function>(L"shell32.dll", "SHGetKnownFolderPath");
    if (getKnownFolder == nullptr) {
        return ReadShellFolder(errors, CSIDL_LOCAL_APPDATA, path);
    }
    t_taskMemory found;
    const HRESULT result = getKnownFolder(kLocalLow, kDoNotVerify, nullptr, found.Put());
    if (result != S_OK) {
        return FailWithSystemError(errors, static_cast<DWORD>(result), L"SHGetKnownFolderPath失败: LocalLow");
    }
    path.assign(found.Get());
    return true;
}

// A relative path would mean another directory in every program.
bool IsAbsolute(const t_path& path)
{
    return path.size() > 2 && path[1] == L':' && (path[2] == L'\\' || path[2] == L'/') && path.find(L'\0') == path.npos;
}

} // namespace

bool FindAppDataPath(t_errorChain& errors, t_path& path)
{
    return ReadShellFolder(errors, CSIDL_APPDATA, path);
}

bool FindUserPath(t_errorChain& errors, t_path& localLow, t_path& path)
{
    if (!ReadLocalLow(errors, localLow)) {
        return false;
    }
    path = localLow;
    t_errorChain tolerated;
    n_config::t_configFile environment;
    environment.Load(tolerated, JoinPath(localLow, L"TarvoPY\\env.ini").c_str(), kMaxEnvironmentBytes);
    if (const auto named = environment.Text().FindValue(L"user", L"path")) {
        const t_path given{t_str(std::wstring(*named))};
        if (IsAbsolute(given) && DirectoryExists(given)) {
            path = given;
        }
    }
    return true;
}
