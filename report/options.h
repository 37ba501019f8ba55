#pragma once

#include <span>

#include "base/str.h"

namespace n_report {

struct t_options
{
    bool json = false;
    bool help = false;
    t_str output; // path of the file to write; empty for the standard output
};

// Reads the program's options.
//   arguments  without the program; none is null
//   problem    receives what is wrong with them
// Returns false when an argument is not an option, or the file's name is missing.
bool ParseOptions(std::span<const wchar_t* const> arguments, t_options& options, t_str& problem);

} // namespace n_report
