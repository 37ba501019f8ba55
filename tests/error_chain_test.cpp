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
    EXPECT_EQ(L"", Joined(chain, L"a.exe"));
    chain.NewEntry() << L"first";
    EXPECT_FALSE(chain.HasFailed());
    EXPECT_FALSE(chain.Fail(L"%s:%d%%", L"打开", 7));
    EXPECT_TRUE(chain.HasFailed());
    EXPECT_EQ(L"first\r\n打开:7%", Joined(chain, nullptr));
    EXPECT_FALSE(chain.HasFailed());
    EXPECT_EQ(L"fir", Joined(chain, L"a.exe", 4));

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

TEST(ErrorChain, TabbedFormHasItsTabsWithoutANameToo)
{
    t_errorChain chain;
    t_str text = L"time\t";
    chain.Fail(L"one");
    JoinTabbed(chain, text, nullptr);
    EXPECT_EQ(L"time\tone\t\t", text);
    EXPECT_FALSE(chain.HasFailed());
}
