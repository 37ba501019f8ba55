#pragma once

#include <cstdint>

#include "base/path.h"
#include "diag/error_chain.h"
#include "runtime/product_version.h"

// Finds the directory of the installation, without a trailing backslash.
//   mode  0         the directory of the module that holds the base library
//         1         reads the product's version; the directory of the running program
//         2, 4      the same, but what the product's key in the machine's hive says ("InstallPath") comes first
//         3         reads the product's version; what the key says and nothing else
//         5, 6      the directory of the running program
//         others    nothing is done
//   path     receives the directory; empty on failure, unchanged when nothing is done
//   version  receives the product's version where it is read
// A version that cannot be read is reported and is no failure. Fails, after appending "查找安装路径出错", when the
// directory cannot be had.
[[nodiscard]] bool FindInstallPath(t_errorChain& errors, std::uint32_t mode, t_path& path, t_productVersion& version);
