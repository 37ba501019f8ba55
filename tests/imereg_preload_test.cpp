#include "imereg/preload.h"
#include "tests/fake_os_version.h"
#include "tests/preload_model.h"

TEST(Preload, RandomListsBecomeWhatTheModelMakesOfThem)
{
    ForRandomSeeds(150, [](t_random& random) {
        const t_scratchRegistry registry{{HKEY_CURRENT_USER}};
        const WORD major = random.Of<WORD>({0, 5, 6, 10});
        const t_fakeOsVersion os(major, 1);
        WriteRandomLists(random, HKEY_CURRENT_USER, L"");
        // The byte counts are those of the characters; what makes the system store a terminator follows in memory.
        REPLACE(set, RegSetValueExW,
                [&](HKEY key, LPCWSTR name, DWORD zero, DWORD type, const BYTE* data, DWORD bytes) {
                    EXPECT_EQ(type == REG_DWORD ? 4u : name[0] <= L'9' ? 16u : 76u, bytes) << name;
                    EXPECT_EQ(0, type == REG_DWORD ? 0 : reinterpret_cast<const wchar_t*>(data)[bytes / 2]) << name;
                    return set.Original(key, name, zero, type, data, bytes);
                });
        REPLACE(flush, RegFlushKey, [&](HKEY key) { return flush.Original(key); });
        for (int step = 0; step < 3; ++step) {
            t_storedKey hive = ReadTree(HKEY_CURRENT_USER);
            const std::wstring before = hive.Dump();
            const std::uint32_t klid = random.Of({0xE0200804u, 0xE0210804u, 0x00000804u, 0xE0990804u});
            set.calls = flush.calls = t_storedKey::writes = 0;
            if (random.OneIn(2)) {
                const bool known = n_model::AddToPreload(hive, klid, major >= 6);
                ASSERT_EQ(known ? ERROR_SUCCESS : ERROR_FILE_NOT_FOUND,
                          AddToPreload(klid, HKEY_CURRENT_USER, L"x", random.OneIn(2)));
                if (flush.calls != 2) {
                    ASSERT_EQ(0, flush.calls);
                    ASSERT_EQ(set.calls != 0 ? 3 : 0, set.calls) << "a new item in the order, or nothing";
                }
            } else {
                n_model::RemoveFromPreload(hive, klid);
                RemoveFromPreload(klid, HKEY_CURRENT_USER);
                ASSERT_EQ(0, flush.calls);
            }
            ASSERT_EQ(hive.Dump(), ReadTree(HKEY_CURRENT_USER).Dump()) << before;
            ASSERT_EQ(t_storedKey::writes, set.calls) << before;
        }
    });
}
