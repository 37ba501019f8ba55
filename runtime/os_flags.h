#pragma once

#include <cstdint>
#include <string_view>

// An answer to the question which Windows runs. All zero when the question could not be asked.
struct t_osVersion
{
    std::uint32_t major = 0;
    std::uint32_t minor = 0;
    bool servicePackAsked = false; // whether the source told about service packs at all
    std::int32_t servicePack = -1; // below 0: none
};

struct t_osFlags
{
    bool oldSystem = false; // older than XP with service pack 3, Windows Server 2003 excepted
    bool vistaOrLater = false;
    bool inInternetExplorer = false; // told only on Vista and later
    bool windows8OrLater = false;
    bool windows10OrLater = false;
};

// Judges the system from the answers of two sources, which may differ: a compatibility mode or a manifest changes what
// one of them tells.
//   kernel       what counts; documented takes its place when it is all zero
//   documented   asked again for windows10OrLater, which either source sets
//   programName  file name of the running program
t_osFlags JudgeOs(const t_osVersion& kernel, const t_osVersion& documented, std::wstring_view programName);
