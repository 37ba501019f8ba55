#include <gtest/gtest.h>

#include "app/dispatcher.h"
#include "tests/simulated_machine.h"

namespace {

// What a command line asks of the system, on a machine with both layouts of the product or none.
std::wstring StepsOf(WORD major, WORD minor, const wchar_t* option, bool registered,
                     t_actionMode mode = t_actionMode::Install)
{
    t_simulatedMachine machine(major, minor);
    if (registered) {
        machine.AddLayout(0xE0210804, L"TarvoPY.ime", false);
        machine.AddLayout(0xE0220804, L"TarvoTSF.ime", false);
    }
    EXPECT_TRUE(machine.Run(option, 0, mode));
    return machine.Steps();
}

} // namespace

TEST(Dispatcher, EachModeRunsItsStepsOnEachSystem)
{
    constexpr wchar_t kNew[] = L"install 中文(简体) - 塔沃拼音输入法; ";
    constexpr wchar_t kOld[] = L"install 中文 (简体) - 塔沃拼音输入法; ";
    constexpr wchar_t kService[] = L"unload ffffffffe0210804; /s TarvoTSF.ime; ";
    constexpr wchar_t kNoService[] = L"unload ffffffffe0220804; /s /u TarvoTSF.ime; unload ffffffffe0210804; ";
    constexpr wchar_t kNoClassic[] = L"unload ffffffffe0210804; ";
    struct t_case
    {
        WORD major, minor;
        const wchar_t* install;
        const wchar_t* copy;
        const wchar_t* uninstall;
    };
    const t_case cases[] = {
        {0, 0, kOld, kOld, kNoClassic}, // a version that cannot be had
        {5, 2, kOld, kOld, kNoClassic},         {6, 0, kNew, kOld, kNoClassic},
        {6, 1, kNew, kOld, kNoClassic},         {6, 2, kService, kService, kNoService},
        {6, 3, kService, kService, kNoService}, {10, 0, kService, kService, kNoService},
    };
    for (const t_case& c : cases) {
        SCOPED_TRACE(std::to_string(c.major) + "." + std::to_string(c.minor));
        const bool service = std::wstring_view(c.install) == kService;
        EXPECT_EQ(c.install, StepsOf(c.major, c.minor, L"", service));
        EXPECT_EQ(c.install, StepsOf(c.major, c.minor, L"--install", service));
        EXPECT_EQ(c.copy, StepsOf(c.major, c.minor, L"-c", service));
        EXPECT_EQ(c.copy, StepsOf(c.major, c.minor, L"--delete", service));
        EXPECT_EQ(c.copy, StepsOf(c.major, c.minor, L"", service, static_cast<t_actionMode>(5)));
        EXPECT_EQ(c.uninstall, StepsOf(c.major, c.minor, L"-u", true));
        EXPECT_EQ(L"", StepsOf(c.major, c.minor, L"--debug", true));
    }
}

TEST(Dispatcher, CommandLineThatCannotBeSplitIsRejected)
{
    t_errorChain errors;
    t_actionMode mode = t_actionMode::Install;
    EXPECT_FALSE(ParseAndDispatch(errors, nullptr, 0, &mode));
    EXPECT_EQ(L"参数不合法", errors.Entries().front());
}

TEST(Dispatcher, RefusedAccessChangesNothingAndTheStepsGoOn)
{
    const std::tuple<WORD, const wchar_t*, const wchar_t*> cases[] = {
        {WORD{5}, L"--copy", L"install 中文 (简体) - 塔沃拼音输入法; "},
        {WORD{5}, L"--uninstall", L""},
        {WORD{10}, L"--install", L"/s TarvoTSF.ime; "},
        {WORD{10}, L"--uninstall", L"/s /u TarvoTSF.ime; "},
    };
    for (const auto& [major, option, steps] : cases) {
        t_simulatedMachine machine(major, 0);
        const auto lists = machine.State().preload;
        machine.RefuseKeys();
        EXPECT_TRUE(machine.Run(option));
        EXPECT_EQ(steps, machine.Steps());
        EXPECT_EQ(lists, machine.State().preload);
    }
}
