#pragma once

#include <gtest/gtest.h>

#include <chrono>
#include <cstdint>
#include <cstdlib>
#include <iostream>
#include <iterator>
#include <random>

// The random numbers of one seed, the same on every platform.
class t_random
{
public:
    explicit t_random(std::uint32_t seed) : engine(seed) {}

    std::uint32_t Below(std::size_t limit) { return static_cast<std::uint32_t>(engine() % limit); }
    bool OneIn(std::size_t limit) { return Below(limit) == 0; }

    template <class Choices>
    const auto& Of(const Choices& choices)
    {
        return *std::next(std::begin(choices), static_cast<std::ptrdiff_t>(Below(std::size(choices))));
    }
    template <class Choice>
    const Choice& Of(std::initializer_list<Choice> choices)
    {
        return *(choices.begin() + Below(choices.size()));
    }

private:
    std::mt19937 engine;
};

// Runs a check with the random numbers of one seed after another, up to the first that fails, which is named: of the
// seeds from 1 to a count; when TARVO_FUZZ_SECONDS is set, for so long from a new seed on; when TARVO_FUZZ_SEED is set,
// of that one alone. Tests that use it have "Random" in their names: scripts/fuzz selects them by that.
template <class Check>
void ForRandomSeeds(std::uint32_t count, Check check)
{
    using t_clock = std::chrono::steady_clock;
    const char *const seconds = std::getenv("TARVO_FUZZ_SECONDS"), *const only = std::getenv("TARVO_FUZZ_SEED");
    const t_clock::time_point end = t_clock::now() + std::chrono::seconds(seconds != nullptr ? std::atoi(seconds) : 0);
    const std::uint32_t first = only != nullptr      ? static_cast<std::uint32_t>(std::strtoul(only, nullptr, 10))
                                : seconds != nullptr ? std::random_device{}()
                                                     : 1;
    std::uint32_t runs = 0;
    do {
        SCOPED_TRACE("TARVO_FUZZ_SEED=" + std::to_string(first + runs));
        t_random random(first + runs);
        check(random);
        ++runs;
    } while (!testing::Test::HasFailure() && only == nullptr &&
             (seconds != nullptr ? t_clock::now() < end : runs < count));
    const testing::TestInfo& test = *testing::UnitTest::GetInstance()->current_test_info();
    std::cout << test.test_suite_name() << "." << test.name() << ": " << runs << " runs\n";
}
