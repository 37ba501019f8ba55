#pragma once

#include <string_view>

#include "base/str.h"
#include "diag/error_chain.h"

// Loads the text that an indirect string such as "@%SystemRoot%\system32\input.dll,-5000" names.
//   text      receives the text, cut to 259 characters; empty on failure
//   indirect  an at sign (may be missing), a library path with environment variables between percent signs, a comma and
//             the number of a string resource, whose sign is dropped
// On failure appends what failed and a summary. Behind it: GetEnvironmentVariableW, LoadLibraryExW as a data file,
// LoadStringW.
bool LoadIndirectString(t_errorChain& errors, t_str& text, std::wstring_view indirect);
