#pragma once

#include "base/path.h"

// The name to ask the system for a directory by: a bare drive ("C:"), which would mean its current directory, gets the
// backslash of its root.
t_path DirectoryToAsk(const t_path& path);

// Whether the path names an existing directory; a bare drive means its root. Behind it: GetFileAttributesW.
bool DirectoryExists(const t_path& path);

// Whether there is certainly nothing of that name: a path that cannot be looked at may be there. Behind it:
// GetFileAttributesW.
bool IsMissing(const t_path& path);
