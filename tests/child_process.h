#pragma once

#include <process.h>

#include <cstdlib>
#include <string>

// Whether one test of this same program passes in a process of its own. Such tests carry the prefix DISABLED_ in their
// names, so that they run only when they are started here; what they need to know goes through environment variables.
inline bool PassesAlone(const std::string& test)
{
    return _spawnl(_P_WAIT, _pgmptr, "tests", "--gtest_also_run_disabled_tests", "--gtest_brief=1",
                   "--gtest_output=", ("--gtest_filter=" + test).c_str(), nullptr) == 0;
}
