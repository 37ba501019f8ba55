#pragma once

#include "report/model.h"

namespace n_report {

// The report as lines of text, each ended by LF. Control characters, which anybody may have put into the registry, show
// as U+FFFD.
t_str RenderText(const t_report& report);

} // namespace n_report
