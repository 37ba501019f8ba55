#pragma once

#include <string>

#include "report/model.h"

namespace n_report {

// The report as JSON in UTF-8, indented by two blanks and ended by LF. README.md describes it; its names are stable.
std::string RenderJson(const t_report& report);

} // namespace n_report
