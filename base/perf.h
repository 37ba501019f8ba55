#pragma once

#include <cstdint>

// Which of the two registry switches turns a measurement on.
enum class t_perfKind
{
    section,  // "EnablePerf": long operations
    function, // "EnableFunPerf": functions that are called often
};

// Measures one named stretch of code for the life of a block. Off by default: then it costs one test. The switches are
// values of "SoftWare\TarvoInput" in the current user's hive and are read once per process; when one is on, count and
// total time of each name go to the debugger's output at process exit. Ending a measurement keeps the thread's last
// error code.
class t_perfSection
{
public:
    //   name  a literal; not null
    [[nodiscard]] t_perfSection(t_perfKind kind, const wchar_t* name);
    ~t_perfSection();
    t_perfSection(const t_perfSection&) = delete;
    t_perfSection& operator=(const t_perfSection&) = delete;

private:
    const wchar_t* name; // null while measuring is off
    std::int64_t begin = 0;
};
