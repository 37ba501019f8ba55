#pragma once

#include <string_view>

#include "base/handles.h"
#include "base/path.h"

// Reads the system's directory.
//   path  receives it, at most 259 characters; empty when it cannot be had or is longer
// Returns its length in characters, or that of the buffer it would need when it is longer; 0 on failure, with the last
// error set. Behind it: GetSystemDirectoryW.
UINT ReadSystemDirectory(t_path& path);

// Loads a library of the system by its full path, and with the system's directory as the first place where its own
// libraries are looked for: the program's folder could hold one of the same name.
//   name  file name
// Null when it cannot be loaded. Behind it: LoadLibraryExW.
t_library LoadSystemLibrary(std::wstring_view name);
