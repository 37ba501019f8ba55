#include "benches/measure.h"

#include <algorithm>
#include <chrono>
#include <cstdio>
#include <vector>

namespace n_bench {

namespace {

using t_clock = std::chrono::steady_clock;

double SecondsSince(t_clock::time_point start)
{
    return std::chrono::duration<double>(t_clock::now() - start).count();
}

double SecondsOf(const std::function<void()>& work)
{
    const auto start = t_clock::now();
    work();
    return SecondsSince(start);
}

double Median(std::vector<double>& times)
{
    const auto middle = times.begin() + static_cast<std::ptrdiff_t>(times.size() / 2);
    std::nth_element(times.begin(), middle, times.end());
    return *middle;
}

} // namespace

t_measured Measure(const std::function<void()>& subject, const std::function<void()>& peer, double seconds)
{
    const double firstSubject = SecondsOf(subject), firstPeer = SecondsOf(peer);
    const double both = firstSubject + firstPeer;
    if (both > 4 * seconds) {
        return {firstSubject, firstPeer};
    }
    // Three times are enough for what takes seconds.
    const std::size_t least = both > seconds ? 3 : 5;
    std::vector<double> subjects, peers;
    for (const auto start = t_clock::now(); subjects.size() < least || SecondsSince(start) < seconds;) {
        subjects.push_back(SecondsOf(subject));
        peers.push_back(SecondsOf(peer));
    }
    return {Median(subjects), Median(peers)};
}

void PrintRow(const char* row, const char* beside, double ratio, const char* aim, const char* remark)
{
    std::printf("%s\t%s\t%.2f\t%s\t%s\n", row, beside, ratio, aim, remark);
    std::fflush(stdout);
}

} // namespace n_bench
