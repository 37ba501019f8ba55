#pragma once

#include <cstdint>

// What one run of the installer does. The option letters and names are those of the command line.
enum class t_actionMode : std::uint32_t
{
    Install = 0,   // "install", 'i'; the default
    Uninstall = 1, // "uninstall", 'u'
    Debug = 2,     // "debug", 'd'
    Copy = 3,      // "copy", 'c'
    Delete = 4,    // "delete", 'e'
};

// Reads the action mode from the command line: the first 'c' or 'e' decides, else the last of 'i', 'u' and 'd'. Unknown
// options and ambiguous abbreviations are dropped, non-options are moved behind the options.
//   argc  number of arguments, the program path included
//   argv  the arguments; may be null when there are none
//   mode  not null; the caller's default, which stays when no option names a mode
// Returns false when the command line is rejected.
bool ParseActionOptions(std::int32_t argc, wchar_t** argv, t_actionMode* mode);
