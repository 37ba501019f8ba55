// Makes only the calls that an action of the installer cannot do without: floor_action ACTION, such as "install_11".
// Nothing is checked and no list is edited.
#include <windows.h>

#include <imm.h>
#include <objbase.h>
#include <sddl.h>
#include <shellapi.h>
#include <shlobj.h>
#include <wtsapi32.h>

#include <cwchar>
#include <initializer_list>

namespace {

void ReadVersion()
{
    const wchar_t* const file = L"C:\\windows\\system32\\kernel32.dll";
    BYTE resource[4096];
    const DWORD bytes = GetFileVersionInfoSizeW(file, nullptr);
    void* fixedPart = nullptr;
    UINT size = 0;
    GetFileVersionInfoW(file, 0, bytes, resource);
    VerQueryValueW(resource, L"\\", &fixedPart, &size);
}

void ListLayouts()
{
    HKL layouts[512];
    GetKeyboardLayoutList(0, nullptr);
    const int count = GetKeyboardLayoutList(ARRAYSIZE(layouts), layouts);
    for (int i = 0; i < count; ++i) {
        wchar_t name[33] = {};
        ImmGetIMEFileNameW(layouts[i], name, 32);
    }
}

void OpenUsersHive()
{
    wchar_t* user = nullptr;
    DWORD bytes = 0;
    WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTS_CURRENT_SESSION, WTSUserName, &user, &bytes);
    BYTE sid[SECURITY_MAX_SID_SIZE];
    DWORD size = 0;
    wchar_t domain[1024];
    DWORD length = ARRAYSIZE(domain);
    SID_NAME_USE use{};
    LookupAccountNameW(nullptr, user, nullptr, &size, domain, &length, &use);
    length = ARRAYSIZE(domain);
    LookupAccountNameW(nullptr, user, sid, &size, domain, &length, &use);
    WTSFreeMemory(user);
    wchar_t* text = nullptr;
    ConvertSidToStringSidW(sid, &text);
    HKEY hive = nullptr;
    RegOpenKeyExW(HKEY_USERS, text, 0, KEY_ALL_ACCESS, &hive);
    RegCloseKey(hive);
    LocalFree(text);
}

void Start(const wchar_t* parameters)
{
    SHELLEXECUTEINFOW request{};
    request.cbSize = sizeof(request);
    request.fMask = SEE_MASK_NOASYNC | SEE_MASK_FLAG_NO_UI;
    request.lpVerb = L"open";
    request.lpFile = L"C:\\windows\\system32\\regsvr32.exe";
    request.lpParameters = parameters;
    request.lpDirectory = L"C:\\windows\\system32";
    request.nShow = SW_SHOW;
    CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED | COINIT_DISABLE_OLE1DDE);
    ShellExecuteExW(&request);
    CoUninitialize();
}

void LoadDefaultHive()
{
    HANDLE token = nullptr;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, &token);
    for (const wchar_t* const name : {L"SeRestorePrivilege", L"SeBackupPrivilege"}) {
        TOKEN_PRIVILEGES privileges{1, {{{}, SE_PRIVILEGE_ENABLED}}};
        LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid);
        AdjustTokenPrivileges(token, FALSE, &privileges, 0, nullptr, nullptr);
    }
    CloseHandle(token);
    wchar_t profile[MAX_PATH];
    SHGetSpecialFolderPathW(nullptr, profile, CSIDL_PROFILE, FALSE);
    RegLoadKeyW(HKEY_USERS, L"default_user", L"C:\\users\\default\\NTUSER.DAT");
    RegUnLoadKeyW(HKEY_USERS, L"default_user");
}

} // namespace

int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR action, int)
{
    const auto is = [action](const wchar_t* name) { return std::wcscmp(action, name) == 0; };
    if (is(L"install_11") || is(L"uninstall_11")) {
        ListLayouts();
        OpenUsersHive();
        Start(is(L"install_11") ? L"/s C:\\windows\\system32\\TarvoTSF.ime"
                                : L"/s /u C:\\windows\\system32\\TarvoTSF.ime");
        return 0;
    }
    if (!is(L"debug_7")) {
        ReadVersion();
        OpenUsersHive();
    }
    if (is(L"install_7")) {
        ImmInstallIMEW(L"C:\\windows\\system32\\TarvoPY.ime", L"中文(简体) - 塔沃拼音输入法");
        LoadDefaultHive();
    } else {
        ListLayouts();
    }
    return 0;
}
