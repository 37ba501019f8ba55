#pragma once

#include <windows.h>

#include "tests/import_patch.h"

// Makes every file version that this program reads that of one Windows generation, for the life of a scope.
// A major version of 0 makes reading fail.
class t_fakeOsVersion
{
public:
    t_fakeOsVersion(WORD newMajor, WORD newMinor) : major(newMajor), minor(newMinor) {}

    void Set(WORD newMajor, WORD newMinor)
    {
        major = newMajor;
        minor = newMinor;
    }

private:
    WORD major, minor;
    ImmImportPatch<decltype(&VerQueryValueW)> patch{
        "VerQueryValueW", [this](LPCVOID block, LPCWSTR subBlock, LPVOID* value, PUINT size) -> WINBOOL {
            if (major == 0 || !patch.Original(block, subBlock, value, size)) {
                return FALSE;
            }
            static_cast<VS_FIXEDFILEINFO*>(*value)->dwFileVersionMS = static_cast<DWORD>(MAKELONG(minor, major));
            return TRUE;
        }};
};
