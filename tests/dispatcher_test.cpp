#include <gtest/gtest.h>

#include "app/dispatcher.h"
#include "tests/simulated_machine.h"

// The random machines run every option; these are the modes without one.
TEST(Dispatcher, ModeWithoutAnOptionIsTheCallers)
{
    for (const auto& [mode, text] :
         {std::pair{0, L"中文(简体) - 塔沃拼音输入法"}, {5, L"中文 (简体) - 塔沃拼音输入法"}}) {
        t_simulatedMachine machine(6, 1);
        machine.Run(L"", static_cast<t_actionMode>(mode));
        EXPECT_EQ(FormatStr(L"install %s; ", text), machine.Steps());
    }
}

TEST(Dispatcher, CommandLineThatCannotBeSplitIsRejected)
{
    t_errorChain errors;
    t_actionMode mode = t_actionMode::Install;
    EXPECT_FALSE(ParseAndDispatch(errors, nullptr, 0, &mode));
    EXPECT_EQ(L"参数不合法", errors.Entries().front());
}
