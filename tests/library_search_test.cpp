#include "base/library_search.h"
#include "tests/windows_test.h"

// What a search then finds is seen where libraries are planted for a whole run. Wine goes on looking into the current
// folder on older systems, so the calls are looked at.
TEST(LibrarySearch, LeavesTheSystemsFolderAndOnOlderSystemsTheProgramsOwn)
{
    std::wstring directory;
    static DWORD directories;
    const auto record = +[](DWORD asked) -> WINBOOL { return directories = asked, TRUE; };
    REPLACE(set, SetDllDirectoryW, [&](LPCWSTR path) -> WINBOOL { return directory = path, TRUE; });
    for (const bool older : {true, false}) {
        const t_lookupPatch lookUp{{{"SetDefaultDllDirectories", older ? nullptr : reinterpret_cast<void*>(record)}}};
        directory = L"none", directories = 0;
        RestrictLibrarySearch();
        EXPECT_EQ(L"", directory);
        EXPECT_EQ(older ? 0 : DWORD{LOAD_LIBRARY_SEARCH_SYSTEM32}, directories);
    }
}
