#include "tests/child_process.h"

#include <gtest/gtest.h>

t_childProcess::t_childProcess(const std::string& test)
{
    char program[MAX_PATH] = {};
    GetModuleFileNameA(nullptr, program, MAX_PATH);
    std::string line = std::string("\"") + program + "\" --gtest_also_run_disabled_tests --gtest_brief=1" +
                       " --gtest_output= --gtest_filter=" + test;
    STARTUPINFOA startup{};
    startup.cb = sizeof(startup);
    PROCESS_INFORMATION started{};
    EXPECT_TRUE(CreateProcessA(program, line.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr, &startup, &started));
    process.Reset(started.hProcess);
    CloseHandle(started.hThread);
}

bool t_childProcess::Passed()
{
    DWORD code = 1;
    return WaitForSingleObject(process.Get(), INFINITE) == WAIT_OBJECT_0 && GetExitCodeProcess(process.Get(), &code) &&
           code == 0;
}
