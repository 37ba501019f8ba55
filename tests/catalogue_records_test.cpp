#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <tuple>

#include "catalogue/ime_file_maps.h"

namespace {

t_hkl Record(std::uint16_t langId, std::uint32_t klid, t_guid clsid = {}, t_guid profileGuid = {})
{
    return {0, klid, langId, clsid, profileGuid};
}

const t_guid kNull;
const t_guid kA{0x00000001, 0xFFFF, 0xFFFF, {255, 255, 255, 255, 255, 255, 255, 255}};
const t_guid kB{0x80000000, 1, 1, {0, 0, 0, 0, 0, 0, 0, 1}};
const t_guid kBSecond{0x80000000, 2, 0, {}};
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
    const auto bits = static_cast<std::uint32_t>(random());
    return {bits % 3, (bits >> 2) % 5, static_cast<std::uint16_t>((bits >> 8) % 4 / 3), guids[(bits >> 16) % 4],
            guids[(bits >> 24) % 4]};
}

} // namespace

TEST(HklRecord, Predicates)
{
    EXPECT_TRUE(IsEmptyHkl({0xE0200804, 0, 0x0804, kNull, kNull}));
    EXPECT_FALSE(IsEmptyHkl(Record(0, 0, kNull, kA)));
    EXPECT_TRUE(IsPlainKeyboardLayout(Record(0, 0xDFFFFFFF, kA)));
    EXPECT_FALSE(IsPlainKeyboardLayout(Record(0, 0x0804, kA, kB)));
    EXPECT_FALSE(IsPlainKeyboardLayout(Record(0, 0xEFFFFFFF)));
}

TEST(HklRecord, ComparesByLanguageThenGuidsReversedOrIdentifier)
{
    const std::tuple<t_hkl, t_hkl, int> cases[] = {
        {Record(1, 9), Record(0x8000, 3), -1},
        {Record(1, 9, kB, kB), Record(2, 9, kA, kA), -1},
        {Record(4, 0x7FFFFFFF), Record(4, 0x80000000), -1},
        {Record(4, 9, kA, kA), Record(4, 1, kB, kA), 1},
        {Record(4, 9, kB, kA), Record(4, 1, kBSecond, kA), 1},
        {Record(4, 9, kA, kB), Record(4, 1, kA, kBLastByte), 1},
        {Record(4, 9, kA, kB), Record(4, 1, kA, kB), 0},
        {{5, 9, 4, kA, kB}, Record(4, 9), 0},
        {Record(4, 1, kA, kNull), Record(4, 9, kA, kB), -1},
    };
    for (const auto& [a, b, expected] : cases) {
        EXPECT_EQ(expected, CompareHkl(a, b));
        EXPECT_EQ(-expected, CompareHkl(b, a));
    }
}

// Against the definition, one comparison after the other.
TEST(HklList, DedupeMergesInOrder)
{
    std::mt19937 random(20);
    for (int round = 0; round < 3000; ++round) {
        t_hklList list(random() % 12);
        std::generate(list.begin(), list.end(), [&] { return RandomRecord(random); });
        t_hklList expected = list;
        for (std::size_t i = 0; i + 1 < expected.size(); ++i) {
            for (std::size_t j = i + 1; j < expected.size(); ++j) {
                if (CompareHkl(expected[i], expected[j]) == 0) {
                    MergeHkl(expected[i], expected[j]);
                    expected.erase(expected.begin() + static_cast<std::ptrdiff_t>(j--));
                }
            }
        }
        DedupeHklList(list);
        ASSERT_TRUE(std::equal(expected.begin(), expected.end(), list.begin(), list.end(), Same)) << round;
    }
}

TEST(ImeFileMaps, NamesIgnoreCaseAndMergeTheirRecords)
{
    t_imeFileMaps maps;
    maps.RegisterImeFile(L"TarvoPY.ime", {1, 0xE0200804, 0x0804, kA, kNull});
    maps.RegisterImeFile(L"TARVOpy.IME", {0, 0xE0210804, 0x0804, kB, kB});
    const t_hkl* const merged = maps.FindByName(L"tarvopy.ime");
    ASSERT_NE(nullptr, merged);
    EXPECT_TRUE(Same({1, 0xE0210804, 0x0804, kA, kB}, *merged));
    EXPECT_EQ(L"TarvoPY.ime", NameOf(maps, Record(0x0804, 0xE0200804)));
    maps.RegisterImeFile(L"other.ime", Record(0x0804, 0xE0210804));
    EXPECT_EQ(L"other.ime", NameOf(maps, Record(0x0804, 0, kB, kB))) << "an equal record takes the new name";
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
            const bool known =
                std::any_of(keys.begin(), keys.end(), [&](const t_hkl& key) { return EqualHkl(key, record); });
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
