#include "base/privilege.h"

#include "base/handles.h"

bool SetPrivilege(const wchar_t* name, bool enable)
{
    t_handle token;
    if (!OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put())) {
        return false;
    }
    TOKEN_PRIVILEGES privileges{};
    privileges.PrivilegeCount = 1;
    privileges.Privileges[0].Attributes = enable ? SE_PRIVILEGE_ENABLED : SE_PRIVILEGE_REMOVED;
    if (LookupPrivilegeValueW(nullptr, name, &privileges.Privileges[0].Luid)) {
        AdjustTokenPrivileges(token.Get(), FALSE, &privileges, 0, nullptr, nullptr);
    }
    return true;
}
