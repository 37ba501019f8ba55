#pragma once

#include <string_view>

#include "base/path.h"

// A command as programs register it with the shell, taken apart.
struct t_shellCommand
{
    t_path program;  // full path of an .exe file on a drive
    t_str arguments; // what follows, without the blanks before it
};

// Splits a command line as the shell does: a program in quotation marks ends at the closing one; without them every
// blank may end it, and the first part that names an existing file, perhaps with ".exe" added, is the program. When
// none does, it ends at the first blank.
//   command  environment variables expanded; any user's program may have written it
//   exists   tells whether a path names a file; not null
//   result   receives the parts; unchanged on failure
// Returns false for a command that names no .exe file by a full path on a drive, or whose path leads over "..", names a
// stream of a file, or is longer than 259 characters, and for one with control characters.
bool SplitShellCommand(std::wstring_view command, bool (*exists)(const t_path& path), t_shellCommand& result);
