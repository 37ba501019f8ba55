#pragma once

#include <windows.h>

#include <string_view>

// Stores a text as REG_SZ with exactly its characters, without a terminator. RegSetValueExW would store one unit more
// than it is told when that unit is a terminator, so the text is handed over from a buffer where something else
// follows.
//   valueName  null or empty for the key's unnamed value
// Returns the registry status.
LSTATUS WriteUnterminatedText(HKEY key, const wchar_t* valueName, std::wstring_view text);
