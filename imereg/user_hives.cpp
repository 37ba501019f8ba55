#include "imereg/user_hives.h"

#include <sddl.h>
#include <shlobj.h>
#include <wtsapi32.h>

#include <algorithm>
#include <memory>
#include <new>

#include "base/ascii_case.h"
#include "base/os_version.h"
#include "base/path.h"
#include "base/privilege.h"
#include "imereg/layout_keys.h"
#include "imereg/preload.h"

namespace {

constexpr wchar_t kDefaultUser[] = L"default_user";
constexpr wchar_t kCompanionPrefix[] = L"imsc";
constexpr const wchar_t* kSystemAccounts[] = {L".DEFAULT", L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"};

void FreeSessionText(wchar_t* text)
{
    WTSFreeMemory(text);
}

using t_sessionText = ImmUnique<wchar_t*, &FreeSessionText>;

// What the current session says of its user; null when it says nothing.
t_sessionText QuerySession(WTS_INFO_CLASS what)
{
    t_sessionText text;
    DWORD bytes = 0;
    if (!WTSQuerySessionInformationW(WTS_CURRENT_SERVER_HANDLE, WTS_CURRENT_SESSION, what, text.Put(), &bytes) ||
        !text || *text.Get() == L'\0') {
        return {};
    }
    return text;
}

// The security identifier of a user, or null. A name may also be that of a group, a domain or the machine, which have
// no hive.
std::unique_ptr<BYTE[]> LookUpUser(const wchar_t* name)
{
    wchar_t domain[1024];
    DWORD domainLength = ARRAYSIZE(domain);
    DWORD size = 0;
    SID_NAME_USE use{};
    LookupAccountNameW(nullptr, name, nullptr, &size, domain, &domainLength, &use);
    if (size == 0) {
        return nullptr;
    }
    std::unique_ptr<BYTE[]> sid(new (std::nothrow) BYTE[size]);
    domainLength = ARRAYSIZE(domain);
    const bool found = sid != nullptr &&
                       LookupAccountNameW(nullptr, name, sid.get(), &size, domain, &domainLength, &use) &&
                       use == SidTypeUser;
    return found ? std::move(sid) : nullptr;
}

} // namespace

t_keyHandle OpenInteractiveUserHive()
{
    const t_sessionText userName = QuerySession(WTSUserName);
    if (!userName) {
        return {};
    }
    // A bare name means an account of this machine before one of the user's domain.
    std::unique_ptr<BYTE[]> sid;
    if (const t_sessionText domain = QuerySession(WTSDomainName)) {
        sid = LookUpUser(FormatStr(L"%s\\%s", domain.Get(), userName.Get()).c_str());
    }
    if (sid == nullptr) {
        sid = LookUpUser(userName.Get());
    }
    wchar_t* sidText = nullptr;
    if (sid == nullptr || !ConvertSidToStringSidW(sid.get(), &sidText)) {
        return {};
    }
    const t_localMemory owner(sidText);
    // The access mask is passed as the options too, which is the interface's fixed form. Of its bits the system knows
    // REG_OPTION_OPEN_LINK: a link in the place of the hive would be opened itself and not followed. Where another bit
    // is refused, the hive counts as one that cannot be opened.
    t_keyHandle hive;
    RegOpenKeyExW(HKEY_USERS, sidText, KEY_ALL_ACCESS, KEY_ALL_ACCESS, hive.Put());
    return hive;
}

bool GetDefaultUserHivePath(wchar_t (&buffer)[MAX_PATH])
{
    if (!SHGetSpecialFolderPathW(nullptr, buffer, CSIDL_PROFILE, FALSE)) {
        return false;
    }
    t_path path(buffer);
    if (!path.CutLastComponent()) {
        return false;
    }
    path.Join(IsVistaOrLater() ? L"default" : L"Default User").Join(L"NTUSER.DAT");
    if (path.size() >= ARRAYSIZE(buffer)) {
        return false;
    }
    std::copy_n(path.c_str(), path.size() + 1, buffer);
    return true;
}

LSTATUS AddToDefaultUserHive(std::uint32_t klid)
{
    wchar_t path[MAX_PATH];
    if (!GetDefaultUserHivePath(path)) {
        return ERROR_PATH_NOT_FOUND;
    }
    SetPrivilege(L"SeRestorePrivilege", true);
    SetPrivilege(L"SeBackupPrivilege", true);
    // Loading a file that is missing would make an empty one, and new accounts would start with that.
    if (GetFileAttributesW(path) == INVALID_FILE_ATTRIBUTES) {
        return static_cast<LSTATUS>(GetLastError());
    }
    // A hive that does not load leaves the privileges enabled: the process ends soon, and removing them would be final.
    LSTATUS result = RegLoadKeyW(HKEY_USERS, kDefaultUser, path);
    if (result != ERROR_SUCCESS) {
        return result;
    }
    {
        t_keyHandle hive;
        if (RegOpenKeyW(HKEY_USERS, kDefaultUser, hive.Put()) == ERROR_SUCCESS) {
            AddToPreload(klid, hive.Get(), kDefaultUser, false);
            AddCompanionLayouts(hive.Get());
        }
    }
    // Unloading fails while a key of the hive is open, so this comes after the block above.
    result = RegUnLoadKeyW(HKEY_USERS, kDefaultUser);
    SetPrivilege(L"SeRestorePrivilege", false);
    SetPrivilege(L"SeBackupPrivilege", false);
    return result;
}

void AddCompanionLayouts(HKEY hive)
{
    t_keyHandle layouts;
    if (OpenLayoutsKey(KEY_READ, layouts) != ERROR_SUCCESS) {
        return;
    }
    constexpr std::size_t kPrefixLength = ARRAYSIZE(kCompanionPrefix) - 1;
    for (const std::uint32_t klid : CollectChineseKlids(layouts.Get())) {
        t_str imeFile;
        if (ReadImeFile(layouts.Get(), klid, KEY_ALL_ACCESS, imeFile) &&
            EqualIgnoringCase(std::wstring_view(imeFile).substr(0, kPrefixLength), kCompanionPrefix)) {
            AddToPreload(klid, hive, kDefaultUser, false);
        }
    }
}

void RemoveFromSystemAccountHives(std::uint32_t klid)
{
    for (const wchar_t* const account : kSystemAccounts) {
        t_keyHandle hive;
        if (RegOpenKeyExW(HKEY_USERS, account, 0, KEY_ALL_ACCESS, hive.Put()) == ERROR_SUCCESS) {
            RemoveFromPreload(klid, hive.Get());
        }
    }
}
