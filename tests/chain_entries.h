#pragma once

#include "diag/error_chain.h"

// The chain's texts, oldest first, joined by "|". Of a system error only the number stays: its text is the machine's.
inline std::wstring Entries(const t_errorChain& errors)
{
    std::wstring joined;
    for (const t_str& entry : errors.Entries()) {
        const bool isSystemError = entry.starts_with(L"系统错误");
        joined += (joined.empty() ? L"" : L"|") + entry.substr(0, isSystemError ? entry.find(L':') : entry.npos);
    }
    return joined;
}
