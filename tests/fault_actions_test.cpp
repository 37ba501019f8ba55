#include <regex>
#include <set>

#include "tests/fault_sweep.h"
#include "tests/simulated_machine.h"
#include "tests/windows_test.h"

// The shipped program's entry.
int WINAPI wWinMain(HINSTANCE, HINSTANCE, LPWSTR, int);

namespace {

// The calls that can lose another maker's entry of a preload list when they fail: the list is deleted, made anew and
// filled from what was read before.
const std::map<std::string_view, const char*> kRisks = {
    {"RegEnumValueW", "reading ends at the first failure, and only what was read is written again"},
    {"RegCreateKeyExW", "the list that was deleted is not made anew"},
    {"RegSetValueExW", "the entry is not written"},
};

// The calls without which everything is done all the same.
const std::set<std::string_view> kSpareable = {
    "AdjustTokenPrivileges", "CoInitializeEx",     "ConvertStringSecurityDescriptorToSecurityDescriptorW",
    "CreateMutexW",          "ImmDisableIME",      "LookupPrivilegeValueW",
    "OpenProcessToken",      "RegFlushKey",        "ProcessIdToSessionId",
    "SetDllDirectoryW",      "WaitForSingleObject"};

constexpr wchar_t kPreload[] = L"\\keyboard layout\\preload";
constexpr wchar_t kItem[] = L"\\{34745c63}\\0000000"; // of the sort order
constexpr wchar_t kHidden[] = L"own\\SoftWare\\Microsoft\\CTF\\HiddenDummyLayouts";

// What is in the path of every key that may be changed or deleted at all.
const std::wregex kPlaces(LR"(\\(keyboard layout\\preload|\{34745c63\}\\0000000|keyboard layouts\\e02[123]|)"
                          LR"(hiddendummylayouts|\{7c2b4e10-|default_user))",
                          std::regex::icase);

using t_texts = std::vector<std::wstring>;

// Whether a list still has the entries of another one that are not the product's, in their order.
bool KeepsForeign(const t_texts& after, const t_texts& before)
{
    auto at = after.begin();
    return std::all_of(before.begin(), before.end(), [&](const std::wstring& entry) {
        at = entry > L"e0200804" ? at : std::find(at, after.end(), entry);
        return entry > L"e0200804" || at++ != after.end();
    });
}

class FaultsOfActions : public testing::TestWithParam<std::pair<WORD, WORD>>
{
protected:
    FaultsOfActions() : machine(5, 2)
    {
        // Another maker's text service, and layouts that are hidden from the user.
        constexpr wchar_t kProfile[] = L"SoftWare\\Microsoft\\CTF\\TIP\\{11111111-2222-3333-4444-555555555555}\\"
                                       L"LanguageProfile\\0x00000804\\{66666666-7777-8888-9999-AAAAAAAAAAAA}";
        WriteText(HKEY_LOCAL_MACHINE, kProfile, L"Description", L"Other");
        WriteText(HKEY_LOCAL_MACHINE, kProfile, L"SubstituteLayout", L"E0200804");
        WriteText(HKEY_CLASSES_ROOT, L"CLSID\\{11111111-2222-3333-4444-555555555555}\\InProcServer32", L"",
                  L"C:\\other.dll");
        for (const wchar_t* const value : {L"1", L"00000409", L"e0220804"}) {
            WriteText(HKEY_USERS, kHidden, value, L"");
        }
    }

    void Try(const std::string& option)
    {
        commandLine = L"TarvoLayout.exe " + std::wstring(option.begin(), option.end());
        machine.Keep();
        const t_machineState before = machine.State();
        ++sweeps;
        t_faultSweep sweep;
        int status = 0;
        sweep.Sweep(
            option + " on " + std::to_string(GetParam().first) + "." + std::to_string(GetParam().second),
            [&] {
                machine.Restore();
                boxes = hivesLoaded = 0;
                privileges.clear();
            },
            [&] { machine.RunAction([&] { status = wWinMain(nullptr, nullptr, nullptr, 0); }); },
            [&] { Check(sweep, before, status); });
    }

    void Check(const t_faultSweep& sweep, const t_machineState& before, int status)
    {
        const bool rejected = sweep.Failed("CommandLineToArgvW");
        EXPECT_EQ(rejected ? -1 : 0, status);
        EXPECT_EQ(rejected && !sweep.Failed("MessageBoxW") ? 1 : 0, boxes);
        const t_machineState after = machine.State();
        if (sweep.FailedFirst().empty()) {
            undisturbed = after;
            steps = machine.Steps();
        } else if (!sweep.FailsEveryLater() && kSpareable.contains(sweep.FailedFirst())) {
            EXPECT_EQ(undisturbed, after);
        }
        for (const wchar_t* const step : {L"install ", L"/s "}) {
            // What the registry refuses keeps no action from asking for the rest.
            if (!sweep.FailsEveryLater() && sweep.FailedFirst().starts_with("Reg") && steps.find(step) != steps.npos) {
                EXPECT_THAT(machine.Steps(), testing::HasSubstr(step));
            }
        }
        EXPECT_EQ(sweep.Failed("RegUnLoadKeyW"), after.contains(L"\\default_user"));
        if (!sweep.Failed("OpenProcessToken") && !sweep.Failed("LookupPrivilegeValueW") &&
            !sweep.Failed("AdjustTokenPrivileges")) {
            for (const auto& [privilege, attributes] : privileges) {
                EXPECT_EQ(hivesLoaded != 0 ? DWORD{SE_PRIVILEGE_REMOVED} : DWORD{SE_PRIVILEGE_ENABLED}, attributes);
            }
        }
        for (const std::wstring& path : machine.Touched()) {
            EXPECT_TRUE(std::regex_search(path, kPlaces)) << path;
        }
        EXPECT_NE(std::wstring::npos, DumpKey(HKEY_USERS, kHidden).find(L"00000409="));
        // One list at most is in the middle of being rewritten, and nothing can save it when every later call fails.
        std::wstring lost;
        for (const auto& [path, values] : before) {
            if (path.ends_with(kPreload) && !KeepsForeign(after.contains(path) ? after.at(path) : t_texts(), values)) {
                EXPECT_EQ(L"", std::exchange(lost, path));
            } else if (path.find(kItem) != path.npos) {
                EXPECT_EQ(values, after.at(path));
            }
        }
        if (!lost.empty()) {
            if (!sweep.FailsEveryLater()) {
                EXPECT_TRUE(kRisks.contains(sweep.FailedFirst())) << lost << sweep.FailedFirst();
            }
            risksSeen.insert(sweep.FailedFirst());
        }
        if (sweep.FailsEveryLater() && std::exchange(killed, after) != after) {
            CheckCompletion();
        }
    }

    // The next run does what a killed one left undone, but for a list that was not made anew and for the default
    // profile: a hive that is still loaded cannot be loaded again before a restart.
    void CheckCompletion()
    {
        machine.RunAction([] { wWinMain(nullptr, nullptr, nullptr, 0); });
        const t_machineState completed = machine.State();
        const auto ofProduct = [](t_texts list) {
            std::erase_if(list, [](const std::wstring& entry) { return entry <= L"e0200804"; });
            return list;
        };
        const bool isLoaded = completed.contains(L"\\default_user");
        for (const auto& [path, values] : undisturbed) {
            const auto found = completed.find(path);
            const bool isThere = found != completed.end(), isDefault = path.find(L"default profile") != path.npos;
            if (path.ends_with(kPreload)) {
                EXPECT_TRUE(KeepsForeign(isThere ? found->second : t_texts(), killed[path])) << path;
                EXPECT_EQ(ofProduct(values), ofProduct(isThere && !(isDefault && isLoaded) ? found->second : values));
            } else if (path.find(kItem) != path.npos) {
                EXPECT_EQ(1, std::ranges::count(completed, values, &t_machineState::value_type::second)) << path;
            } else if (!path.ends_with(L"e0220804") && !path.ends_with(L"hiddendummylayouts")) {
                // Of two classic layouts a run takes out one, and shows the one that is left.
                EXPECT_EQ(values, isThere ? found->second : t_texts{L"missing"}) << path;
            }
        }
        for (const auto& [path, values] : completed) {
            EXPECT_TRUE(undisturbed.contains(path) || path.find(kItem) != path.npos ||
                        path.starts_with(L"\\default_user"))
                << path;
        }
    }

    static void TearDownTestSuite()
    {
        if (sweeps < 15) {
            return; // not all of them were asked for
        }
        for (const auto& [function, reason] : kRisks) {
            EXPECT_TRUE(risksSeen.contains(function)) << function << ": it is not true that " << reason;
        }
    }

    t_simulatedMachine machine;
    std::wstring commandLine;
    t_machineState undisturbed, killed;
    std::wstring steps; // in the undisturbed run
    int boxes = 0, hivesLoaded = 0;
    std::map<DWORD, DWORD> privileges;
    static inline int sweeps = 0;
    static inline std::set<std::string_view> risksSeen;
    REPLACE(line, GetCommandLineW, [this] { return commandLine.data(); });
    REPLACE(box, MessageBoxW, [this](auto...) { return ++boxes; });
    REPLACE(adjust, AdjustTokenPrivileges, [this](HANDLE, WINBOOL, TOKEN_PRIVILEGES* change, auto...) -> WINBOOL {
        privileges[change->Privileges[0].Luid.LowPart] = change->Privileges[0].Attributes;
        return TRUE;
    });
    REPLACE(load, RegLoadKeyW, [this](auto... all) {
        const LSTATUS result = load.Original(all...);
        hivesLoaded += result == ERROR_SUCCESS ? 1 : 0;
        return result;
    });
};

} // namespace

TEST_P(FaultsOfActions, Sweep)
{
    const auto [major, minor] = GetParam();
    machine.Upgrade(major == 10 ? WORD{6} : major, minor == 2 ? WORD{2} : WORD{1});
    if (major != 10) {
        Try("--install");
        machine.Restore();
    }
    machine.Run(L"--install");
    if (major == 10) {
        machine.Upgrade(major, minor);
        machine.AddLayout(0xE0220804, L"TarvoPY.ime", false);
        machine.AddLayout(0xE0230804, L"TarvoTSF.ime", true);
        Try("--install");
        machine.Restore();
        // A class of programs of the user's own has the registering program started without the shell.
        MakeKey(HKEY_CURRENT_USER, L"Software\\Classes\\exefile");
    }
    for (const char* const option : {"--uninstall", "--debug", "--copy", "--delete"}) {
        Try(option);
        machine.Restore();
    }
}
INSTANTIATE_TEST_SUITE_P(On, FaultsOfActions,
                         testing::Values(std::pair(WORD{5}, WORD{2}), std::pair(WORD{6}, WORD{1}),
                                         std::pair(WORD{10}, WORD{0})));
