#pragma once

#include <cstddef>
#include <cstdint>

#include "base/path.h"
#include "base/simple_array.h"
#include "diag/error_chain.h"

// A running program.
struct t_program
{
    std::uint32_t processId = 0;
    t_str name; // file name
};

// Lists the running programs that have a library loaded, by the path that it was loaded from: one that was renamed
// since counts with its old name. The 64-bit libraries of 64-bit programs are looked at.
//   path      full path of the library; letter case is ignored
//   programs  receives the programs in the order of the system's list
//   unseen    receives the number of programs whose libraries this one may not list
// On failure appends the system error and "无法列出进程". Behind it: CreateToolhelp32Snapshot.
bool FindProgramsHolding(t_errorChain& errors, const t_path& path, itl::ImmSimpleArray<t_program>& programs,
                         std::size_t& unseen);
