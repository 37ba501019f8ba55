#include <gtest/gtest.h>

#include "catalogue/hkl_manager.h"
#include "catalogue/keyboard_layouts.h"
#include "catalogue/layout_id.h"
#include "catalogue/text_service_profiles.h"
#include "tests/catalogue_registry_model.h"
#include "tests/chain_entries.h"
#include "tests/import_patch.h"

using n_model::kHidden, n_model::kLayouts, n_model::kTip;

namespace {

std::wstring Guid(std::uint32_t number)
{
    return FormatStr(L"{%08x-0000-0000-0000-00000000000%d}", number, number % 2);
}

// Installed layouts and text services of which many share identifiers, names and files. 32-bit programs see their own
// registrations of classes, which stand below "32" here.
class t_randomLayouts
{
public:
    explicit t_randomLayouts(t_random& randomToUse) : random(randomToUse)
    {
        for (auto count = random.Below(3); count > 0; --count) {
            WriteText(HKEY_CURRENT_USER, kHidden, random.Of({L"1", L"e0200804", L"E0210804", L"2"}), L"");
        }
        if (!random.OneIn(20)) {
            MakeKey(HKEY_LOCAL_MACHINE, kLayouts);
        }
        for (auto count = random.Below(9); count > 0; --count) {
            const std::wstring key = kLayouts + L"\\" + LayoutName();
            MakeKey(HKEY_LOCAL_MACHINE, key);
            Maybe(HKEY_LOCAL_MACHINE, key, L"Ime File", FileName());
            Maybe(HKEY_LOCAL_MACHINE, key, L"Layout Id", random.Of({L"0001", L"0002", L"fFf", L"00003", L"x"}));
        }
        for (auto count = random.Below(5); count > 0; --count) {
            MakeKey(HKEY_LOCAL_MACHINE, kTip);
            AddService(random.OneIn(8) ? random.Of({L"none", L"{EB030804-6d26-11D3-B0F4-00C04F60B2A1}"})
                                       : Guid(random.Below(4)));
        }
    }

    std::wstring FileName() { return random.Of({L"TarvoPY.ime", L"tarvoPY.IME", L"TarvoTSF.ime", L"b", L""}); }
    std::uint32_t Handle()
    {
        return random.Of({0xE0200804u, 0xE0210804u, 0x00000804u, 0xF0010804u, 0xF0020409u, 0xFFFF0804u, 0xF0030804u,
                          0x04110411u, 0x00010000u, 0xE1000000u, 0u});
    }

private:
    std::wstring LayoutName()
    {
        return random.OneIn(2) ? FormatStr(L"%08x", Handle())
                               : random.Of({L"E0200804", L"0xE0300804", L"804", L"none", L"FFFFFFFFF", L"00010409",
                                            L"F0020C04", L"10000409", L"E0FF0000", L"E0200411", L"E02508041", L" +1"});
    }

    void Maybe(HKEY root, const std::wstring& path, const wchar_t* value, const std::wstring& text, DWORD type = REG_SZ)
    {
        if (!random.OneIn(4)) {
            WriteRandomText(random, root, path, value, text, type);
        }
    }

    void AddService(const std::wstring& service)
    {
        MakeKey(HKEY_LOCAL_MACHINE, kTip + L"\\" + service);
        for (auto count = random.Below(6); count > 0; --count) {
            const std::wstring profile = kTip + L"\\" + service + L"\\LanguageProfile\\" +
                                         random.Of({L"0x00000804", L"0x00000C04", L"00000409", L"x"}) + L"\\" +
                                         (random.OneIn(9) ? L"none" : Guid(random.Below(4)));
            MakeKey(HKEY_LOCAL_MACHINE, profile);
            Maybe(HKEY_LOCAL_MACHINE, profile, L"Description", L"x");
            Maybe(HKEY_LOCAL_MACHINE, profile, L"Enable", L"1");
            if (random.OneIn(2)) {
                WriteRandomText(random, HKEY_LOCAL_MACHINE, profile, L"SubstituteLayout", FormatStr(L"%08x", Handle()));
            }
        }
        for (const wchar_t* const view : {L"32\\CLSID\\", L"CLSID\\"}) {
            for (const wchar_t* const kind : {L"\\InProcServer32", L"\\LocalServer32"}) {
                if (!random.OneIn(3)) {
                    Maybe(HKEY_CLASSES_ROOT, view + service + kind, nullptr, random.Of({L"", L"%x%\\"}) + FileName(),
                          random.Of<DWORD>({REG_SZ, REG_EXPAND_SZ}));
                }
            }
        }
    }

    t_random& random;
};

// What the catalogue only reads must not want rights to write, nor come into being; all but the second look for a
// server is done in the 32-bit view, and what is gathered is gathered under the list's lock.
struct t_readingGuard
{
    int locked = 0;
    REPLACE(enter, EnterCriticalSection, [this](auto* section) {
        ++locked;
        enter.Original(section);
    });
    REPLACE(leave, LeaveCriticalSection, [this](auto* section) {
        --locked;
        leave.Original(section);
    });
    REPLACE(open, RegOpenKeyExW, [this](HKEY root, LPCWSTR key, DWORD options, REGSAM access, PHKEY result) {
        const bool isClass = root == HKEY_CLASSES_ROOT, view32 = (access & KEY_WOW64_32KEY) != 0;
        EXPECT_EQ(REGSAM{KEY_READ}, access & ~REGSAM{KEY_WOW64_32KEY});
        EXPECT_TRUE(view32 || isClass) << key;
        EXPECT_TRUE(locked > 0 || kTip != key);
        // Wine takes the 32-bit view of the classes from the machine's own registry whatever stands in its place.
        return isClass && view32 ? open.Original(root, (std::wstring(L"32\\") + key).c_str(), options, KEY_READ, result)
                                 : open.Original(root, key, options, access, result);
    });
    REPLACE(create, RegCreateKeyExW, [this](HKEY root, LPCWSTR key, auto... rest) {
        ADD_FAILURE() << key;
        return create.Original(root, key, rest...);
    });
};

enum class t_question
{
    list,
    find,
    fileName,
    registerFile,
    createKey, // the list stays what it was
    unhide,
};

// What a catalogue, or its model, answers.
template <class Catalogue>
std::wstring Answer(Catalogue& catalogue, t_question question, const std::wstring& file, t_hkl record,
                    std::pair<std::uint32_t, std::uint32_t> maskAndValue)
{
    t_errorChain errors;
    errors.Fail(L"before");
    t_hklList list = {record};
    t_str text;
    bool done = false;
    switch (question) {
    case t_question::list:
        done = catalogue.GetLayoutList(errors, list);
        break;
    case t_question::find:
        done = catalogue.GetHKLByName(errors, list[0], file, maskAndValue.first, maskAndValue.second);
        break;
    case t_question::fileName:
        done = catalogue.GetImeFileName(errors, text, record);
        break;
    case t_question::registerFile:
        catalogue.RegisterImeFile(file, record);
        break;
    case t_question::createKey:
        done = catalogue.CreateImeLayoutKey(errors, list[0].klid, (L"C:\\a.b\\" + file).c_str(), L"中文");
        break;
    case t_question::unhide:
        done = catalogue.UnhideLayout(errors, record);
        break;
    }
    text << (done ? L": done" : L": failed") << L"\n" << Entries(errors);
    for (const t_hkl& r : list) {
        text.AppendFormat(L"\n%I64x %x %x %s %s", r.hkl, r.klid, r.langId, FormatGuid(r.clsid).c_str(),
                          FormatGuid(r.profileGuid).c_str());
    }
    return text;
}

} // namespace

TEST(Catalogue, RandomRegistryGivesWhatTheModelGives)
{
    ForRandomSeeds(100, [](t_random& random) {
        const t_scratchRegistry scratch;
        t_randomLayouts layouts(random);
        t_storedKey machine = ReadTree(HKEY_LOCAL_MACHINE), user = ReadTree(HKEY_CURRENT_USER);
        const t_storedKey classes = ReadTree(HKEY_CLASSES_ROOT), none;
        const t_storedKey* const classes32 = classes.Key(L"32");
        n_model::t_catalogue model(machine, user, classes32 != nullptr ? *classes32 : none, classes);
        t_hklManager_InstallWrap manager;
        for (int step = 0; step < 8; ++step) {
            const auto question = static_cast<t_question>(random.Below(6));
            const std::wstring file = random.OneIn(4) ? L"none" : layouts.FileName();
            const auto maskAndValue = random.Of<std::pair<std::uint32_t, std::uint32_t>>(
                {{0xF000FFFF, 0xE0000804}, {0x0000FFFF, 0x0804}, {~0u, 0xE0210804}, {0, 1}});
            const bool writes = question == t_question::createKey || question == t_question::unhide;
            std::optional<t_readingGuard> guard;
            if (!writes) {
                guard.emplace();
            }
            t_hkl record{1, 2, 3, {}, {}}, expected = record;
            const std::uint32_t handle = layouts.Handle();
            SetHklFromHandle(record, handle);
            model.SetFromHandle(expected, handle);
            ASSERT_EQ(n_model::Fields(t_hklList{expected}), n_model::Fields(t_hklList{record})) << handle;
            ASSERT_EQ(Answer(model, question, file, record, maskAndValue),
                      Answer(manager, question, file, record, maskAndValue))
                << machine.Dump() << classes.Dump();
            ASSERT_TRUE(!guard || guard->locked == 0);
            ASSERT_EQ(question == t_question::list, guard && guard->enter.calls > 0 && question != t_question::find);
            if (writes) {
                const std::wstring written = machine.Dump();
                machine = ReadTree(HKEY_LOCAL_MACHINE);
                ASSERT_EQ(machine.Dump(), written);
            }
        }
        EXPECT_EQ(machine.Dump(), ReadTree(HKEY_LOCAL_MACHINE).Dump());
        EXPECT_EQ(user.Dump(), ReadTree(HKEY_CURRENT_USER).Dump());
        // Apart, as what one leaves undone the next may do.
        t_readingGuard guard;
        ++guard.locked;
        t_imeFileMaps maps;
        t_errorChain errors;
        t_hklList list = {{0, 5, 4, {}, {}}, {0, 5, 4, {}, {}}}, expected = list;
        ASSERT_EQ(model.EnumKeyboardLayouts(errors, expected), EnumKeyboardLayouts(errors, maps, list));
        ASSERT_EQ(n_model::Fields(expected), n_model::Fields(list));
        list.insert(list.end(), 2, {0, 5, 4, {}, {}});
        expected = list;
        ASSERT_EQ(model.EnumTextServiceProfiles(errors, expected), EnumTextServiceProfiles(errors, maps, list));
        ASSERT_EQ(n_model::Fields(expected), n_model::Fields(list));
    });
}
