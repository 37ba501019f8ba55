#pragma once

#include <span>

#include "diag/error_chain.h"

// The two text forms of an error chain. Both clear its failed flag and leave its entries.

// Size in units of the text that a message box shows.
inline constexpr std::size_t kMessageTextUnits = 65536;

// The message-box form: one entry a line, at most the first nine and the last one. An empty chain gives an empty text.
//   buffer       receives the text, cut to its size and always terminated; at least one unit
//   processName  file name of the program, added after an empty line; null for none
void JoinLinesNaming(t_errorChain& chain, std::span<wchar_t> buffer, const wchar_t* processName);

// The one-line log form, appended to text: entries separated by tabs, two tabs, the program's name.
//   processName  file name of the program; null when it is not known
void JoinTabbed(t_errorChain& chain, t_str& text, const wchar_t* processName);
