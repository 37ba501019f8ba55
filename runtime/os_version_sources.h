#pragma once

#include "runtime/os_flags.h"

// The two sources of the system's version. Both are looked up at run time and give an all-zero answer when they are
// missing or fail.

// What the kernel's own library says, whatever the program's manifest is. Behind it: RtlGetVersion.
t_osVersion ReadKernelOsVersion();

// What the documented call says, which stops at 6.2 for a program without a manifest. Behind it: GetVersionExW.
t_osVersion ReadDocumentedOsVersion();
