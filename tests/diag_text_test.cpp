#include <gtest/gtest.h>

#include <array>
#include <cstring>
#include <limits>
#include <tuple>
#include <vector>

#include "diag/error_list_layout.h"
#include "diag/format_time.h"

namespace {

TEST(FormatTime, FollowsThePattern)
{
    std::tm time{};
    time.tm_year = 123, time.tm_mon = 3, time.tm_mday = 8, time.tm_wday = 6, time.tm_min = 3, time.tm_sec = 27;
    t_str text = L"kept,";
    FormatTime(text, time, L"%Y-%M-%D(%W) %h:%m:%s 100%% 时%");
    EXPECT_EQ(L"kept,2023-04-08(6) 00:03:27 100% 时", text);
    FormatTime(text = L"kept,", std::time_t{1681819407}, L"%Y%q%M");
    EXPECT_EQ(L"kept,2023", text);
    FormatTime(text, std::numeric_limits<std::time_t>::max(), L"%Y");
    EXPECT_EQ(L"", text);
}

constexpr auto kDone = t_errorListResult::done;

struct ErrorListLayout : testing::Test
{
    ErrorListLayout() { list.InitialiseIfNew(); }

    std::wstring Next()
    {
        t_str text = L"unset";
        bool flag = true;
        EXPECT_EQ(kDone, list.ReadNext(text, flag));
        return text + (flag ? L"!" : L"");
    }
    bool Has(std::wstring_view text)
    {
        bool found = false;
        EXPECT_EQ(kDone, list.Contains(text, found));
        return found;
    }

    std::vector<std::byte> area = std::vector<std::byte>(t_errorListLayout::kBytes);
    t_errorListLayout list{area};
};

TEST_F(ErrorListLayout, StoresEntriesBackToBack)
{
    EXPECT_EQ(kDone, list.Add(L"ab", true));
    EXPECT_EQ(kDone, list.Add(L"错", false));
    list.InitialiseIfNew(); // of an existing list nothing is touched
    std::array<std::uint16_t, 14> units = {0, 16, 26, 0, 12, 0, 1, 'a', 'b', 0, 0, 0x9519, 0, 0};
    EXPECT_EQ(0, std::memcmp(units.data(), area.data(), 28));
    for (const wchar_t* const expected : {L"ab!", L"错", L""}) {
        EXPECT_EQ(expected, Next());
    }
    units[4] = 26; // all is read
    EXPECT_EQ(0, std::memcmp(units.data(), area.data(), 28));
}

TEST_F(ErrorListLayout, KeepsUnreadTextsWithAClearFlagOnce)
{
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(kDone, list.Add(L"once", false));
        EXPECT_EQ(kDone, list.Add(L"twice", true));
    }
    const std::pair<const wchar_t*, bool> rows[] = {
        {L"once", true},    {L"onc", false},   {L"onces", false},
        {L"\1twice", true}, {L"twice", false}, {L"", true}}; // a clear flag reads as an empty text
    for (const auto& [text, present] : rows) {
        EXPECT_EQ(present, Has(text)) << text;
    }
    EXPECT_EQ(L"once", Next());
    EXPECT_FALSE(Has(L"once"));
    EXPECT_EQ(kDone, list.Add(L"once", false));
    EXPECT_EQ(L"twice!", Next());
    EXPECT_EQ(L"twice!", Next());
    EXPECT_EQ(kDone, list.MarkAllRead());
    EXPECT_FALSE(Has(L"once"));
    EXPECT_FALSE(Has(L""));
    EXPECT_EQ(kDone, list.Add(L"", false));
    EXPECT_EQ(L"", Next());
}

TEST_F(ErrorListLayout, HoldsExactlyItsCapacity)
{
    EXPECT_EQ(t_errorListResult::full, list.Add(std::wstring(524281, L'x'), false));
    const std::wstring longest(524280, L'x');
    EXPECT_EQ(kDone, list.Add(longest, false));
    EXPECT_EQ(kDone, list.Add(longest, false)); // present, so it need not fit
    EXPECT_EQ(t_errorListResult::full, list.Add(L"y", true));
    EXPECT_EQ(longest, Next());
    EXPECT_EQ(t_errorListResult::full, list.Add(L"", true)); // space is never given back
}

TEST(DamagedErrorList, IsRefusedAndLeftAlone)
{
    std::vector<std::byte> area(32);
    t_errorListLayout list(area);
    list.InitialiseIfNew();
    EXPECT_EQ(kDone, list.Add(L"abcd", false)); // ends at byte 24
    // A unit and its value, and whether MarkAllRead may pass, which need not look at every string.
    const std::tuple<std::size_t, std::uint16_t, bool> rows[] = {
        {0, 34, false}, {0, 22, false}, {1, 1, false},  {2, 34, false}, {2, 10, false}, {2, 23, false},
        {2, 14, true},  {3, 1, false},  {4, 10, false}, {4, 26, false}, {4, 13, false}, {11, 'e', true}};
    const std::vector<std::byte> sound = area;
    for (const auto& [unit, value, readable] : rows) {
        area = sound;
        std::memcpy(&area[unit * 2], &value, 2);
        const std::vector<std::byte> damaged = area;
        t_str text = L"kept";
        bool flag = true;
        EXPECT_EQ(t_errorListResult::damaged, list.ReadNext(text, flag)) << unit << '=' << value;
        EXPECT_EQ(std::tuple(L"kept", true), std::tuple(text, flag));
        EXPECT_NE(kDone, list.Add(L"x", false)) << unit << '=' << value;
        if (!readable) {
            EXPECT_EQ(t_errorListResult::damaged, list.MarkAllRead()) << unit << '=' << value;
        }
        EXPECT_EQ(damaged, area);
    }
}

} // namespace
