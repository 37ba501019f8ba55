#pragma once

// Enables a privilege of the process token, or removes it from the token for the rest of the process.
//   name  such as "SeRestorePrivilege"; not null
// Returns false only when the process token cannot be opened. Behind it: OpenProcessToken, LookupPrivilegeValueW,
// AdjustTokenPrivileges, whose result is not looked at: what needs the privilege fails by itself without it.
bool SetPrivilege(const wchar_t* name, bool enable);
