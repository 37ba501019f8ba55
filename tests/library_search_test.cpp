#include <gtest/gtest.h>

#include "base/library_search.h"
#include "base/module_path.h"
#include "base/system_directory.h"
#include "tests/child_process.h"
#include "tests/import_patch.h"
#include "tests/scratch_directory.h"

namespace {

constexpr wchar_t kBeside[] = L"tarvo_beside.dll", kCurrent[] = L"tarvo_current.dll";

// Which of the two files the search for its bare name finds. Neither is a library, so none is loaded.
std::string Found()
{
    std::string found;
    for (const wchar_t* const name : {kBeside, kCurrent}) {
        SetLastError(ERROR_SUCCESS);
        EXPECT_EQ(nullptr, LoadLibraryW(name));
        found += GetLastError() == ERROR_MOD_NOT_FOUND ? "" : name == kBeside ? "beside " : "current ";
    }
    return found;
}

} // namespace

// The search is that of a whole process, so this runs in one of its own.
TEST(LibrarySearch, DISABLED_LeavesTheSystemsFolder)
{
    SetErrorMode(SEM_FAILCRITICALERRORS); // no message of the loader's about a file that is no library
    EXPECT_EQ("beside current ", Found());
    RestrictLibrarySearch();
    const bool canRestrict = GetProcAddress(GetModuleHandleW(L"kernel32.dll"), "SetDefaultDllDirectories") != nullptr;
    EXPECT_EQ(canRestrict ? "" : "beside ", Found());
    EXPECT_TRUE(t_library(LoadLibraryW(L"wtsapi32.dll")));
    EXPECT_TRUE(LoadSystemLibrary(L"wintrust.dll"));
}

TEST(LibrarySearch, SkipsTheFoldersThatOthersWriteTo)
{
    const t_scratchDirectory current;
    current.Write(kCurrent, "no library");
    t_path beside;
    ASSERT_TRUE(ReadModulePath(nullptr, beside));
    beside.CutLastComponent();
    beside.Join(kBeside);
    std::ofstream(beside.c_str()) << "no library";
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(current.Path());
    EXPECT_TRUE(t_childProcess("LibrarySearch.DISABLED_LeavesTheSystemsFolder").Passed());
    std::filesystem::current_path(before);
    std::filesystem::remove(beside.c_str());
}

// Wine goes on looking into the current folder then, so the call is looked at, not what it does.
TEST(LibrarySearch, TakesTheCurrentFolderOutOnOlderSystems)
{
    std::wstring directory = L"none";
    REPLACE(set, SetDllDirectoryW, [&](LPCWSTR path) -> WINBOOL {
        directory = path;
        return TRUE;
    });
    REPLACE(older, GetProcAddress, [](HMODULE, LPCSTR) { return nullptr; });
    RestrictLibrarySearch();
    EXPECT_EQ(L"", directory);
}
