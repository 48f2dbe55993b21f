#include "cli/SubmitJob.h"

#include <memory>

#include <gtest/gtest.h>

#include "corvan/JobFactory.h"
#include "ostrel/PathMap.h"
#include "tests/check/SampleJob.h"

namespace cli
{

using check::SampleType;

namespace
{

class SubmitJob : public testing::Test
{
protected:
    SubmitJob()
    {
        corvan::JobFactory::s_JobFactory.AddType(*SampleType());
    }
    ~SubmitJob() override
    {
        corvan::JobFactory::s_JobFactory.Clear();
    }

    // The reason against a job, or "".
    static std::string Refusal(const NewJob &newJob, ExitStatus status = k_Refused)
    {
        try
        {
            MakeJob(newJob);
            return "";
        }
        catch (ostrel::Exception *raw)
        {
            const std::unique_ptr<ostrel::Exception> error(raw);
            const auto *failure = dynamic_cast<const Failure *>(error.get());
            EXPECT_TRUE(failure && failure->Status() == status) << error->Text();
            return error->Text();
        }
    }
};

TEST_F(SubmitJob, WritesImageFormatsInTheNotationOfTheFarm)
{
    ostrel::PathMap map;
    map.Add("//server/shots", "/mnt/shots");
    ostrel::Path::SetMap(map);
    const auto given = MakeJob({.type = "command", .patterns = {"/mnt/shots/a;b.%d", "/r/c.%d"}});
    const auto set =
        MakeJob({.type = "command", .settings = {{"ImageFormat", "/r/c.%d;/mnt/shots/d.%d"}}});
    ostrel::Path::SetMap({});
    EXPECT_EQ(given->ParameterText("ImageFormat", false), "//server/shots/a\\;b.%d;/r/c.%d");
    EXPECT_EQ(set->ParameterText("ImageFormat", false), "/r/c.%d;//server/shots/d.%d");
}

TEST_F(SubmitJob, SetsWhatIsGivenAndNothingElse)
{
    const auto job = MakeJob({.type = "command",
                              .name = "beauty",
                              .range = "1-10",
                              .patterns = {"/r/a.%04d.exr", "/r/b.%04d.exr"},
                              .settings = {{"Program", "true"}, {"PacketSize", "5"}},
                              .isPaused = true});
    const std::vector<std::pair<String, String>> expected = {
        {"Name", "beauty"}, {"Range", "1-10"},   {"ImageFormat", "/r/a.%04d.exr;/r/b.%04d.exr"},
        {"Status", "4"},    {"Program", "true"}, {"PacketSize", "5"},
    };
    for (const auto &[name, value] : expected)
        EXPECT_EQ(job->ParameterText(name, false), value) << name;
    EXPECT_FALSE(job->ID().IsNil());

    const auto bare = MakeJob({.type = "6d396773-6d80-4f82-823f-fbc6c1cca52f"});
    String value;
    for (const char *name : {"Range", "ImageFormat", "Status", "Program"})
        EXPECT_FALSE(bare->GetParameter(name, value)) << name;
}

TEST_F(SubmitJob, NamesAJobAfterItsFirstPatternOrItsType)
{
    const struct
    {
        const char *pattern;
        const char *name;
    } cases[] = {
        {"/r/tower.%04d.exr", "tower"},
        {"/r/tower_%d.exr", "tower"},
        {"/r/tower - %d.exr", "tower"},
        {"/r/a.b.%d.exr", "a.b"},
        {"/r/50%%_%d.exr", "50%"},
        {"/shots/tower/%04d.exr", "tower"},
        {"/shots/tower/_%04d.exr", "tower"},
        {"/shots/tower/%d_beauty.exr", "tower"},
        {"/%d.exr", "Command"},
        {"/r/a\nb\x1b%d", "ab"},
        {"/r/a\xff.%d", "a\xef\xbf\xbd"},
    };
    for (const auto &[pattern, name] : cases)
    {
        const String found = NameAfterPattern(pattern);
        EXPECT_EQ(found.empty() ? "Command" : found, name) << pattern;
    }
    EXPECT_EQ(MakeJob({.type = "Command", .patterns = {"/r/a.%d.exr", "/r/b.%d.exr"}})->Name(),
              "a");
    EXPECT_EQ(MakeJob({.type = "Command", .patterns = {"/%d.exr"}})->Name(), "Command");
    EXPECT_EQ(MakeJob({.type = "Command"})->Name(), "Command");
}

TEST_F(SubmitJob, RefusesWhatAJobDoesNotTake)
{
    EXPECT_EQ(Refusal({.type = "Commando"}, k_WrongUsage),
              "no job type 'Commando'; there are Command");
    for (const char *range : {"1-", "1-20000000"})
        EXPECT_EQ(Refusal({.type = "Command", .range = range}, k_WrongUsage).rfind("Range: ", 0),
                  0u);
    const NewJob cases[] = {
        {.type = "Command", .settings = {{"PacketSize", "0"}}},
        {.type = "Command", .settings = {{"Status", "asleep"}}},
        {.type = "Command", .settings = {{"Type", "other"}}},
    };
    for (const NewJob &newJob : cases)
        EXPECT_EQ(Refusal(newJob).rfind("cannot make the job: ", 0), 0u) << Refusal(newJob);
    // What is wrong with a pattern is not told of the name that is made of it.
    EXPECT_EQ(Refusal({.type = "Command", .patterns = {"/r/a\xff.%d"}}),
              "cannot make the job: ImageFormat: the value is not UTF-8");
}

} // namespace
} // namespace cli
