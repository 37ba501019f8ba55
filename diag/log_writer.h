#pragma once

#include <cstdint>

#include "diag/error_chain.h"

// The two log files, "error.log" and "userschdule.log": UTF-16LE with a mark, one line a request, cut to their later
// part when they reach 100 KB. Writing is off unless the user's hive turns it on, and gives up silently.

// Whether "EnErrorLog" (REG_DWORD) under "Software\TarvoInput" of the current user has any bit of the mask set.
bool IsErrorLogEnabled(std::uint32_t mask);

// Append the chain as one line: the local time, the number unless it is 0, the entries and the program's file name.
// The chain keeps its entries; its failed flag is cleared when a line is made.
//   mask       bits of "EnErrorLog" of which one must be set; otherwise the chain is not touched
//   directory  an existing directory; null for "TarvoPy" in the runtime's user data directory, which is looked up once
//              per process: when it is not known then, this and every later request appends "获取用户目录失败"
// A file that is a link of any kind, or is reached over one, is left alone: giving everyone access to it could open
// somebody else's file.
void LogError(t_errorChain& chain, std::uint32_t mask, const wchar_t* directory);
void LogSchedule(t_errorChain& chain, std::uint32_t mask, std::uint32_t number, const wchar_t* directory);
