#include "app/action_options.h"
#include "app/option_scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <sstream>
#include <string>
#include <tuple>
#include <vector>

#include "tests/random_runs.h"

#ifndef _WIN32
#include <getopt.h>
#endif

namespace {

// The arguments of a line split at every blank, with exactly as many pointers as there are arguments, so that reading
// past the last one is found.
template <class Unit>
struct t_arguments
{
    explicit t_arguments(const std::string& line) : texts(1)
    {
        std::istringstream stream(line);
        for (std::string text; std::getline(stream, text, ' ');) {
            texts.emplace_back(text.begin(), text.end());
        }
        for (auto& text : texts) {
            pointers.push_back(text.data());
        }
    }
    int Count() const { return static_cast<int>(pointers.size()); }

    std::vector<std::basic_string<Unit>> texts;
    std::vector<Unit*> pointers;
};

template <class Unit>
std::string Narrow(const Unit* text)
{
    const std::basic_string_view<Unit> units = text != nullptr ? text : std::basic_string_view<Unit>();
    return std::string(units.begin(), units.end());
}

// The results of a scan up to its end. The table's last entry is the beginning of the two others.
std::string Results(const wchar_t* options, const std::string& text, bool hasTable = false)
{
    const t_longOption table[] = {{L"xy1", 0, nullptr, 'y'}, {L"xy2", 0, nullptr, 'z'}, {L"xy", 0, nullptr, 'x'}, {}};
    t_arguments<wchar_t> line(text);
    t_optionState state{line.Count(), line.pointers.data(), options, hasTable ? table : nullptr};
    std::string results;
    for (std::int32_t result; (result = GetOptionNext(state)) != kOptionsEnd;) {
        results += static_cast<char>(result);
    }
    return results;
}

TEST(OptionScanner, DiffersFromTheCLibrary)
{
    EXPECT_EQ("i", Results(L"iu", "-i-u")); // a '-' inside a cluster ends the scan, unless it is a letter
    EXPECT_EQ("i-", Results(L"i-", "-i-"));
    EXPECT_EQ("", Results(L"i", "--i")); // and without a table begins a long option
    EXPECT_EQ(";WW?", Results(L"W;", "-;WW:"));
    EXPECT_EQ("?", Results(nullptr, "-a x"));
    EXPECT_EQ("?z", Results(L"", "--xy --xy2", true)); // two abbreviations before the exact match

    t_arguments<wchar_t> line("x -iu");
    t_optionState state{line.Count(), line.pointers.data(), L"+iu"};
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    state.optionString = L"iu"; // the '+' holds for the later calls of the scan
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    state.nextIndex = 0; // and is forgotten by the next scan
    EXPECT_EQ(GetOptionNext(state), 'i');
    state.resetFlag = 1; // drops the begun cluster and the skipped "x"
    EXPECT_EQ(GetOptionNext(state), 'i');
    EXPECT_EQ(state.firstSkipped, -1);
}

TEST(ActionOptions, Modes)
{
    using enum t_actionMode;
    const std::pair<t_actionMode, std::vector<std::string>> rows[] = {
        {Install, {"", "--inst", "-install", "-uninstall", "-ui", "/u install x", "-- -u", "-i-u", "--un=yes", "-U"}},
        {Uninstall, {"--un", "-u", "--uninstall --install=yes", "-du", "-u-c", "-u:?x", "x -u y --de --d"}},
        {Debug, {"--deb", "-d", "-ud", "x --debug -- -c"}},
        {Copy, {"--co", "-ci", "-ic", "-u --copy -e -i", "x -c"}},
        {Delete, {"--del", "-debug", "-delete", "-ec", "--unknown --delete"}}};
    for (const auto& [expected, lines] : rows) {
        for (const std::string& text : lines) {
            t_arguments<wchar_t> line(text);
            t_actionMode mode = Install;
            EXPECT_TRUE(ParseActionOptions(line.Count(), line.pointers.data(), &mode));
            EXPECT_EQ(mode, expected) << text;
        }
    }
}

#ifndef _WIN32
// Random command lines give the same results as the C library's getopt_long, but for deliberate differences, which the
// choices below keep clear of:
//  - '-' inside a cluster ends the scan instead of being an unknown letter: no cluster holds one, a table is given;
//  - the ';' of "W;" is a letter: no cluster holds one;
//  - a second abbreviation before the exact match is ambiguous: no name is the beginning of two others;
//  - so are abbreviations of entries with equal meaning: all values differ;
//  - the option letter is set by good options too: compared after errors only;
//  - the environment does not switch permuting off, and '+' outlives the option string: one string for a whole scan;
//  - nothing is printed.
TEST(OptionScanner, RandomLinesAreScannedAsByTheCLibrary)
{
    const std::string names[] = {"in", "copy", "install", "un", "file", "debug", "uninstall", "delete"};
    const std::string prefixes[] = {"", "", "+", "-", ":", "+:", "-:"};
    std::wstring wideNames[8];
    int flag = 0, wideFlag = 0;
    option table[9] = {};
    t_longOption wideTable[9] = {};
    for (int i = 0; i < 8; ++i) {
        wideNames[i].assign(names[i].begin(), names[i].end());
        table[i] = {names[i].c_str(), i % 3, i % 4 == 0 ? &flag : nullptr, 1000 + i};
        wideTable[i] = {wideNames[i].c_str(), i % 3, i % 4 == 0 ? &wideFlag : nullptr, 1000 + i};
    }
    unsetenv("POSIXLY_CORRECT");
    opterr = 0;
    ForRandomSeeds(20000, [&](t_random& random) {
        const auto unused = random.Below(9);
        std::string options = random.Of(prefixes), text;
        for (const char* letter : {"a", "b:", "c::", "W;", "d"}) {
            options += !random.OneIn(4) ? letter : "";
        }
        for (auto count = random.Below(8); count > 0; --count) {
            const std::string name = random.Of(names), part = name.substr(0, random.Below(name.size()) + 1);
            const std::string letters = "abcd:?xW", cluster = {random.Of(letters), random.Of(letters)};
            const std::string starts[] = {"", "-", "-", "--", "--", "-W"};
            const std::string ends[] = {"", "b", "=v", cluster, part, part, part + "=v"};
            text += (text.empty() ? "" : " ") + random.Of(starts) + random.Of(ends);
        }
        SCOPED_TRACE(options + ": " + text);
        const std::wstring wideOptions(options.begin(), options.end());
        t_arguments<char> line(text);
        t_arguments<wchar_t> wideLine(text);
        t_optionState state{line.Count(), wideLine.pointers.data(), wideOptions.c_str(), wideTable + unused};
        optind = 0;
        for (int result = 0; result != -1;) {
            int index = -1, wideIndex = -1;
            state.longIndex = &wideIndex;
            result = getopt_long(line.Count(), line.pointers.data(), options.c_str(), table + unused, &index);
            ASSERT_EQ(result, GetOptionNext(state));
            ASSERT_EQ(std::tuple(optind, index, Narrow(optarg)),
                      std::tuple(state.nextIndex, wideIndex, Narrow(state.optionArgument)));
            ASSERT_EQ(optopt, result == '?' || result == ':' ? state.optionLetter : optopt);
        }
        ASSERT_TRUE(std::equal(line.pointers.begin(), line.pointers.end(), wideLine.pointers.begin(),
                               [](auto* narrow, auto* wide) { return Narrow(narrow) == Narrow(wide); }));
        ASSERT_EQ(flag, wideFlag);
    });
}
#endif

} // namespace
