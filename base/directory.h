#pragma once

#include "base/path.h"

// Whether the path names an existing directory. A bare drive ("C:") means its root, not its current directory. Behind
// it: GetFileAttributesW.
bool DirectoryExists(const t_path& path);
