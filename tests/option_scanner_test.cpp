#include "app/action_options.h"
#include "app/option_scanner.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <random>
#include <string>
#include <string_view>
#include <tuple>
#include <utility>
#include <vector>

#ifndef _WIN32
#include <getopt.h>
#endif

namespace {

// The arguments of a line split at every blank, with exactly as many pointers as there are arguments, so that reading
// past the last one is found.
template <class Unit>
struct t_arguments
{
    explicit t_arguments(const std::string& line)
    {
        texts.emplace_back();
        for (std::size_t begin = 0, end = 0; end < line.size(); begin = end + 1) {
            end = std::min(line.find(' ', begin), line.size());
            texts.emplace_back(line.data() + begin, line.data() + end);
        }
        for (auto& text : texts) {
            pointers.push_back(text.data());
        }
    }
    int Count() const { return static_cast<int>(pointers.size()); }

    std::vector<std::basic_string<Unit>> texts;
    std::vector<Unit*> pointers;
};

// A scan in one line: each result as "a" or a number, "!x" for the letter of an error, "=text" for the option argument,
// "#2" for the index of a long option, "@3" for the next index; then "|" and the final order of the arguments.
//   next  makes one step and returns its result, letter, option argument, long index and next index
template <class Unit, class Next>
std::string Trace(const t_arguments<Unit>& line, Next next)
{
    const auto narrow = [](std::basic_string_view<Unit> units) { return std::string(units.begin(), units.end()); };
    const auto unit = [](int value) {
        return value > ' ' && value < 127 ? std::string(1, static_cast<char>(value)) : std::to_string(value);
    };
    std::string trace;
    for (bool more = true; more;) {
        const auto [result, letter, argument, longIndex, nextIndex] = next();
        trace += unit(result) + (result == '?' || result == ':' ? "!" + unit(letter) : "") +
                 (argument != nullptr ? "=" + narrow(argument) : "") +
                 (longIndex >= 0 ? "#" + std::to_string(longIndex) : "") + "@" + std::to_string(nextIndex) + " ";
        more = result != -1;
    }
    trace += "|";
    for (std::size_t i = 1; i < line.pointers.size(); ++i) {
        trace += " " + narrow(line.pointers[i]);
    }
    return trace;
}

std::string Scan(const wchar_t* options, const t_longOption* table, const std::string& text)
{
    t_arguments<wchar_t> line(text);
    t_optionState state{line.Count(), line.pointers.data(), options, table};
    return Trace(line, [&] {
        std::int32_t longIndex = -1;
        state.longIndex = &longIndex;
        const std::int32_t result = GetOptionNext(state);
        return std::tuple(result, state.optionLetter, state.optionArgument, longIndex, state.nextIndex);
    });
}

TEST(OptionScanner, Traces)
{
    std::int32_t flag = 0;
    const t_longOption table[] = {
        {L"none", kNoArgument, nullptr, 300},
        {L"need", kRequiredArgument, nullptr, 'n'},
        {L"maybe", kOptionalArgument, &flag, 302},
        {L"ab", kNoArgument, nullptr, 'p'},
        {L"a", kNoArgument, nullptr, 'q'},
        {L"xyz", kNoArgument, nullptr, 'x'},
        {L"xyy", kNoArgument, nullptr, 'x'},
        {L"xy", kNoArgument, nullptr, 'x'},
        {},
    };
    const struct
    {
        const wchar_t* options;
        bool hasTable;
        const char* line;
        const char* trace;
    } rows[] = {
        {nullptr, false, "-a x", "?!a@2 -1@2 | -a x"},
        {L"", true, "x  - --none", "300#0@5 -1@2 | --none x  -"},
        // A '-' inside a cluster ends the scan, unless it is a letter; without a table every long option does.
        {L"iu", true, "-i-u", "i@1 -1@1 | -i-u"},
        {L"iu", true, "-i-", "i@1 -1@2 | -i-"},
        {L"i-", false, "-i- --i", "i@1 -@2 -@2 i@3 -1@3 | -i- --i"},
        {L"i", false, "--none", "-1@1 | --none"},
        {L"a;W;", true, "-a;: -:", "a@1 ;@1 ?!:@2 ?!:@3 -1@3 | -a;: -:"},
        {L"W;", false, "-WW", "W@1 W@2 -1@2 | -WW"},
        // The second abbreviation before the exact match makes a name ambiguous; one does not.
        {L"", true, "--a --ab --xy --xyz", "q#4@2 p#3@3 ?!0@4 x#5@5 -1@5 | --a --ab --xy --xyz"},
        {L"", true, "--n --= --q --no=1", "?!0@2 ?!0@3 ?!0@4 ?!300@5 -1@5 | --n --= --q --no=1"},
        {L"-:b:", true, "--need -- x --maybe=t -b", "n=--#1@3 1=x@4 0=t#2@5 :!b@6 -1@6 | --need -- x --maybe=t -b"},
        {L"b::W;", true, "-b -bx -Wnone -W need=1 -W",
         "b@2 b=x@3 300#0@4 n=1#1@6 ?!W@7 -1@7 "
         "| -b -bx -Wnone -W need=1 -W"},
        // Groups of different lengths, with and without a common divisor.
        {L"ab:", true, "1 2 -a 3 -b 4 5 6 -aa -- -a 7", "a@4 b=4@7 a@9 a@10 -1@6 | -a -b 4 -aa -- 1 2 3 5 6 -a 7"},
    };
    for (const auto& row : rows) {
        EXPECT_EQ(Scan(row.options, row.hasTable ? table : nullptr, row.line), row.trace);
    }
    EXPECT_EQ(flag, 302);
}

TEST(OptionScanner, StateBetweenCalls)
{
    t_optionState state{3};
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    state.position = nullptr;
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    wchar_t* nulls[] = {nullptr, nullptr};
    state = {2, nulls};
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);

    t_arguments<wchar_t> line("x -i-u");
    state = {line.Count(), line.pointers.data(), L"+iu"};
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    state.optionString = L"iu"; // the '+' holds for the later calls of the scan
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    state.nextIndex = 0; // and is forgotten by the next scan
    EXPECT_EQ(GetOptionNext(state), 'i');
    t_optionState late{line.Count(), line.pointers.data(), L"+iu"}; // unless a later call brings it
    late.nextIndex = 1;
    EXPECT_EQ(GetOptionNext(late), kOptionsEnd);
    EXPECT_EQ(late.nextIndex, 1);
    EXPECT_EQ(GetOptionNext(state), kOptionsEnd);
    EXPECT_EQ(state.optionLetter, '-');
    EXPECT_EQ(GetOptionNext(state), 'u');
    state = {line.Count(), line.pointers.data(), L"iu"};
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
        {Delete, {"--del", "-debug", "-delete", "-ec", "--unknown --delete"}},
    };
    for (const auto& [expected, lines] : rows) {
        for (const std::string& text : lines) {
            t_arguments<wchar_t> line(text);
            t_actionMode mode = Install;
            EXPECT_TRUE(ParseActionOptions(line.Count(), line.pointers.data(), &mode));
            EXPECT_EQ(mode, expected) << text;
        }
    }
    t_actionMode mode = Debug;
    EXPECT_TRUE(ParseActionOptions(0, nullptr, &mode));
    EXPECT_EQ(mode, Debug);
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
TEST(OptionScanner, LikeTheCLibrary)
{
    const std::string names[] = {"in", "copy", "install", "un", "file", "debug", "uninstall", "delete"};
    const std::wstring wideNames[] = {L"in", L"copy", L"install", L"un", L"file", L"debug", L"uninstall", L"delete"};
    const std::string prefixes[] = {"", "", "+", "-", ":", "+:", "-:"};
    int flags[2] = {};
    option table[9] = {};
    t_longOption wideTable[9] = {};
    for (int i = 0; i < 8; ++i) {
        table[i] = {names[i].c_str(), i % 3, i % 4 == 0 ? &flags[0] : nullptr, 1000 + i};
        wideTable[i] = {wideNames[i].c_str(), i % 3, i % 4 == 0 ? &flags[1] : nullptr, 1000 + i};
    }
    unsetenv("POSIXLY_CORRECT");
    opterr = 0;
    std::mt19937 random(20240607);
    const auto pick = [&](const auto& choices) { return choices[random() % std::size(choices)]; };
    for (int round = 0; round < 20000; ++round) {
        const auto unused = random() % 9;
        std::string options = pick(prefixes);
        for (const char* letter : {"a", "b:", "c::", "W;", "d"}) {
            options += random() % 4 != 0 ? letter : "";
        }
        std::string text;
        for (auto count = random() % 8; count > 0; --count) {
            const std::string name = pick(names), part = name.substr(0, random() % name.size() + 1);
            const std::string letters = "abcd:?xW", cluster = {pick(letters), pick(letters)};
            const std::string starts[] = {"", "-", "-", "--", "--", "-W"};
            const std::string ends[] = {"", "b", "=v", cluster, part, part, part + "=v"};
            text += (text.empty() ? "" : " ") + pick(starts) + pick(ends);
        }
        t_arguments<char> line(text);
        optind = 0;
        const std::string expected = Trace(line, [&] {
            int longIndex = -1;
            const int result =
                getopt_long(line.Count(), line.pointers.data(), options.c_str(), table + unused, &longIndex);
            return std::tuple(result, optopt, optarg, longIndex, optind);
        });
        const std::wstring wideOptions(options.begin(), options.end());
        ASSERT_EQ(Scan(wideOptions.c_str(), wideTable + unused, text), expected) << options << ": " << text;
        ASSERT_EQ(flags[0], flags[1]);
    }
}
#endif

} // namespace
