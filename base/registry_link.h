#pragma once

#include "base/handles.h"

// Changing keys below a place that others may write to, such as a user's hive. A registry key can be a symbolic link to
// any other key; what follows one there would make or delete keys elsewhere, with the rights of whoever is running it.

// Opens a key as RegOpenKeyExW does, unless a link anywhere on the path, or the registry view, leads away from it.
//   root    an open or a predefined key; links that it was opened through do not matter
//   path    null or empty for the root itself
//   access  such as KEY_READ
//   key     receives the key; null on failure
// Returns a registry status, for a path with a link that of a name that leads nowhere: ERROR_CANT_RESOLVE_FILENAME.
// Behind it: RegOpenKeyExW, NtQueryKey.
LSTATUS OpenUnlinkedKey(HKEY root, const wchar_t* path, REGSAM access, t_keyHandle& key);

// Creates a key, or opens it when it exists and is no link, with all access.
//   parent  a key that was opened by the function above
//   name    one name, not null
// Returns as the function above. Behind it: RegCreateKeyExW, RegOpenKeyExW, NtQueryKey.
LSTATUS CreateUnlinkedKey(HKEY parent, const wchar_t* name, t_keyHandle& key);

// Deletes the key that is open, which must have no sub-keys, whatever its name leads to by now, and closes it.
// Returns a registry status. Behind it: RegDeleteKeyW.
LSTATUS DeleteOpenKey(t_keyHandle& key);
