#include <gtest/gtest.h>

#include <optional>

#include "catalogue/hkl_collector.h"
#include "tests/catalogue_model.h"
#include "tests/random_runs.h"

namespace {

// GUIDs with one field each that is not 0.
std::vector<t_guid> RandomGuids(t_random& random)
{
    std::vector<t_guid> guids(1 + random.Below(5));
    for (t_guid& guid : guids) {
        const auto field = random.Below(11);
        const std::uint32_t value = random.Of({1u, 2u, 0x7Fu, 0x80u});
        field == 0   ? guid.data1 = value << random.Of({0, 24})
        : field == 1 ? guid.data2 = static_cast<std::uint16_t>(value << 8)
        : field == 2 ? guid.data3 = static_cast<std::uint16_t>(value << 8)
                     : guid.data4[field - 3] = static_cast<std::uint8_t>(value);
    }
    return guids;
}

// A record of so few values that many are equal.
t_hkl RandomRecord(t_random& random, const std::vector<t_guid>& guids)
{
    const std::uint32_t klid =
        random.OneIn(3) ? 0 : random.Of({0x7FFFFFFEu, 0xDFFFFFFFu, 0xEFFFFFFFu}) + random.Below(3);
    t_hkl record{random.Below(3), klid, random.Of<std::uint16_t>({0, 0x0804, 0x0804, 0x8804}), {}, {}};
    if (!random.OneIn(3)) {
        record.clsid = random.OneIn(8) ? t_guid{} : random.Of(guids);
        record.profileGuid = random.OneIn(8) ? t_guid{} : random.Of(guids);
    }
    return record;
}

} // namespace

// Merging may turn a layout into a profile and give it another language or identifier, so that equality, which is not
// transitive, changes while a list is built.
TEST(HklList, RandomRecordsGiveTheListOfTheModel)
{
    ForRandomSeeds(4000, [](t_random& random) {
        const std::vector<t_guid> guids = RandomGuids(random);
        std::optional<t_hklCollector> list(std::in_place, t_hklList());
        n_model::t_records expected;
        const bool mixed = random.OneIn(2);
        for (auto count = random.Below(random.OneIn(50) ? 300 : 20); count > 0; --count) {
            const t_hkl record = RandomRecord(random, guids);
            ASSERT_EQ(!n_model::IsProfile(record) && record.klid != 0 && record.klid >> 28 != 0xE,
                      IsPlainKeyboardLayout(record));
            ASSERT_EQ(n_model::Add(expected, record), list->AddHkl(record));
            ASSERT_EQ(expected.size(), list->List().size());
            for (const t_hkl& element : expected) {
                ASSERT_EQ(n_model::Compare(element, record), CompareHkl(element, record));
                ASSERT_EQ(n_model::Compare(record, element) < 0, LessHkl(record, element));
            }
            if (random.OneIn(10)) {
                list->DedupeHklList();
                n_model::Dedupe(expected);
            }
            if (mixed && random.OneIn(4)) { // as a list that was not built by adding
                expected.push_back(record);
                list.emplace(expected);
            }
        }
        list->DedupeHklList();
        n_model::Dedupe(expected);
        ASSERT_EQ(n_model::Text(expected), n_model::Text(list->List()));
    });
}
