#pragma once

#include <windows.h>

#include <string_view>

namespace n_report {

// Write text in UTF-8 with line ends LF as Windows programs write text: with line ends CR LF. Set the last error on
// failure.

// Writes to a standard stream: to a console as characters, whatever its code page is, else as UTF-8.
//   stream  STD_OUTPUT_HANDLE or STD_ERROR_HANDLE
// Behind it: WriteConsoleW, WriteFile.
bool WriteToStandard(DWORD stream, std::string_view text);

// Writes to a file, which is replaced when it exists.
//   path  not null
bool WriteToFile(const wchar_t* path, std::string_view text);

} // namespace n_report
