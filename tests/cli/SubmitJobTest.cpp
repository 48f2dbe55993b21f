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
    static std::string Refusal(const NewJob &newJob)
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
            EXPECT_TRUE(failure && failure->Status() == k_Refused) << error->Text();
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
    EXPECT_EQ(MakeJob({.type = "Command", .patterns = {"/r/a.%d.exr"}})->Name(), "a.%d.exr");
    EXPECT_EQ(MakeJob({.type = "Command"})->Name(), "Command");
}

TEST_F(SubmitJob, RefusesWhatAJobDoesNotTake)
{
    EXPECT_EQ(Refusal({.type = "Commando"}), "no job type 'Commando'; there are Command");
    const NewJob cases[] = {
        {.type = "Command", .range = "1-"},
        {.type = "Command", .range = "1-20000000"},
        {.type = "Command", .settings = {{"PacketSize", "0"}}},
        {.type = "Command", .settings = {{"Status", "asleep"}}},
        {.type = "Command", .settings = {{"Type", "other"}}},
    };
    for (const NewJob &newJob : cases)
        EXPECT_EQ(Refusal(newJob).rfind("cannot set ", 0), 0u) << Refusal(newJob);
}

} // namespace
} // namespace cli
