// Many short histories, each with another seed. All that happens in one of them is told by
//   ORDWICK_SEEDS=4711 build/release/tests/simulation_test
// and ORDWICK_SEEDS=1-1000 runs so many.
#include <cstdio>
#include <cstdlib>

#include <gtest/gtest.h>

#include "ostrel/Log.h"
#include "tests/master/TestJobs.h"
#include "tests/simulation/History.h"
#include "tests/simulation/Seeds.h"
#include "tests/support/TempFolder.h"

namespace simulation
{
namespace
{

// How many a test runs: the tests run at the same time.
constexpr unsigned long k_seeds = 50;
constexpr unsigned long k_tests = 8;

std::vector<Seeds> SeedsOfTests()
{
    if (const char *asked = std::getenv("ORDWICK_SEEDS"))
        return {Seeds::Parse(asked).value_or(Seeds{})};
    std::vector<Seeds> all;
    for (unsigned long test = 0; test < k_tests; ++test)
        all.push_back({test * k_seeds + 1, (test + 1) * k_seeds});
    return all;
}

class Simulation : public testing::TestWithParam<Seeds>
{
protected:
    Simulation()
    {
        // All that fails is logged.
        ostrel::LogSettings settings;
        settings.consoleLevel = ostrel::k_LogFatal;
        ostrel::LogStart(settings);
    }
    ~Simulation() override
    {
        ostrel::LogStart({});
    }

    TestJobTypes m_types;
    TempFolder m_folder;
    const History::Setting m_setting = History::MakeSetting(m_folder / "data");
};

TEST_P(Simulation, LosesNothingThatWasAnsweredAndEndsWithAllJobsDone)
{
    const auto [first, last] = GetParam();
    ASSERT_LE(first, last) << "ORDWICK_SEEDS is no seed, and no first and last one";
    Verdict::Listener listener;
    if (first == last)
        listener = [](const std::string &line) { std::puts(line.c_str()); };
    Figures figures;
    for (unsigned long seed = first; seed <= last; ++seed)
    {
        History history(seed, m_setting, listener);
        EXPECT_EQ(history.Run(), "") << "To see how it comes to that: ORDWICK_SEEDS=" << seed;
        figures.Add(history.Done());
    }
    if (last - first + 1 < k_seeds)
        return;
    // That they were histories at all.
    EXPECT_GT(figures.requests, 500);
    EXPECT_GT(figures.crashes, 50);
    EXPECT_GT(figures.commands, 300);
    EXPECT_GT(figures.rights, 50);
    EXPECT_GT(figures.waited, 20);
    EXPECT_GT(figures.inTurn, 0);
    EXPECT_GT(figures.requeues, 5);
    EXPECT_GT(figures.cuts, 0);
    EXPECT_GT(figures.cuts + figures.expired, 1);
}

INSTANTIATE_TEST_SUITE_P(Of, Simulation, testing::ValuesIn(SeedsOfTests()));

class OneSeed : public Simulation
{
};

TEST_P(OneSeed, IsOneHistory)
{
    std::string told[2];
    for (std::string &all : told)
        History(GetParam().first, m_setting, [&](const std::string &line) { all += line + "\n"; })
            .Run();
    EXPECT_GT(told[0].size(), 1000u);
    EXPECT_EQ(told[0], told[1]);
}

INSTANTIATE_TEST_SUITE_P(Of, OneSeed, testing::Values(Seeds{3, 3}, Seeds{8, 8}));

} // namespace
} // namespace simulation
