// The compiler's static run-time library imports a function that XP x64 lacks, for waiting with a time limit, which
// this program never does. The loader would refuse the whole program; a pointer of our own in the import's place keeps
// it out of the import table.

#include <windows.h>

namespace {

ULONGLONG WINAPI TickCount()
{
    return GetTickCount();
}

} // namespace

// The linker's name of the import.
// NOLINTNEXTLINE(bugprone-reserved-identifier)
extern "C" ULONGLONG(WINAPI* const __imp_GetTickCount64)() = &TickCount;
