#pragma once

#include <windows.h>

#include <cstdint>

#include "base/handles.h"

// The registry hives beside the installer's own: the user who is logged on, the default profile and the system
// accounts.

// Opens the hive of the user logged on to the current session. The installer usually runs elevated under another
// account, whose HKEY_CURRENT_USER is not the one that counts. The user is looked up in the session's domain, and by
// the bare name where that knows none. Returns a null owner when nobody is logged on or the hive cannot be opened.
// Behind it: ReadCurrentSession, RegOpenKeyExW.
t_keyHandle OpenInteractiveUserHive();

// Builds the path of the default profile's hive file, beside the current user's profile folder.
//   buffer  receives the terminated path; its content is not defined on failure
// Returns false when the profile folder cannot be had or the path does not fit. Behind it: SHGetSpecialFolderPathW.
bool GetDefaultUserHivePath(wchar_t (&buffer)[MAX_PATH]);

// Adds a layout, and after it the companion layouts, to the default profile, from which new accounts are made. The hive
// is loaded as "default_user" for the time of the change; a file that is missing or in use skips the step.
// Returns the status of the step that failed, or of the last one. Behind it: RegLoadKeyW, RegUnLoadKeyW.
LSTATUS AddToDefaultUserHive(std::uint32_t klid);

// Adds every installed layout for Chinese (PRC) whose IME file begins with "imsc" to the preload list of the default
// profile.
//   hive  open root of the loaded hive
void AddCompanionLayouts(HKEY hive);

// Takes a layout out of the preload lists of the logon desktop and the built-in system accounts.
void RemoveFromSystemAccountHives(std::uint32_t klid);
