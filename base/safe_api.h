#pragma once

#include "base/module_path.h"

// System entry points taken from the system library's own export table: a host program that replaced the imports of
// this module does not stand between.

// Looks the entry points up. The first call in the process does it, every other one, on any thread, does nothing.
void PrepareSafeApi();

// The entry point offered under a name; "GetModuleFileNameW" is the one there is. Null for any other name and until the
// preparation is done.
FARPROC FindSafeApi(const char* name);

// The routines through which a component uses the above.
struct t_safeApiTable
{
    void (*prepare)() = &PrepareSafeApi;
    FARPROC (*find)(const char* name) = &FindSafeApi;
    bool (*readModulePath)(t_moduleFileNameFunction function, HMODULE module, t_path& path) = &ReadModulePathWith;
};
