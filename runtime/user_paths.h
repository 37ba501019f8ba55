#pragma once

#include "base/path.h"
#include "diag/error_chain.h"

// Finds the user's roaming application-data directory.
//   path  receives it; unchanged on failure
// Behind it: SHGetFolderPathW.
bool FindAppDataPath(t_errorChain& errors, t_path& path);

// Finds the directory that holds the product's user data: what "path" in section "user" of "TarvoPY\env.ini" (at most
// 64 KiB) in the LocalLow folder names, when that is the absolute path of an existing directory; else the LocalLow
// folder itself, which programs of low integrity can write too. Systems before Vista have no LocalLow folder: there it
// is the local application-data folder.
//   localLow  receives the folder
//   path      receives the directory; both unchanged on failure
// Behind it: SHGetKnownFolderPath or SHGetFolderPathW.
bool FindUserPath(t_errorChain& errors, t_path& localLow, t_path& path);
