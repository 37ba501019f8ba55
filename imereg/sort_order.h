#pragma once

#include <windows.h>

#include <cstdint>

// Appends a layout to the order in which the text-services framework lists the input items for Chinese (PRC) of one
// user, unless it is listed. Does nothing before Windows Vista, where that list does not exist, and when the list's
// keys cannot be opened.
//   hive  open root of the user's hive
// Behind it: RegEnumKeyW, RegQueryInfoKeyW, RegCreateKeyExW, RegSetValueExW.
void AddToSortOrder(std::uint32_t klid, HKEY hive);
