#pragma once

#include "report/model.h"

namespace n_report {

// Judges what was gathered: everything that is wrong on the machine, in a fixed order of kinds, each with the action
// that mends it. The findings that the report holds already are not looked at.
t_list<t_finding> Judge(const t_report& report);

} // namespace n_report
