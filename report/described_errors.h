#pragma once

#include "diag/system_error.h"

namespace n_report {

// What a chain says, on one line: its entries, joined by "; ".
t_str DescribeErrors(const t_errorChain& errors);

// What a system error is, behind the name of what it concerns.
t_str DescribeSystemError(const t_str& subject, DWORD code);

} // namespace n_report
