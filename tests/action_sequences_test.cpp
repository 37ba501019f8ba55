#include <windows.h>

#include <gtest/gtest.h>

#include <sddl.h>

#include <algorithm>
#include <map>
#include <memory>
#include <set>
#include <sstream>

#include "tests/simulated_machine.h"

namespace {

constexpr const wchar_t* kOptions[] = {L"--install", L"--uninstall", L"--debug", L"--copy", L"--delete"};
constexpr wchar_t kKlid[] = L"e0210804"; // what the input-method manager gives the product on this machine

// What each action ought to leave, in terms of lists.
void Expect(t_machineState& state, bool windows8, std::wstring_view option)
{
    const auto append = [](t_machineState::t_list& list, const wchar_t* klid) {
        if (std::find(list.begin(), list.end(), klid) == list.end()) {
            list.emplace_back(klid);
        }
    };
    const auto remove = [](t_machineState::t_list& list) { std::erase(list, kKlid); };
    const bool uninstall = option == L"--uninstall";
    if (option == L"--debug") {
        if (state.layoutLoaded) {
            remove(state.preload[L"own"]);
        }
    } else if (windows8 || uninstall) {
        if (!state.layouts.empty()) {
            remove(state.preload[L"user"]);
        }
        state.layouts.clear();
        state.layoutLoaded = false;
        state.textService = windows8 && !uninstall;
    } else {
        state.layoutLoaded = state.layoutLoaded || state.layouts.empty();
        state.layouts[kKlid] =
            option == L"--install" ? L"中文(简体) - 塔沃拼音输入法" : L"中文 (简体) - 塔沃拼音输入法";
        append(state.preload[L"user"], kKlid);
        append(state.sortOrder, kKlid);
        append(state.preload[L"default"], kKlid);
        append(state.preload[L"default"], L"e0010804"); // the system's own layout for the language
        for (const wchar_t* const account : {L".DEFAULT", L"S-1-5-18", L"S-1-5-19", L"S-1-5-20"}) {
            remove(state.preload[account]);
        }
    }
}

enum class t_system
{
    seven,
    ten,
    upgraded, // to 10, with the classic layout of 7
};

// Counts the lines of a text that another one lacks, by what stands before their colons.
void CountOtherLines(std::map<std::wstring, int>& counts, const std::wstring& text, const std::wstring& other)
{
    std::wstring line;
    for (std::wistringstream all(text); std::getline(all, line);) {
        if ((L"\n" + other).find(L"\n" + line + L"\n") == other.npos) {
            ++counts[line.substr(0, line.find(L':'))];
        }
    }
}

using t_sequence = std::vector<const wchar_t*>;

std::unique_ptr<t_simulatedMachine> MachineAfter(t_system system, const t_sequence& sequence)
{
    auto machine = std::make_unique<t_simulatedMachine>(WORD{6}, WORD{1});
    if (system == t_system::upgraded) {
        machine->Run(L"--install");
    }
    if (system != t_system::seven) {
        machine->Upgrade(10, 0);
    }
    for (const wchar_t* const option : sequence) {
        EXPECT_TRUE(machine->Run(option));
    }
    return machine;
}

} // namespace

// An action depends on nothing but what the machine holds, so each state that a sequence can reach is tried once.
TEST(ActionSequences, EveryStateThatFourActionsReachIsTheExpectedOne)
{
    for (const t_system system : {t_system::seven, t_system::ten, t_system::upgraded}) {
        std::set<std::wstring> known;
        std::vector<t_sequence> open = {{}};
        while (!open.empty()) {
            const t_sequence sequence = open.back();
            open.pop_back();
            for (const wchar_t* const option : kOptions) {
                const auto machine = MachineAfter(system, sequence);
                t_machineState expected = machine->State();
                Expect(expected, system != t_system::seven, option);
                EXPECT_TRUE(machine->Run(option));
                EXPECT_EQ(Describe(expected), Describe(machine->State())) << sequence.size() << " before " << option;
                t_sequence longer = sequence;
                longer.push_back(option);
                if (longer.size() < 4 && known.insert(Describe(machine->State())).second) {
                    open.push_back(longer);
                }
            }
        }
    }
}

// Killed behind each call that changes something, and then run again: what is counted here is not mended. The lists are
// deleted before they are written anew, so what was not yet written is lost, and a hive that is still loaded cannot be
// loaded again before a restart.
TEST(ActionSequences, KilledActionIsCompletedByTheNextRun)
{
    using t_counts = std::map<std::wstring, int>;
    struct t_case
    {
        t_system system;
        t_sequence before;
        const wchar_t* option;
        std::size_t points;
        t_counts notMended; // what differs from the undisturbed end, and at how many points
    };
    const t_case cases[] = {
        {t_system::seven,
         {},
         L"--install",
         38,
         {{L"sort order", 3},
          {L"user", 4},
          {L"default", 9},
          {L"default_user loaded", 10},
          {L".DEFAULT", 3},
          {L"S-1-5-18", 3},
          {L"S-1-5-19", 3},
          {L"S-1-5-20", 3}}},
        {t_system::seven, {L"--install"}, L"--copy", 3, {{L"default_user loaded", 1}}},
        {t_system::seven, {L"--install"}, L"--uninstall", 7, {{L"user", 4}}},
        {t_system::seven, {L"--install"}, L"--debug", 3, {{L"own", 2}}},
        {t_system::upgraded, {}, L"--install", 8, {{L"user", 4}}},
        {t_system::upgraded, {}, L"--uninstall", 8, {{L"user", 4}}},
    };
    for (const t_case& c : cases) {
        auto machine = MachineAfter(c.system, c.before);
        EXPECT_TRUE(machine->Run(c.option));
        EXPECT_EQ(c.points, machine->Changes()) << c.option;
        const std::wstring expected = Describe(machine->State());
        t_counts notMended;
        for (std::size_t point = 1; point <= c.points; ++point) {
            machine.reset(); // the next one takes over the same keys
            machine = MachineAfter(c.system, c.before);
            EXPECT_FALSE(machine->Run(c.option, point)) << c.option << " " << point;
            EXPECT_TRUE(machine->Run(c.option)) << c.option << " " << point;
            CountOtherLines(notMended, Describe(machine->State()), expected);
        }
        EXPECT_EQ(c.notMended, notMended) << c.option;
    }
}

// Whatever becomes of the lock, the action runs; what was had is given back, after the last change.
TEST(ActionSequences, ActionRunsUnderTheLockOfTheMachineOrWithoutIt)
{
    struct t_case
    {
        bool created;
        DWORD waitResult;
        int released;
    };
    const t_case cases[] = {
        {true, WAIT_OBJECT_0, 1},
        {true, WAIT_ABANDONED, 1},
        {true, WAIT_TIMEOUT, 0},
        {true, WAIT_FAILED, 0},
        {false, 0, 0},
    };
    for (const t_case& c : cases) {
        SCOPED_TRACE(c.waitResult);
        t_simulatedMachine machine(6, 1);
        std::wstring name, access;
        std::size_t changesAtRelease = 0;
        DWORD limit = 0;
        ImmImportPatch<decltype(&CreateMutexW)> create(
            "CreateMutexW", [&](SECURITY_ATTRIBUTES* attributes, WINBOOL, LPCWSTR newName) {
                wchar_t* text = nullptr;
                ConvertSecurityDescriptorToStringSecurityDescriptorW(attributes->lpSecurityDescriptor, SDDL_REVISION_1,
                                                                     DACL_SECURITY_INFORMATION, &text, nullptr);
                name = newName;
                access = text;
                LocalFree(text);
                return c.created ? CreateEventW(nullptr, TRUE, TRUE, nullptr) : nullptr;
            });
        ImmImportPatch<decltype(&WaitForSingleObject)> wait("WaitForSingleObject", [&](HANDLE, DWORD milliseconds) {
            limit = milliseconds;
            EXPECT_EQ(0u, machine.Changes());
            return c.waitResult;
        });
        ImmImportPatch<decltype(&ReleaseMutex)> release("ReleaseMutex", [&](HANDLE) -> WINBOOL {
            changesAtRelease = machine.Changes();
            return TRUE;
        });
        EXPECT_TRUE(machine.Run(L"--install"));
        EXPECT_TRUE(name.starts_with(L"Global\\")) << "of one session only";
        EXPECT_EQ(L"D:(A;;GA;;;BA)(A;;GA;;;SY)", access);
        EXPECT_EQ(c.created ? 1 : 0, wait.calls);
        EXPECT_NE(INFINITE, limit);
        EXPECT_EQ(c.released, release.calls);
        EXPECT_EQ(c.released * machine.Changes(), changesAtRelease);
        EXPECT_EQ(1u, machine.State().layouts.size());
    }
}
