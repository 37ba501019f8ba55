#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "catalogue/ime_file_maps.h"

namespace {

const t_guid kNull;
const t_guid kA{0x00000001, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}};
const t_guid kB{0x80000000, 1, 1, {0, 0, 0, 0, 0, 0, 0, 1}};
const t_guid kBLastByte{0x80000000, 1, 1, {0, 0, 0, 0, 0, 0, 0, 0x80}};

bool Same(const t_hkl& a, const t_hkl& b)
{
    return std::tie(a.hkl, a.klid, a.langId, a.clsid, a.profileGuid) ==
           std::tie(b.hkl, b.klid, b.langId, b.clsid, b.profileGuid);
}

std::wstring NameOf(const t_imeFileMaps& maps, const t_hkl& record)
{
    const std::wstring_view* const name = maps.FindByRecord(record);
    return name == nullptr ? L"none" : std::wstring(*name);
}

// Few languages, identifiers and GUIDs, so that records meet in every way.
t_hkl RandomRecord(std::mt19937& random)
{
    const t_guid guids[] = {kNull, kA, kB, kBLastByte};
    return {random() % 3, static_cast<std::uint32_t>(random() % 5), static_cast<std::uint16_t>(random() % 4 / 3),
            guids[random() % 4], guids[random() % 4]};
}

} // namespace

TEST(HklRecord, ComparesByLanguageThenGuidsReversedOrIdentifier)
{
    const std::tuple<t_hkl, t_hkl, int> cases[] = {
        {{0, 9, 1, kB, kB}, {0, 9, 0x8000, kA, kA}, -1}, {{0, 0x7FFFFFFF, 4, {}, {}}, {0, 0x80000000, 4, {}, {}}, -1},
        {{0, 9, 4, kA, kA}, {0, 1, 4, kB, kA}, 1},       {{0, 9, 4, kA, kB}, {0, 1, 4, kA, kBLastByte}, 1},
        {{0, 9, 4, kA, kB}, {0, 1, 4, kA, kB}, 0},       {{5, 9, 4, kA, kB}, {0, 9, 4, {}, {}}, 0},
        {{0, 1, 4, kA, kNull}, {0, 9, 4, kA, kB}, -1}};
    for (const auto& [a, b, expected] : cases) {
        EXPECT_EQ(expected, CompareHkl(a, b));
        EXPECT_EQ(-expected, CompareHkl(b, a));
    }
}

// By the first merge the first one becomes a profile and equals the last, by the second it takes its identifier, which
// comes too late for the one between.
TEST(HklList, DedupeMergesInOrder)
{
    t_hklList list = {{0, 5, 4, {}, {}}, {0, 7, 4, {}, {}}, {1, 5, 4, kA, kB}, {2, 7, 4, kA, kB}};
    DedupeHklList(list);
    ASSERT_EQ(2u, list.size());
    EXPECT_TRUE(Same({2, 7, 4, kA, kB}, list[0]) && Same({0, 7, 4, {}, {}}, list[1]));
}

TEST(ImeFileMaps, NamesIgnoreCaseAndMergeTheirRecords)
{
    t_imeFileMaps maps;
    maps.RegisterImeFile(L"TarvoPY.ime", {1, 0xE0200804, 0x0804, kA, kNull});
    maps.RegisterImeFile(L"TARVOpy.IME", {0, 0xE0210804, 0x0804, kB, kB});
    const t_hkl* const merged = maps.FindByName(L"tarvopy.ime");
    ASSERT_NE(nullptr, merged);
    EXPECT_TRUE(Same({1, 0xE0210804, 0x0804, kA, kB}, *merged));
    EXPECT_EQ(L"TarvoPY.ime", NameOf(maps, {0, 0xE0200804, 0x0804, {}, {}}));
    maps.RegisterImeFile(L"other.ime", {0, 0xE0210804, 0x0804, {}, {}});
    EXPECT_EQ(L"other.ime", NameOf(maps, {0, 0, 0x0804, kB, kB})) << "an equal record takes the new name";
    EXPECT_EQ(nullptr, maps.FindByName(L"other.im"));
}

// Profiles and plain layouts of one language are not ordered transitively; an equal record must be found all the same.
TEST(ImeFileMaps, FindEveryNameAndAnEqualRecordInAnyMixture)
{
    const std::wstring longName(1200, L'X'), folded(1200, L'x'); // more than a block of them
    std::mt19937 random(20);
    for (int round = 0; round < 50; ++round) {
        t_imeFileMaps maps;
        t_hklList keys;
        for (int i = 0; i < 60; ++i) {
            const t_hkl record = RandomRecord(random);
            const bool known = std::any_of(keys.begin(), keys.end(), [&](auto& key) { return EqualHkl(key, record); });
            ASSERT_EQ(known, maps.FindByRecord(record) != nullptr) << round;
            maps.RegisterImeFile(longName + std::to_wstring(i), record);
            if (!known) {
                keys.push_back(record);
                ASSERT_EQ(longName + std::to_wstring(i), NameOf(maps, record)) << round;
            }
        }
        for (int i = 0; i < 60; ++i) {
            ASSERT_NE(nullptr, maps.FindByName(folded + std::to_wstring(i))) << i;
        }
    }
}
