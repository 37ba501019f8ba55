#pragma once

#include "base/open_file.h"
#include "base/path.h"

// Opens or creates a log file for this process alone, for reading and writing, and lets programs of every user and
// integrity read and write it too.
//
// The folder is one that its user can choose and change at any time, and this process may have more rights than that
// user. So the folder is held open, and both it and the file must really lie where they were asked for: nothing is
// opened to everyone that the path reaches over a link, under another name of the file, or in a folder that was
// exchanged meanwhile. Before Vista, where the system cannot tell where an open file lies, the path is looked at by
// name before and after instead.
//   folder  an existing directory; a bare drive means its root
//   name    file name; not null
// Empty when the file cannot be had or is not the one asked for. Behind it: CreateFileW, GetFinalPathNameByHandleW,
// SetSecurityInfo.
[[nodiscard]] t_openFile OpenLogFile(const t_path& folder, const wchar_t* name);
