#pragma once

#include "base/handles.h"

// Enables a privilege of the process token, or removes it from the token for the rest of the process.
//   name  such as "SeRestorePrivilege"; not null
// Returns false only when the process token cannot be opened. Behind it: OpenProcessToken, LookupPrivilegeValueW,
// AdjustTokenPrivileges, whose result is not looked at: what needs the privilege fails by itself without it.
bool SetPrivilege(const wchar_t* name, bool enable);

// Holds a privilege of the process token enabled for the life of a block, then puts it back to what it was. One that
// the token does not have stays missing: what needs it fails by itself. Behind it: AdjustTokenPrivileges.
class t_enabledPrivilege
{
public:
    //   name  such as "SeRestorePrivilege"; not null
    explicit t_enabledPrivilege(const wchar_t* name);
    t_enabledPrivilege(const t_enabledPrivilege&) = delete;
    t_enabledPrivilege& operator=(const t_enabledPrivilege&) = delete;
    ~t_enabledPrivilege();

private:
    t_handle token;
    TOKEN_PRIVILEGES former{}; // what was changed; empty when it was enabled before
};
