#pragma once

#include <cstddef>

#include "diag/error_chain.h"

// The product's key in either hive.
inline constexpr wchar_t kProductKey[] = L"Software\\TarvoInput";

// The installed product's version; all empty while it is not known.
struct t_productVersion
{
    static constexpr std::size_t kUnits = 512;

    wchar_t text[kUnits] = {};
    char textCp936[kUnits] = {};      // the same in code page 936, cut between characters
    wchar_t buildNumber[kUnits] = {}; // what follows the last "."
};

// Reads the value "Version" (a string of at most 520 bytes) of the product's key in the machine's hive.
//   version  receives it; unchanged on failure
// On failure appends the entries of t_reg and "查找安装路径出错", when there is no key, or "查找版本号出错".
bool ReadProductVersion(t_errorChain& errors, t_productVersion& version);
