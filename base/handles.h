#pragma once

#include <windows.h>

#include "base/unique_resource.h"

// Owners of the system resources that more than one file uses.
using t_handle = ImmUnique<HANDLE, &CloseHandle>;    // null means none; see MakeFileHandle for files
using t_keyHandle = ImmUnique<HKEY, &RegCloseKey>;   // an open registry key
using t_localMemory = ImmUnique<HLOCAL, &LocalFree>; // memory that a system call allocated with LocalAlloc
using t_library = ImmUnique<HMODULE, &FreeLibrary>;  // a loaded library

// Wraps the result of CreateFileW, whose failure is INVALID_HANDLE_VALUE and not null.
inline t_handle MakeFileHandle(HANDLE file)
{
    return t_handle(file == INVALID_HANDLE_VALUE ? nullptr : file);
}
