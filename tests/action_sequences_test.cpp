#include "tests/windows_test.h"

#include <sddl.h>

#include "app/dispatcher.h"
#include "base/handles.h"
#include "tests/machine_model.h"
#include "tests/random_layouts.h"
#include "tests/simulated_machine.h"

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
            const std::wstring before = model.machine.Dump() + model.users.Dump();
            const wchar_t* const option =
                random.Of({L"--install", L"--install", L"--uninstall", L"--debug", L"--copy", L"--delete"});
            model.Run(option);
            machine.Run(option);
            ASSERT_EQ(model.machine.Dump() + model.users.Dump(),
                      ReadTree(HKEY_LOCAL_MACHINE).Dump() + ReadTree(HKEY_USERS).Dump())
                << option << before;
            ASSERT_EQ(model.steps, machine.Steps()) << option << before;
            if (random.OneIn(4)) {
                choose();
                machine.Upgrade(version.first, version.second);
            }
        }
    });
}

// The lock is had of an action that was killed, and given back after the last change.
TEST(ActionSequences, ActionRunsUnderTheLockOfTheMachine)
{
    t_simulatedMachine machine(6, 1);
    const t_machineState before = machine.State();
    t_machineState atRelease;
    REPLACE(create, CreateMutexW, [&](SECURITY_ATTRIBUTES* attributes, WINBOOL owned, LPCWSTR name) {
        t_localMemory access;
        ConvertSecurityDescriptorToStringSecurityDescriptorW(attributes->lpSecurityDescriptor, SDDL_REVISION_1,
                                                             DACL_SECURITY_INFORMATION,
                                                             reinterpret_cast<wchar_t**>(access.Put()), nullptr);
        EXPECT_STREQ(L"D:(A;;GA;;;BA)(A;;GA;;;SY)", static_cast<wchar_t*>(access.Get()));
        EXPECT_TRUE(std::wstring_view(name).starts_with(L"Global\\")) << "of one session only";
        return create.Original(attributes, owned, name);
    });
    REPLACE(wait, WaitForSingleObject, [&](HANDLE, DWORD milliseconds) {
        EXPECT_EQ(before, machine.State());
        EXPECT_NE(INFINITE, milliseconds);
        return DWORD{WAIT_ABANDONED};
    });
    REPLACE(release, ReleaseMutex, [&](HANDLE) { return atRelease = machine.State(), TRUE; });
    machine.Run(L"--install");
    EXPECT_EQ(1, wait.calls);
    EXPECT_EQ(machine.State(), atRelease);
    EXPECT_NE(before, atRelease);
}

// The random machines run every option; these are the modes without one.
TEST(ActionSequences, ModeWithoutAnOptionIsTheCallers)
{
    for (const auto& [mode, text] :
         {std::pair{0, L"中文(简体) - 塔沃拼音输入法"}, {5, L"中文 (简体) - 塔沃拼音输入法"}}) {
        t_simulatedMachine machine(6, 1);
        machine.Run(L"", static_cast<t_actionMode>(mode));
        EXPECT_EQ(FormatStr(L"install %s; ", text), machine.Steps());
    }
}

TEST(ActionSequences, CommandLineThatCannotBeSplitIsRejected)
{
    t_errorChain errors;
    t_actionMode mode = t_actionMode::Install;
    EXPECT_FALSE(ParseAndDispatch(errors, nullptr, 0, &mode));
    EXPECT_EQ(L"参数不合法", errors.Entries().front());
}
