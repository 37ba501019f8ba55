#include <gtest/gtest.h>

#include <vector>

#include "imereg/preload.h"
#include "tests/fake_os_version.h"
#include "tests/scratch_registry.h"

namespace {

constexpr wchar_t kPreload[] = L"Keyboard Layout\\Preload";
constexpr wchar_t kSortList[] = L"SoftWare\\Microsoft\\CTF\\SortOrder\\AssemblyItem\\0x00000804\\{34745C63}";

using t_values = std::vector<std::pair<std::wstring, std::wstring>>;

struct t_preloadCase
{
    const char* what;
    t_values before;
    std::uint32_t klid;
    std::wstring after; // the key's dump; empty when it must be as before
};

class t_preloadTest : public testing::TestWithParam<t_preloadCase>
{
protected:
    t_scratchRegistry registry{{HKEY_CURRENT_USER}};

    void CheckChange(void (*change)(std::uint32_t))
    {
        MakeKey(HKEY_CURRENT_USER, kPreload);
        for (const auto& [name, data] : GetParam().before) {
            WriteText(HKEY_CURRENT_USER, kPreload, name.c_str(), data);
        }
        const std::wstring before = DumpKey(HKEY_CURRENT_USER, kPreload);
        change(GetParam().klid);
        const std::wstring& expected = GetParam().after.empty() ? before : GetParam().after;
        EXPECT_EQ(expected, DumpKey(HKEY_CURRENT_USER, kPreload)) << GetParam().what;
    }
};

class t_addToPreload : public t_preloadTest
{
};
class t_removeFromPreload : public t_preloadTest
{
};

t_values NumberedValues(int count)
{
    t_values values;
    for (int i = 1; i <= count; ++i) {
        values.emplace_back(FormatStr(L"%d", i), FormatStr(L"%08X", 0x04000000 + i));
    }
    return values;
}

std::wstring NumberedDump(int count)
{
    std::vector<std::wstring> names;
    t_str dump = L"[]\n";
    std::map<std::wstring, t_str> sorted;
    for (int i = 1; i <= count; ++i) {
        sorted[FormatStr(L"%d", i)] = FormatStr(L"%08X", 0x04000000 + i);
    }
    for (const auto& [name, data] : sorted) {
        dump << name << L"=1:" << data << L"\n";
    }
    return dump;
}

} // namespace

TEST_P(t_addToPreload, RewritesByCount)
{
    CheckChange([](std::uint32_t klid) { AddToPreload(klid, HKEY_CURRENT_USER, L"HKEY_CURRENT_USER", true); });
}

INSTANTIATE_TEST_SUITE_P(
    Preload, t_addToPreload,
    testing::Values(
        t_preloadCase{"listed in other case", {{L"1", L"00000804"}, {L"2", L"e0200804"}}, 0xE0200804, L""},
        t_preloadCase{"appended",
                      {{L"1", L"00000804"}, {L"2", L"e0200804"}},
                      0xE0210804,
                      L"[]\n1=1:00000804\n2=1:e0200804\n3=1:E0210804\n"},
        t_preloadCase{"empty list", {}, 0xE0210804, L"[]\n1=1:E0210804\n"},
        t_preloadCase{"a gap drops what stands beyond the count",
                      {{L"1", L"00000804"}, {L"3", L"00000409"}},
                      0xE0210804,
                      L"[]\n1=1:00000804\n2=1:\\0\\0\\0\\0\\0\\0\\0\\0\n3=1:E0210804\n"},
        t_preloadCase{"names that are no position are lost",
                      {{L"0", L"00000409"}, {L"1", L"00000804"}, {L"100", L"00000411"}, {L"abc", L"00000412"}},
                      0xE0210804,
                      L"[]\n1=1:00000804\n2=1:E0210804\n"},
        t_preloadCase{"a value that is too long ends the list",
                      {{L"1", L"000000000000000000804"}},
                      0xE0210804,
                      L"[]\n1=1:E0210804\n"},
        t_preloadCase{"a list of 98 has room for one more", NumberedValues(98), 0x04000063, NumberedDump(99)}));

TEST_P(t_removeFromPreload, RenumbersTheRest)
{
    CheckChange([](std::uint32_t klid) { RemoveFromPreload(klid, HKEY_CURRENT_USER); });
}

INSTANTIATE_TEST_SUITE_P(
    Preload, t_removeFromPreload,
    testing::Values(t_preloadCase{"first of three",
                                  {{L"1", L"E0200804"}, {L"2", L"0000040A"}, {L"3", L"E0210804"}},
                                  0xE0200804,
                                  L"[]\n1=1:0000040a\n2=1:e0210804\n"},
                    t_preloadCase{"not listed", {{L"1", L"00000804"}, {L"9", L"0000040A"}}, 0xE0200804, L""},
                    t_preloadCase{"only the first of two, in order of positions",
                                  {{L"10", L"E0200804"}, {L"9", L"E0200804"}, {L"2", L"00000804"}},
                                  0xE0200804,
                                  L"[]\n1=1:00000804\n2=1:e0200804\n"},
                    t_preloadCase{"data that is no KLID is dropped",
                                  {{L"1", L"E0200804"}, {L"2", L"no"}, {L"3", L"00000804"}},
                                  0xE0200804,
                                  L"[]\n1=1:00000804\n"},
                    t_preloadCase{"the last one leaves an empty key", {{L"1", L"E0200804"}}, 0xE0200804, L"[]\n"}));

// Two hundred values and names that count twice: the table of a hundred slots is neither outgrown nor overrun.
TEST(Preload, OversizedListsAreHarmless)
{
    const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
    for (int i = 1; i <= 99; ++i) {
        WriteText(HKEY_CURRENT_USER, kPreload, FormatStr(L"%d", i).c_str(), L"00000409");
        WriteText(HKEY_CURRENT_USER, kPreload, FormatStr(L"0%d", i).c_str(), L"00000411");
    }
    const std::wstring before = DumpKey(HKEY_CURRENT_USER, kPreload);
    EXPECT_EQ(ERROR_SUCCESS, AddToPreload(0xE0200804, HKEY_CURRENT_USER, L"x", true));
    EXPECT_EQ(before, DumpKey(HKEY_CURRENT_USER, kPreload));
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
            WriteRaw(HKEY_CURRENT_USER, FormatStr(L"%s\\%08x", kSortList, i), L"KeyboardLayout", REG_DWORD, &klid, 4);
        }
        const std::wstring before = DumpKey(HKEY_CURRENT_USER, kSortList);
        AddToPreload(0x0806, HKEY_CURRENT_USER, L"x", false);
        EXPECT_EQ(before, DumpKey(HKEY_CURRENT_USER, kSortList)) << "present already";

        AddToPreload(0xE0200804, HKEY_CURRENT_USER, L"x", false);
        const std::wstring added = L"[00000003]\nCLSID=1:{00000000-0000-0000-0000-000000000000}\n"
                                   L"KeyboardLayout=4:040820e0\n"
                                   L"Profile=1:{00000000-0000-0000-0000-000000000000}\n";
        EXPECT_EQ(major < 6 ? before : before + added, DumpKey(HKEY_CURRENT_USER, kSortList)) << major;
    }
}
