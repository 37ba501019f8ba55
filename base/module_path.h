#pragma once

#include <windows.h>

#include "base/path.h"

// Reads the full path of a loaded module.
//   module  null for the running program
//   path    receives the path; empty on failure
// Returns false when the path cannot be had or is longer than 259 characters. Behind it: GetModuleFileNameW.
bool ReadModulePath(HMODULE module, t_path& path);
