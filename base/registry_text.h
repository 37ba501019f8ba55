#pragma once

#include <windows.h>

#include <string>
#include <string_view>

// Two ways to store a text as REG_SZ. Both tell RegSetValueExW the bytes of the text's characters. The system stores
// one unit more when that unit is a terminator and the text's last is not, so what follows in memory decides.
//   valueName  null or empty for the key's unnamed value
// Both return the registry status.

// Stores the text as its readers know such values, with its terminator.
//   text  may end in units that are 0, which are characters of it; then no terminator is added
LSTATUS WriteTerminatedText(HKEY key, const wchar_t* valueName, const std::wstring& text);

// Stores exactly the text's characters, from a buffer where something else than a terminator follows.
LSTATUS WriteUnterminatedText(HKEY key, const wchar_t* valueName, std::wstring_view text);
