#pragma once

#include <windows.h>

#include <cstdint>

#include "imereg/preload_list.h"

// The layouts that a user's session loads at logon: the values of "Keyboard Layout\Preload" in the user's hive.
// A hive root is an open key that stands for one user's hive.

// Appends a layout to the list, unless it is listed, and to the sort order of the text-services framework.
//   label         names the hive in trace lines, such as "HKEY_CURRENT_USER"; not null
//   traceEnabled  whether failures are traced
// Returns the status of the call that ended it early, or of the last one; 0 when the layout is listed already and when
// the table of a hundred slots is full. A list whose rewriting fails half-way stays so.
// Behind it: RegEnumValueW, RegDeleteKeyW, RegCreateKeyExW, RegSetValueExW, RegFlushKey.
LSTATUS AddToPreload(std::uint32_t klid, HKEY hive, const wchar_t* label, bool traceEnabled);

// Takes a layout out of the list and renumbers the rest. A layout that is not listed leaves the key untouched.
void RemoveFromPreload(std::uint32_t klid, HKEY hive);

// Reads the list into a map. Returns false when the key cannot be opened for writing.
bool ReadPreloadMap(HKEY hive, t_preloadMap& map);

// Replaces the list with the map's entries, numbered from 1. Writes nothing when the old list cannot be deleted.
void WritePreloadMap(HKEY hive, const t_preloadMap& map);
