#pragma once

#include <cstddef>
#include <string_view>

#include "report/model.h"

namespace n_report {

// The last lines of a log file in UTF-16LE, oldest first, without line ends and the mark.
//   bytes  the file's end, from a whole character on
//   whole  whether it is the whole file; otherwise its first line is cut and left out
t_texts LastLines(std::string_view bytes, bool whole, std::size_t count);

} // namespace n_report
