#pragma once

#include "base/path.h"
#include "report/model.h"

namespace n_report {

// Reads what there is to know of a file: its presence, size and version.
//   path  full path
t_file ReadFile(const t_path& path);

// The same, with what the verification says that the product makes before it starts a program.
t_file ReadVerifiedFile(const t_path& path);

// The same, with who signed the file. A module in the system directory is verified by its place alone, so this asks
// what stands behind that: a signature of the maker's, or a digest of the maker's list.
t_file ReadSignedFile(const t_path& path);

} // namespace n_report
