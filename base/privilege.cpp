#include "base/privilege.h"

namespace {

t_handle OpenOwnToken()
{
    t_handle token;
    OpenProcessToken(GetCurrentProcess(), TOKEN_ADJUST_PRIVILEGES | TOKEN_QUERY, token.Put());
    return token;
}

// One privilege with its new attributes. Returns false when the system does not know the name.
bool MakeChange(const wchar_t* name, DWORD attributes, TOKEN_PRIVILEGES& change)
{
    change.PrivilegeCount = 1;
    change.Privileges[0].Attributes = attributes;
    return LookupPrivilegeValueW(nullptr, name, &change.Privileges[0].Luid) != FALSE;
}

} // namespace

bool SetPrivilege(const wchar_t* name, bool enable)
{
    const t_handle token = OpenOwnToken();
    TOKEN_PRIVILEGES change{};
    if (token && MakeChange(name, enable ? SE_PRIVILEGE_ENABLED : SE_PRIVILEGE_REMOVED, change)) {
        AdjustTokenPrivileges(token.Get(), FALSE, &change, 0, nullptr, nullptr);
    }
    return static_cast<bool>(token);
}

t_enabledPrivilege::t_enabledPrivilege(const wchar_t* name) : token(OpenOwnToken())
{
    TOKEN_PRIVILEGES change{};
    DWORD size = 0;
    if (token && MakeChange(name, SE_PRIVILEGE_ENABLED, change)) {
        AdjustTokenPrivileges(token.Get(), FALSE, &change, sizeof(former), &former, &size);
    }
}

t_enabledPrivilege::~t_enabledPrivilege()
{
    if (former.PrivilegeCount != 0) {
        AdjustTokenPrivileges(token.Get(), FALSE, &former, 0, nullptr, nullptr);
    }
}
