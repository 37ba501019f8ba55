#include <windows.h>

#include <gtest/gtest.h>

#include <sddl.h>

#include <map>
#include <memory>

#include "tests/machine_model.h"
#include "tests/random_layouts.h"
#include "tests/simulated_machine.h"

namespace {

enum class t_system
{
    seven,
    ten,
    upgraded, // to 10, with the classic layout of 7
};

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

// What an action may change; the system itself writes elsewhere.
static std::wstring DumpMachine(const t_storedKey& machine, const t_storedKey& users)
{
    std::wstring text;
    const auto dump = [&text](const t_storedKey& root, std::initializer_list<std::wstring> paths) {
        for (const std::wstring& path : paths) {
            const t_storedKey* const key = root.Key(path);
            text += key != nullptr ? key->Dump(root.name + L"\\" + path) : L"";
        }
    };
    dump(machine, {n_model::kLayouts, n_model::kTip});
    for (const t_storedKey& hive : users.keys) {
        dump(hive, {L"Keyboard Layout", L"SoftWare\\Microsoft\\CTF"});
    }
    return text;
}

// Machines with random layouts, text services and lists, through random actions and upgrades.
TEST(ActionSequences, RandomMachinesBecomeWhatTheModelMakesOfThem)
{
    ForRandomSeeds(25, [](t_random& random) {
        n_model::t_machine model;
        std::pair<WORD, WORD> version;
        const auto choose = [&] {
            version =
                random.Of<std::pair<WORD, WORD>>({{0, 0}, {5, 2}, {6, 0}, {6, 1}, {6, 1}, {6, 2}, {6, 3}, {10, 0}});
            model.vista = version.first > 5;
            model.windows8 = version > std::pair<WORD, WORD>(6, 1);
        };
        choose();
        t_simulatedMachine machine(version.first, version.second);
        if (!random.OneIn(3)) {
            t_randomLayouts layouts(random);
        }
        model.users = ReadTree(HKEY_USERS);
        for (const t_storedKey& hive : model.users.keys) {
            if (random.OneIn(2)) {
                WriteRandomLists(random, HKEY_USERS, hive.name);
            }
            model.userSid = hive.name.starts_with(L"S-1-5-21") ? hive.name : model.userSid;
        }
        for (auto count = random.Below(3); count > 0; --count) {
            const std::uint32_t klid = random.Of({0xE0210804u, 0xE0220804u, 0xE0230804u});
            const wchar_t* const file = random.Of({L"tarvopy.ime", L"TarvoTSF.ime", L"imscx.ime"});
            const bool isLoaded = random.OneIn(2);
            machine.AddLayout(klid, file, isLoaded);
            if (isLoaded) {
                model.loaded.push_back(klid);
            }
        }
        for (int step = 0; step < 4; ++step) {
            model.machine = ReadTree(HKEY_LOCAL_MACHINE);
            model.users = ReadTree(HKEY_USERS);
            model.classes = ReadTree(HKEY_CLASSES_ROOT);
            model.steps.clear();
            const std::wstring before = DumpMachine(model.machine, model.users);
            const wchar_t* const option =
                random.Of({L"--install", L"--install", L"--uninstall", L"--debug", L"--copy", L"--delete"});
            model.Run(option);
            ASSERT_TRUE(machine.Run(option));
            ASSERT_EQ(DumpMachine(model.machine, model.users),
                      DumpMachine(ReadTree(HKEY_LOCAL_MACHINE), ReadTree(HKEY_USERS)))
                << option << before;
            ASSERT_EQ(model.steps, machine.Steps()) << option << before;
            if (random.OneIn(4)) {
                choose();
                machine.Upgrade(version.first, version.second);
            }
        }
    });
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
        const t_machineState expected = machine->State();
        t_counts notMended;
        for (std::size_t point = 1; point <= c.points; ++point) {
            machine.reset(); // the next one takes over the same keys
            machine = MachineAfter(c.system, c.before);
            EXPECT_FALSE(machine->Run(c.option, point)) << c.option << " " << point;
            EXPECT_TRUE(machine->Run(c.option)) << c.option << " " << point;
            for (const auto& [name, content] : machine->State()) {
                const auto known = expected.find(name);
                if (known == expected.end() || known->second != content) {
                    ++notMended[name];
                }
            }
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
        REPLACE(create, CreateMutexW, [&](SECURITY_ATTRIBUTES* attributes, WINBOOL, LPCWSTR newName) {
            wchar_t* text = nullptr;
            ConvertSecurityDescriptorToStringSecurityDescriptorW(attributes->lpSecurityDescriptor, SDDL_REVISION_1,
                                                                 DACL_SECURITY_INFORMATION, &text, nullptr);
            const t_localMemory owner(text);
            name = newName, access = text;
            return c.created ? CreateEventW(nullptr, TRUE, TRUE, nullptr) : nullptr;
        });
        REPLACE(wait, WaitForSingleObject, [&](HANDLE, DWORD milliseconds) {
            EXPECT_EQ(0u, machine.Changes());
            return limit = milliseconds, c.waitResult;
        });
        REPLACE(release, ReleaseMutex, [&](HANDLE) { return changesAtRelease = machine.Changes(), TRUE; });
        EXPECT_TRUE(machine.Run(L"--install"));
        EXPECT_TRUE(name.starts_with(L"Global\\")) << "of one session only";
        EXPECT_EQ(L"D:(A;;GA;;;BA)(A;;GA;;;SY)", access);
        EXPECT_EQ(c.created ? 1 : 0, wait.calls);
        EXPECT_NE(INFINITE, limit);
        EXPECT_EQ(c.released, release.calls);
        EXPECT_EQ(c.released * machine.Changes(), changesAtRelease);
        EXPECT_TRUE(machine.State().contains(L"layout e0210804"));
    }
}
