#include <gtest/gtest.h>

#include <tuple>

#include "catalogue/ime_file_maps.h"

namespace {

const t_guid kA{0x00000001, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}};
const t_guid kB{0x80000000, 1, 1, {0, 0, 0, 0, 0, 0, 0, 1}};
const t_guid kBLastByte{0x80000000, 1, 1, {0, 0, 0, 0, 0, 0, 0, 0x80}};

bool Same(const t_hkl& a, const t_hkl& b)
{
    return std::tie(a.hkl, a.klid, a.langId, a.clsid, a.profileGuid) ==
           std::tie(b.hkl, b.klid, b.langId, b.clsid, b.profileGuid);
}

} // namespace

TEST(HklRecord, ComparesByLanguageThenGuidsReversedOrIdentifier)
{
    const std::tuple<t_hkl, t_hkl, int> cases[] = {
        {{0, 9, 1, kB, kB}, {0, 9, 0x8000, kA, kA}, -1}, {{0, 0x7FFFFFFF, 4, {}, {}}, {0, 0x80000000, 4, {}, {}}, -1},
        {{0, 9, 4, kA, kA}, {0, 1, 4, kB, kA}, 1},       {{0, 9, 4, kA, kB}, {0, 1, 4, kA, kBLastByte}, 1},
        {{0, 9, 4, kA, kB}, {0, 1, 4, kA, kB}, 0},       {{5, 9, 4, kA, kB}, {0, 9, 4, {}, {}}, 0},
        {{0, 1, 4, kA, {}}, {0, 9, 4, kA, kB}, -1}};
    for (const auto& [a, b, expected] : cases) {
        EXPECT_EQ(expected, CompareHkl(a, b));
        EXPECT_EQ(-expected, CompareHkl(b, a));
    }
    EXPECT_TRUE(IsPlainKeyboardLayout({0, 0xDFFFFFFF, 0, kA, {}}));
    EXPECT_FALSE(IsPlainKeyboardLayout({0, 0x0804, 0, kA, kB}));
}

// By the first merge the first one becomes a profile and equals the last; by the second it takes its identifier, which
// comes too late for the one between.
TEST(HklList, DedupeMergesInOrder)
{
    t_hklList list = {{0, 5, 4, {}, {}}, {0, 7, 4, {}, {}}, {1, 5, 4, kA, kB}, {2, 7, 4, kA, kB}};
    DedupeHklList(list);
    ASSERT_EQ(2u, list.size());
    EXPECT_TRUE(Same({2, 7, 4, kA, kB}, list[0]));
    EXPECT_TRUE(Same({0, 7, 4, {}, {}}, list[1]));
}

TEST(ImeFileMaps, NamesIgnoreCaseAndMergeTheirRecords)
{
    t_imeFileMaps maps;
    maps.RegisterImeFile(L"TarvoPY.ime", {1, 0xE0200804, 0x0804, kA, {}});
    maps.RegisterImeFile(L"TARVOpy.IME", {0, 0xE0210804, 0x0804, kB, kB});
    const t_hkl* const merged = maps.FindByName(L"tarvopy.ime");
    ASSERT_NE(nullptr, merged);
    EXPECT_TRUE(Same({1, 0xE0210804, 0x0804, kA, kB}, *merged));
    EXPECT_EQ(nullptr, maps.FindByName(L"TarvoPY.im"));
}

// Profiles and plain layouts of one language are not ordered transitively; an equal record must be found all the same.
TEST(ImeFileMaps, FindAnEqualRecordInAnyMixture)
{
    t_imeFileMaps maps;
    maps.RegisterImeFile(L"first.ime", {0, 9, 4, kB, kB});
    maps.RegisterImeFile(L"second.ime", {0, 1, 4, kA, kA});
    const std::wstring_view* const name = maps.FindByRecord({0, 1, 4, {}, {}});
    ASSERT_NE(nullptr, name);
    EXPECT_EQ(L"second.ime", *name);
    maps.RegisterImeFile(L"third.ime", {0, 1, 4, {}, {}});
    EXPECT_EQ(L"third.ime", *name) << "an equal record takes the new name";
    EXPECT_EQ(nullptr, maps.FindByRecord({0, 1, 5, {}, {}}));
}
