#include "catalogue/hkl_manager.h"
#include "imereg/preload.h"
#include "tests/fake_os_version.h"
#include "tests/preload_model.h"
#include "tests/windows_test.h"

// Symbolic links in a hive whose owner has fewer rights than the program: nothing changes where they lead.

namespace {

using n_model::kPreload;
const std::wstring kSortList = n_model::kSortOrder + L"\\{34745C63}";
constexpr wchar_t kHidden[] = L"SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts";
constexpr DWORD kListed = 0xE0200804, kNew = 0xE0210804;

// A hive with everything that the program changes.
void WriteHive(HKEY root)
{
    WriteText(root, kPreload, L"1", FormatStr(L"%08X", kListed));
    WriteRaw(root, kSortList + L"\\00000000", L"KeyboardLayout", REG_DWORD, &kListed, sizeof(kListed));
    WriteText(root, kHidden, L"1", L"");
}

void ChangeEverything(HKEY hive)
{
    AddToPreload(kNew, hive, L"x", false);
    RemoveFromPreload(kListed, hive);
    WritePreloadMap(hive, {{1, kNew}});
    t_errorChain errors;
    t_hklManager_InstallWrap().UnhideLayout(errors, t_hkl{});
}

} // namespace

TEST(Links, NothingChangesWhereTheyLead)
{
    std::vector<std::wstring> links = {L"Keyboard Layout", kPreload, kHidden, kSortList};
    while (links.back() != L"SoftWare") {
        links.push_back(links.back().substr(0, links.back().rfind(L'\\')));
    }
    // Where the new item goes: behind two, of which this is one.
    links.push_back(kSortList + L"\\00000002");
    for (const std::wstring& link : links) {
        const t_scratchRegistry registry;
        const t_fakeOsVersion os(6, 1);
        const t_keyHandle elsewhere = MakeKey(HKEY_LOCAL_MACHINE, L"hive");
        WriteHive(elsewhere.Get());
        const t_keyHandle target = MakeKey(elsewhere.Get(), link);
        const std::wstring before = DumpKey(elsewhere.Get(), L"");
        {
            const t_scratchLink planted(HKEY_CURRENT_USER, link, target.Get());
            WriteHive(HKEY_CURRENT_USER);
            ChangeEverything(HKEY_CURRENT_USER);
        }
        EXPECT_EQ(before, DumpKey(elsewhere.Get(), L"")) << link;
    }
}

// The moments in which whoever watches the list can put a link in its place: to a list that would be deleted, or to a
// key that would be made.
TEST(Links, NothingChangesWhereALaterOneLeads)
{
    for (void (*const change)(HKEY) :
         {+[](HKEY hive) { EXPECT_NE(ERROR_SUCCESS, AddToPreload(kNew, hive, L"x", false)); },
          +[](HKEY hive) { RemoveFromPreload(kListed, hive); }}) {
        for (const bool beforeDeleting : {true, false}) {
            const t_scratchRegistry registry;
            WriteHive(HKEY_CURRENT_USER);
            WriteHive(HKEY_LOCAL_MACHINE);
            const std::wstring before = DumpKey(HKEY_LOCAL_MACHINE, L"");
            std::optional<t_scratchLink> planted;
            REPLACE(remove, RegDeleteKeyW, [&](HKEY key, LPCWSTR name) {
                if (beforeDeleting) {
                    remove.Original(HKEY_CURRENT_USER, kPreload.c_str());
                    planted.emplace(HKEY_CURRENT_USER, kPreload, MakeKey(HKEY_LOCAL_MACHINE, kPreload).Get());
                    return remove.Original(key, name);
                }
                const LSTATUS result = remove.Original(key, name);
                planted.emplace(HKEY_CURRENT_USER, kPreload, MakeKey(HKEY_LOCAL_MACHINE, L"new").Get());
                remove.Original(HKEY_LOCAL_MACHINE, L"new");
                return result;
            });
            change(HKEY_CURRENT_USER);
            EXPECT_EQ(1, remove.calls);
            EXPECT_EQ(before, DumpKey(HKEY_LOCAL_MACHINE, L"")) << beforeDeleting;
        }
    }
}

// A hive that is itself opened through a link, as S-1-5-18 is one to .DEFAULT, on a system that knows no links in
// creating: the list is made anew, without opening a key twice.
TEST(Links, RootMayBeOneAndTheSystemNeedNotKnowThem)
{
    const t_scratchRegistry registry;
    const t_fakeOsVersion os(5, 2);
    WriteHive(MakeKey(HKEY_USERS, L"hive").Get());
    const t_scratchLink link(HKEY_USERS, L"link", MakeKey(HKEY_USERS, L"hive").Get());
    t_keyHandle root;
    ASSERT_EQ(ERROR_SUCCESS, RegOpenKeyExW(HKEY_USERS, L"link", 0, KEY_ALL_ACCESS, root.Put()));
    REPLACE(open, RegOpenKeyExW, [&](auto... all) { return open.Original(all...); });
    REPLACE(create, RegCreateKeyExW, [&](HKEY key, LPCWSTR name, DWORD zero, LPWSTR type, DWORD options, auto... rest) {
        return (options & REG_OPTION_OPEN_LINK) != 0 ? LSTATUS{ERROR_INVALID_PARAMETER}
                                                     : create.Original(key, name, zero, type, options, rest...);
    });
    EXPECT_EQ(ERROR_SUCCESS, AddToPreload(kNew, root.Get(), L"x", false));
    EXPECT_EQ(2, open.calls);
    EXPECT_EQ(2, create.calls);
    EXPECT_EQ(L"[]\n1=1:E0200804\\0\n2=1:E0210804\\0\n", DumpKey(HKEY_USERS, L"hive\\" + kPreload));
}
