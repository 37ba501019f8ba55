#pragma once

#include <string>

#include "base/handles.h"

// One test of this same program, run in a process of its own. Such tests carry the prefix DISABLED_ in their names, so
// that they run only when they are started here; what they need to know goes through environment variables.
class t_childProcess
{
public:
    explicit t_childProcess(const std::string& test);

    // Waits for the end of the process and returns whether its test passed.
    bool Passed();

private:
    t_handle process;
};
