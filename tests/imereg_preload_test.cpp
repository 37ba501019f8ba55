#include <gtest/gtest.h>

#include "imereg/preload.h"
#include "tests/fake_os_version.h"
#include "tests/preload_text.h"

namespace {

using t_preloadCases = std::initializer_list<std::tuple<const wchar_t*, std::uint32_t, const wchar_t*>>;

// Each list as it is before and after a change.
void CheckChanges(t_preloadCases cases, void (*change)(std::uint32_t))
{
    for (const auto& [before, klid, after] : cases) {
        const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
        WriteList(HKEY_CURRENT_USER, L"", before);
        change(klid);
        EXPECT_EQ(after, ReadList(HKEY_CURRENT_USER, L"")) << before;
    }
}

} // namespace

TEST(Preload, AddingRewritesByCount)
{
    const t_preloadCases cases = {
        {L"1=00000804 2=e0200804", 0xE0200804, L"1=00000804- 2=e0200804- "}, // listed, in other case
        {L"", 0xE0210804, L"1=E0210804- "},
    };
    CheckChanges(cases, [](std::uint32_t klid) { AddToPreload(klid, HKEY_CURRENT_USER, L"x", true); });
}

TEST(Preload, RemovingRenumbersTheRest)
{
    const t_preloadCases cases = {
        {L"1=00000804 9=0000040A", 0xE0200804, L"1=00000804- 9=0000040A- "}, // not listed
        // Only the first of two, in the order of positions.
        {L"10=E0200804 9=E0200804 2=00000804", 0xE0200804, L"1=00000804- 2=e0200804- "},
    };
    CheckChanges(cases, [](std::uint32_t klid) { RemoveFromPreload(klid, HKEY_CURRENT_USER); });
}

// The byte counts are those of the characters; what makes the system store a terminator follows them in memory.
TEST(Preload, TextsArePassedTerminatedAndCountedWithoutIt)
{
    const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
    const t_fakeOsVersion os(6, 1);
    WriteList(HKEY_CURRENT_USER, L"", L"1=00000804 3=00000409");
    MakeKey(HKEY_CURRENT_USER, kSortList);
    std::wstring passed;
    REPLACE(set, RegSetValueExW, [&](HKEY key, LPCWSTR name, DWORD zero, DWORD type, const BYTE* data, DWORD bytes) {
        if (type == REG_SZ) {
            passed += FormatStr(L"%s %u %d; ", name, bytes, reinterpret_cast<const wchar_t*>(data)[bytes / 2]);
        }
        return set.Original(key, name, zero, type, data, bytes);
    });
    AddToPreload(0xE0210804, HKEY_CURRENT_USER, L"x", true);
    EXPECT_EQ(L"CLSID 76 0; Profile 76 0; 1 16 0; 2 16 0; 3 16 0; ", std::exchange(passed, L""));
    RemoveFromPreload(0x00000804, HKEY_CURRENT_USER);
    EXPECT_EQ(L"1 16 0; ", passed);
}

// Values without a terminator and of odd length are read within their bounds.
TEST(Preload, UnterminatedDataIsRead)
{
    const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
    WriteRaw(HKEY_CURRENT_USER, kPreload, L"1", REG_SZ, L"E0200804", 16);
    WriteRaw(HKEY_CURRENT_USER, kPreload, L"2", REG_BINARY, L"00000804", 15);
    WriteRaw(HKEY_CURRENT_USER, kPreload, L"3", REG_SZ, std::wstring(33, L'1').c_str(), 64);
    t_preloadMap map;
    EXPECT_TRUE(ReadPreloadMap(HKEY_CURRENT_USER, map));
    EXPECT_EQ((t_preloadMap{{1, 0xE0200804}, {2, 0x00000804}, {3, 0xFFFFFFFF}}), map);
}

TEST(Preload, MissingKeysAreReportedAndNothingIsMade)
{
    const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, AddToPreload(0xE0200804, HKEY_CURRENT_USER, L"x", true));
    RemoveFromPreload(0xE0200804, HKEY_CURRENT_USER);
    MakeKey(HKEY_CURRENT_USER, L"Keyboard Layout");
    EXPECT_EQ(ERROR_FILE_NOT_FOUND, AddToPreload(0xE0200804, HKEY_CURRENT_USER, L"x", true));
    EXPECT_EQ(L"[]\n[Keyboard Layout]\n", DumpKey(HKEY_CURRENT_USER, L""));
}

TEST(SortOrder, NewItemFollowsTheLast)
{
    for (const WORD major : {WORD{0}, WORD{5}, WORD{6}, WORD{10}}) {
        const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
        const t_fakeOsVersion os(major, 1);
        for (DWORD i = 0; i < 3; ++i) {
            const DWORD klid = 0x0804 + i;
            // The first one's name is no place in the list.
            WriteRaw(HKEY_CURRENT_USER, FormatStr(L"%s\\%s%07x", kSortList, i == 0 ? L"" : L"0", i), L"KeyboardLayout",
                     REG_DWORD, &klid, 4);
        }
        const std::wstring before = DumpKey(HKEY_CURRENT_USER, kSortList);
        AddToPreload(0x0806, HKEY_CURRENT_USER, L"x", false);
        EXPECT_EQ(before, DumpKey(HKEY_CURRENT_USER, kSortList)) << "present already";

        AddToPreload(0xE0200804, HKEY_CURRENT_USER, L"x", false);
        const std::wstring added = L"[00000003]\nCLSID=1:{00000000-0000-0000-0000-000000000000}\\0\n"
                                   L"KeyboardLayout=4:040820e0\n"
                                   L"Profile=1:{00000000-0000-0000-0000-000000000000}\\0\n";
        EXPECT_EQ(major < 6 ? before : before + added, DumpKey(HKEY_CURRENT_USER, kSortList)) << major;
    }
}
