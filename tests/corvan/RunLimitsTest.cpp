#include "corvan/RunLimits.h"

#include <boost/make_shared.hpp>

#include <gtest/gtest.h>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "tests/corvan/SampleType.h"

using corvan::RunLimits;

namespace
{

constexpr RunLimits k_ofType{.seconds = 60, .memoryMb = 0, .processes = 8, .logMb = 16, .nice = 5};

RunLimits LimitsWith(const char *name, const char *value)
{
    corvan::JobType type = SampleType();
    type.limits = k_ofType;
    corvan::RenderJob job(boost::make_shared<const corvan::JobType>(type));
    EXPECT_TRUE(job.SetParameter(name, value)) << name << " = " << value;
    return corvan::RunLimitsOf(job);
}

} // namespace

TEST(RunLimits, OfAJobAreThoseOfItsTypeTightened)
{
    const struct
    {
        const char *name;
        const char *value;
        unsigned RunLimits::*limit;
        unsigned result;
    } cases[] = {
        {"MaxSeconds", "", &RunLimits::seconds, 60},
        {"MaxSeconds", "10", &RunLimits::seconds, 10},
        {"MaxSeconds", "100", &RunLimits::seconds, 60},
        {"MaxMemoryMB", "100", &RunLimits::memoryMb, 100},
        {"MaxProcesses", "9", &RunLimits::processes, 8},
        {"MaxLogMB", "1", &RunLimits::logMb, 1},
        {"MaxLogMB", "17", &RunLimits::logMb, 16},
        {"Nice", "0", &RunLimits::nice, 5},
        {"MaxProcessors", "2", &RunLimits::processors, 2},
        {"Nice", "19", &RunLimits::nice, 19},
    };
    for (const auto &[name, value, limit, result] : cases)
    {
        RunLimits expected = k_ofType;
        expected.*limit = result;
        EXPECT_EQ(LimitsWith(name, value), expected) << name << " = " << value;
    }
}

TEST(RunLimits, AreWholeNumbersWithinTheirBounds)
{
    const struct
    {
        const char *name;
        const char *value;
        const char *reason;
    } cases[] = {
        {"MaxSeconds", "0", "MaxSeconds: \"0\" is not a whole number from 1 to 1000000000"},
        {"MaxSeconds", "1 h", "MaxSeconds: \"1 h\" is not a whole number from 1 to 1000000000"},
        {"MaxLogMB", "-1", "MaxLogMB: \"-1\" is not a whole number from 1 to 100000"},
        {"Nice", "20", "Nice: \"20\" is not a whole number from 0 to 19"},
        {"MaxProcessors", "0", "MaxProcessors: \"0\" is not a whole number from 1 to 10000"},
        {"Nice", "-5", "Nice: \"-5\" is not a whole number from 0 to 19"},
        {"Nice", "0", ""},
        {"MaxProcesses", "", ""},
    };
    for (const auto &[name, value, reason] : cases)
    {
        const corvan::RenderJob job(boost::make_shared<const corvan::JobType>(SampleType()));
        EXPECT_EQ(job.CheckParameter(name, value), reason) << name << " = " << value;
    }
}
