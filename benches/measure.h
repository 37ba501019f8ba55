#pragma once

#include <functional>

// Comparison of two pieces of work that are measured in turn, so that whatever else the machine does meets both.
namespace n_bench {

// Median times in seconds.
struct t_measured
{
    double subject, peer;

    double Ratio() const { return subject / peer; }
};

// Runs both once, then in turn for about as long as asked for, at least five times; three times what takes longer. What
// takes four times as long is measured once: nobody waits for the median of that.
t_measured Measure(const std::function<void()>& subject, const std::function<void()>& peer, double seconds);

// Prints one row of the table.
void PrintRow(const char* row, const char* beside, double ratio, const char* aim, const char* remark);

} // namespace n_bench
