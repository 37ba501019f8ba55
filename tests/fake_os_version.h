#pragma once

#include <windows.h>

#include "tests/import_patch.h"

// Makes every file version that this program reads that of one Windows generation, for the life of a scope.
// A major version of 0 makes reading fail.
struct t_fakeOsVersion
{
    t_fakeOsVersion(WORD major, WORD minor) { Set(major, minor); }

    void Set(WORD major, WORD minor) { version = static_cast<DWORD>(MAKELONG(minor, major)); }

    DWORD version = 0;
    REPLACE(query, VerQueryValueW, [this](LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT size) -> WINBOOL {
        if (HIWORD(version) == 0 || !query.Original(block, subBlock, value, size)) {
            return FALSE;
        }
        static_cast<VS_FIXEDFILEINFO*>(*value)->dwFileVersionMS = version;
        return TRUE;
    });
};
