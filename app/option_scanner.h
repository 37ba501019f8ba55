#pragma once

#include <cstdint>

// A reentrant scanner of command-line options: clusters of short options ("-ab"), long options ("--name",
// "--name=text", unambiguous abbreviations), and non-options that are moved behind the options.

// Argument kinds of a long option.
inline constexpr std::int32_t kNoArgument = 0;
inline constexpr std::int32_t kRequiredArgument = 1; // inline after '=' or the next argument
inline constexpr std::int32_t kOptionalArgument = 2; // inline after '=' only

// What GetOptionNext returns besides the letters and values of options.
inline constexpr std::int32_t kOptionsEnd = -1;
inline constexpr std::int32_t kFlagStored = 0;
inline constexpr std::int32_t kNonOption = 1;
inline constexpr std::int32_t kMissingArgument = ':';
inline constexpr std::int32_t kBadOption = '?';

// One entry of a long option table; the table is closed by an all-zero entry.
struct t_longOption
{
    const wchar_t* name;
    std::int32_t argumentKind;
    std::int32_t* flag; // receives the value; null when the value is to be returned
    std::int32_t value;
};

// State of one scan, owned by the caller, who fills the first group and leaves the second as it is.
struct t_optionState
{
    std::int32_t argumentCount = 0;
    wchar_t** arguments = nullptr;             // element 0 is not scanned; no element after the last is needed
    const wchar_t* optionString = nullptr;     // may be null: no short options; see GetOptionNext
    const t_longOption* longOptions = nullptr; // may be null: no long options
    std::int32_t* longIndex = nullptr;         // may be null; receives the table index of a long option that was found

    std::int32_t nextIndex = 0;              // the next argument to examine; 0 starts a scan
    std::int32_t optionLetter = 0;           // the option last found or the offending one; 0 for a bad long name
    const wchar_t* optionArgument = nullptr; // argument text of the last result; null when it has none
    std::int32_t resetFlag = 0;              // not 0: the next call forgets skipped non-options and a begun cluster
    const wchar_t* position = L"";           // the rest of a begun cluster of short options
    std::int32_t firstSkipped = -1;          // the pending run of skipped non-options, both ends included;
    std::int32_t lastSkipped = -1;           // -1 when there is none
};

// Finds the next option. Skipped non-options are moved behind the options inside the vector; at the end the next index
// is that of the first of them.
//   state  the option string holds the letters, "x:" for a required argument, "x::" for an optional one (inline only),
//          "W;" to make "-W name" stand for "--name". Before them may stand '+' (the scan ends at the first non-option,
//          remembered by the process until a scan without '+' starts) or '-' (non-options are returned in their place),
//          and then ':' (a missing argument is told from other errors).
// Returns the option's letter or long value; kFlagStored after storing the value through the entry's flag pointer;
// kNonOption in the '-' mode; kBadOption for an unknown letter or name, an ambiguous abbreviation or an argument that
// the option does not take, and for a missing argument, which gives kMissingArgument in the ':' mode; kOptionsEnd at
// the end, and at a '-' inside a cluster unless it is an option letter. Prints nothing.
std::int32_t GetOptionNext(t_optionState& state);
