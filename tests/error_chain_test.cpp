#include <gtest/gtest.h>

#include <vector>

#include "diag/error_chain.h"
#include "diag/join.h"

namespace {

std::wstring Joined(t_errorChain& chain, const wchar_t* processName, std::size_t units = kMessageTextUnits)
{
    std::vector<wchar_t> buffer(units, L'#');
    JoinLinesNaming(chain, buffer, processName);
    return buffer.data();
}

void AddEntries(t_errorChain& chain, int count)
{
    for (int i = 1; i <= count; ++i) {
        chain.NewEntry() << i;
    }
}

} // namespace

TEST(ErrorChain, FailFormatsAnEntryAndReturnsFalse)
{
    t_errorChain chain;
    chain.NewEntry() << L"first";
    EXPECT_FALSE(chain.HasFailed());
    EXPECT_FALSE(chain.Fail(L"%s:%d%%", L"打开", 7));
    EXPECT_TRUE(chain.HasFailed());
    EXPECT_EQ(L"first\r\n打开:7%", Joined(chain, nullptr));
    EXPECT_FALSE(chain.HasFailed());

    chain.Fail(L"%s", L"more");
    chain.Clear();
    EXPECT_TRUE(chain.IsEmpty());
    EXPECT_FALSE(chain.HasFailed());
    chain.NewEntry() << L"after";
    EXPECT_EQ(L"after", Joined(chain, nullptr));
}

TEST(ErrorChain, DiscardingOneKeepsOnlyTheFlag)
{
    t_errorChain chain(t_errorChain::kDiscarding);
    EXPECT_FALSE(chain.Fail(L"%s", L"x"));
    EXPECT_TRUE(chain.HasFailed());
    chain.NewEntry() << L"x";
    EXPECT_EQ(L"", chain.NewEntry());
    EXPECT_TRUE(chain.IsEmpty());
    EXPECT_FALSE(chain.KeepsEntries());
}

TEST(ErrorChain, LinesShowTheFirstNineEntriesAndTheLast)
{
    const std::pair<int, const wchar_t*> cases[] = {
        {9, L"1\r\n2\r\n3\r\n4\r\n5\r\n6\r\n7\r\n8\r\n9"},
        {10, L"1\r\n2\r\n3\r\n4\r\n5\r\n6\r\n7\r\n8\r\n9\r\n10"},
        {12, L"1\r\n2\r\n3\r\n4\r\n5\r\n6\r\n7\r\n8\r\n9\r\n12"},
    };
    for (const auto& [count, expected] : cases) {
        t_errorChain chain;
        AddEntries(chain, count);
        EXPECT_EQ(expected, Joined(chain, nullptr)) << count;
    }
    t_errorChain chain;
    EXPECT_EQ(L"", Joined(chain, L"a.exe"));
    AddEntries(chain, 1);
    EXPECT_EQ(L"1\r\n\r\n进程名：a.exe", Joined(chain, L"a.exe"));
}

TEST(ErrorChain, LinesAreCutToTheBuffer)
{
    t_errorChain chain;
    chain.NewEntry().assign(kMessageTextUnits + 5, L'x');
    chain.NewEntry() << L"lost";
    EXPECT_EQ(std::wstring(kMessageTextUnits - 1, L'x'), Joined(chain, L"a.exe"));
    EXPECT_EQ(L"", Joined(chain, nullptr, 1));
    EXPECT_EQ(L"xxx", Joined(chain, nullptr, 4));
}

TEST(ErrorChain, TabbedFormHasItsTabsWithoutEntriesToo)
{
    t_errorChain chain;
    for (const wchar_t* const expected : {L"time\t\t\t", L"time\tone\t\t"}) {
        t_str text = L"time\t";
        JoinTabbed(chain, text, nullptr);
        EXPECT_EQ(expected, text);
        EXPECT_FALSE(chain.HasFailed());
        chain.Fail(L"one");
    }
}
