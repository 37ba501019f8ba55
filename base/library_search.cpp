#include "base/library_search.h"

#include "base/system_function.h"

void RestrictLibrarySearch()
{
    SetDllDirectoryW(L"");
    const auto setDefaultDirectories =
        FindSystemFunction<decltype(&SetDefaultDllDirectories)>(L"kernel32.dll", "SetDefaultDllDirectories");
    if (setDefaultDirectories != nullptr) {
        setDefaultDirectories(LOAD_LIBRARY_SEARCH_SYSTEM32);
    }
}
