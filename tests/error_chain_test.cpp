#include <gtest/gtest.h>

#include <tuple>
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
    EXPECT_EQ(std::pair(true, false), std::pair(chain.IsEmpty(), chain.HasFailed()));
}

TEST(ErrorChain, DiscardingOneKeepsOnlyTheFlag)
{
    t_errorChain chain(t_errorChain::kDiscarding);
    EXPECT_FALSE(chain.Fail(L"%s", L"x"));
    chain.NewEntry() << L"x";
    EXPECT_EQ(L"", chain.NewEntry());
    EXPECT_EQ(std::tuple(true, true, false), std::tuple(chain.HasFailed(), chain.IsEmpty(), chain.KeepsEntries()));
}

TEST(ErrorChain, LinesShowTheFirstNineEntriesAndTheLast)
{
    const std::wstring nine = L"1\r\n2\r\n3\r\n4\r\n5\r\n6\r\n7\r\n8\r\n9", named = L"\r\n\r\n进程名：a.exe";
    const std::tuple<int, const wchar_t*, std::wstring> rows[] = {{0, L"a.exe", L""},
                                                                  {9, L"a.exe", nine + named},
                                                                  {10, nullptr, nine + L"\r\n10"},
                                                                  {12, nullptr, nine + L"\r\n12"}};
    for (const auto& [count, program, expected] : rows) {
        t_errorChain chain;
        for (int i = 1; i <= count; ++i) {
            chain.NewEntry() << i;
        }
        EXPECT_EQ(expected, Joined(chain, program)) << count;
    }
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
