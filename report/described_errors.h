#pragma once

#include "diag/error_chain.h"

namespace n_report {

// What a chain says, on one line: its entries, joined by "; ".
inline t_str DescribeErrors(const t_errorChain& errors)
{
    t_str text;
    for (const t_str& entry : errors.Entries()) {
        text << (text.empty() ? L"" : L"; ") << entry;
    }
    return text;
}

} // namespace n_report
