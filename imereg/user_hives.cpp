#include "imereg/user_hives.h"

#include <shlobj.h>

#include <algorithm>

#include "base/ascii_case.h"
#include "base/os_version.h"
#include "base/path.h"
#include "base/privilege.h"
#include "base/session.h"
#include "imereg/layout_keys.h"
#include "imereg/preload.h"

namespace {

constexpr wchar_t kDefaultUser[] = L"default_user";
constexpr wchar_t kCompanionPrefix[] = L"imsc";
constexpr const wchar_t* kSystemAccounts[] = {L".DEFAULT", L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"};

} // namespace

t_keyHandle OpenInteractiveUserHive()
{
    t_errorChain unreported(t_errorChain::kDiscarding);
    t_session session;
    if (!ReadCurrentSession(unreported, session) || session.userSid.empty()) {
        return {};
    }
    // The access mask is passed as the options too, which is the interface's fixed form. Of its bits the system knows
    // REG_OPTION_OPEN_LINK: a link in the place of the hive would be opened itself and not followed. Where another bit
    // is refused, the hive counts as one that cannot be opened.
    t_keyHandle hive;
    RegOpenKeyExW(HKEY_USERS, session.userSid.c_str(), KEY_ALL_ACCESS, KEY_ALL_ACCESS, hive.Put());
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
