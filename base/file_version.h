#pragma once

#include <windows.h>

// Reads the fixed part of a file's version resource.
//   path  full path; not null
//   info  receives the copy; unchanged on failure
// Returns false when the file has no version resource or cannot be read. Behind it: GetFileVersionInfoSizeW,
// GetFileVersionInfoW, VerQueryValueW.
[[nodiscard]] bool ReadFileVersion(const wchar_t* path, VS_FIXEDFILEINFO& info);
