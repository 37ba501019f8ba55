#pragma once

#include <windows.h>

#include <functional>
#include <map>
#include <set>
#include <string>
#include <string_view>
#include <vector>

// One function that the program imports or looks up, with the ways in which it fails in the field.
struct t_systemCall
{
    struct t_way
    {
        std::intptr_t result;
        DWORD error; // becomes the last error
    };

    const char* name = nullptr;
    void* stub = nullptr;
    void** original = nullptr;      // where the stub finds what it stands for
    std::string_view resource = {}; // what the call hands out, such as "key", or takes back
    int given = 0;                  // how many of them a successful call gives; below 0 for a call that takes one back
    std::vector<t_way> ways = {};   // none for a call that cannot fail
    bool zeroSucceeds = false;      // the result is a status, not a value that the first way's tells a failure by
    void** slot = nullptr;          // null for a function that is looked up at run time, or not used

    bool Succeeded(std::intptr_t result) const
    {
        return zeroSucceeds ? result == 0 : ways.empty() || result != ways.front().result;
    }
};

// Makes the system calls of an action fail, one after the other. What is called by a replacement that stood before this
// object was made belongs to the machine and never fails.
class t_faultSweep
{
public:
    t_faultSweep();
    ~t_faultSweep();
    t_faultSweep(const t_faultSweep&) = delete;
    t_faultSweep& operator=(const t_faultSweep&) = delete;

    // Runs an action undisturbed, then once for each of its calls and each way in which that call fails, then once for
    // each call with that one and all that follow failing; a call that fails does nothing. After each run everything
    // that calls handed out must have been given back.
    //   prepare  makes everything as it was before the first run
    //   check    looks at what a run left
    //   name     for the count of points, which becomes a property of the test
    void Sweep(const std::string& name, const std::function<void()>& prepare, const std::function<void()>& run,
               const std::function<void()>& check);

    // What the last run made fail: whether this function, the first of all (empty for none), and whether every later
    // call too.
    bool Failed(std::string_view function) const { return failed.contains(function); }
    std::string_view FailedFirst() const { return point == 0 ? "" : made[point - 1]->name; }
    bool FailsEveryLater() const { return all; }

    // For the stubs: the way in which this call is to fail, or null; and what a call gave.
    const t_systemCall::t_way* Enter(const t_systemCall& call);
    void Leave(const t_systemCall& call, std::intptr_t result);

private:
    bool armed = false;
    int depth = 0;                         // within calls of the action
    std::size_t calls = 0;                 // so far in this run
    std::size_t point = 0;                 // the number of the call that fails; 0 for none
    std::size_t way = 0;                   // how it fails
    bool all = false;                      // and every later one too
    std::vector<const t_systemCall*> made; // in the undisturbed run
    std::set<std::string_view> failed;
    std::map<std::string_view, int> held; // of each resource
};
