#pragma once

#include <windows.h>

#include "base/path.h"

// Reads the full path of a loaded module.
//   module  null for the running program
//   path    receives the path; empty on failure
// Returns false when the path cannot be had or is longer than 259 characters. Behind it: GetModuleFileNameW.
bool ReadModulePath(HMODULE module, t_path& path);

// The same through another entry point of that function; not null.
using t_moduleFileNameFunction = decltype(&GetModuleFileNameW);
bool ReadModulePathWith(t_moduleFileNameFunction function, HMODULE module, t_path& path);

// The module that holds this library: the program, or the one of its libraries that links it. Behind it:
// GetModuleHandleExW.
HMODULE BaseLibraryModule();
