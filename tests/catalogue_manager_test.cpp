#include <gtest/gtest.h>

#include "catalogue/hkl_manager.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/layout_id.h"
#include "catalogue/text_service_profiles.h"
#include "tests/chain_entries.h"
#include "tests/import_patch.h"
#include "tests/random_layouts.h"

namespace {

// What the catalogue only reads must not want rights to write, nor come into being; all but the second look for a
// server is done in the 32-bit view, and what is gathered is gathered under the list's lock.
struct t_readingGuard
{
    REPLACE(enter, EnterCriticalSection, [this](auto* section) { enter.Original(section); });
    REPLACE(leave, LeaveCriticalSection, [this](auto* section) { leave.Original(section); });
    REPLACE(create, RegCreateKeyExW, [this](auto... all) { return create.Original(all...); });
    REPLACE(open, RegOpenKeyExW, [this](HKEY root, LPCWSTR key, DWORD options, REGSAM access, PHKEY result) {
        const bool isClass = root == HKEY_CLASSES_ROOT, view32 = (access & KEY_WOW64_32KEY) != 0;
        EXPECT_EQ(REGSAM{KEY_READ}, access & ~REGSAM{KEY_WOW64_32KEY});
        EXPECT_GE(view32, !isClass) << key;
        EXPECT_GE(enter.calls - leave.calls, key == n_model::kTip ? 1 : 0);
        // Wine takes the 32-bit view of the classes from the machine's own registry whatever stands in its place.
        return isClass && view32 ? open.Original(root, (std::wstring(L"32\\") + key).c_str(), options, KEY_READ, result)
                                 : open.Original(root, key, options, access, result);
    });
};

// What a catalogue, or its model, answers.
template <class Catalogue>
std::wstring Answer(Catalogue& catalogue, const std::string& question, const std::wstring& file, t_hkl record,
                    std::pair<std::uint32_t, std::uint32_t> maskAndValue)
{
    t_errorChain errors;
    errors.Fail(L"before");
    t_hklList list = {record};
    t_str text;
    bool done = true;
    if (question == "list") {
        done = catalogue.GetLayoutList(errors, list);
    } else if (question == "find") {
        done = catalogue.GetHKLByName(errors, list[0], file, maskAndValue.first, maskAndValue.second);
    } else if (question == "file name") {
        done = catalogue.GetImeFileName(errors, text, record);
    } else if (question == "register") {
        catalogue.RegisterImeFile(file, record);
    } else if (question == "create key") { // the list stays what it was
        done = catalogue.CreateImeLayoutKey(errors, list[0].klid, (L"C:\\a.b\\" + file).c_str(), L"中文");
    } else {
        done = catalogue.UnhideLayout(errors, record);
    }
    return text << (done ? L": done" : L": failed") << L"\n" << Entries(errors) << n_model::Text(list);
}

} // namespace

TEST(Catalogue, RandomRegistryGivesWhatTheModelGives)
{
    ForRandomSeeds(80, [](t_random& random) {
        const t_scratchRegistry scratch;
        t_randomLayouts layouts(random);
        t_storedKey machine = ReadTree(HKEY_LOCAL_MACHINE), user = ReadTree(HKEY_CURRENT_USER);
        const t_storedKey classes = ReadTree(HKEY_CLASSES_ROOT), none;
        const t_storedKey* const classes32 = classes.Key(L"32");
        n_model::t_catalogue model{machine, user, classes32 != nullptr ? *classes32 : none, classes};
        t_hklManager_InstallWrap manager;
        for (int step = 0; step < 16; ++step) {
            const std::string question = random.Of({"list", "find", "file name", "register", "create key", "unhide"});
            const std::wstring file = random.OneIn(4) ? L"none" : layouts.FileName();
            const auto maskAndValue = random.Of<std::pair<std::uint32_t, std::uint32_t>>(
                {{0xF000FFFF, 0xE0000804}, {0x0000FFFF, 0x0804}, {~0u, 0xE0210804}, {0, 1}});
            std::optional<t_readingGuard> guard;
            if (question != "create key" && question != "unhide") {
                guard.emplace();
            }
            t_hkl record{1, 2, 3, {}, {}}, expected = record;
            const std::uint32_t handle = layouts.Handle();
            t_layoutIds().SetHklFromHandle(record, handle);
            model.SetFromHandle(expected, handle);
            ASSERT_EQ(n_model::Text(t_hklList{expected}), n_model::Text(t_hklList{record})) << handle;
            if (random.OneIn(2)) { // as a service's profile may be
                ParseGuid(RandomGuid(random), record.clsid);
                ParseGuid(RandomGuid(random), record.profileGuid);
            }
            ASSERT_EQ(Answer(model, question, file, record, maskAndValue),
                      Answer(manager, question, file, record, maskAndValue))
                << machine.Dump() << classes.Dump();
            if (guard) {
                ASSERT_EQ(0, guard->create.calls);
                ASSERT_EQ(guard->enter.calls, guard->leave.calls);
                ASSERT_EQ(question == "list", guard->enter.calls > 0 && question != "find");
            }
        }
        EXPECT_EQ(machine.Dump(), ReadTree(HKEY_LOCAL_MACHINE).Dump());
        EXPECT_EQ(user.Dump(), ReadTree(HKEY_CURRENT_USER).Dump());
        // Apart, as what one leaves undone the next may do.
        t_readingGuard guard;
        ++guard.enter.calls;
        t_imeFileMaps maps;
        t_errorChain errors;
        const t_hklList twice(2, {0, 5, 4, {}, {}});
        for (const bool profiles : {false, true}) {
            t_hklList expected = twice;
            t_hklCollector list(twice);
            if (profiles) {
                ASSERT_EQ(model.EnumTextServiceProfiles(errors, expected), EnumTextServiceProfiles(errors, maps, list));
            } else {
                ASSERT_EQ(model.EnumKeyboardLayouts(errors, expected), EnumKeyboardLayouts(errors, maps, list));
            }
            ASSERT_EQ(n_model::Text(expected), n_model::Text(list.List()));
        }
    });
}
