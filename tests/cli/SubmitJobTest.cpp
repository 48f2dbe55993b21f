#include "cli/SubmitJob.h"

#include <memory>
#include <thread>

#include <gtest/gtest.h>

#include "cli/RunCorvan.h"
#include "corvan/JobFactory.h"
#include "ostrel/PathMap.h"
#include "tests/check/SampleJob.h"
#include "tests/support/FakeMaster.h"
#include "tests/support/TempFolder.h"

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

// Runs `corvan submit` against what `serve` does with the Masters at the address.
struct Submitted
{
    ExitStatus status;
    std::string printed;
    std::string errors;
};

template <typename Serve> Submitted RunSubmit(Serve serve)
{
    const TempFolder folder;
    const std::string address = "unix:" + (folder / "m.sock").Text();
    Submitted submitted{};
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    {
        auto master = std::make_unique<FakeMaster>(address);
        std::jthread serving([&] { serve(address, master); });
        submitted.status = RunCorvan({"submit", "Command", "--range", "1", "--paused", "--master",
                                      address, "--options", (folder / "none.ini").Text()});
    }
    submitted.printed = testing::internal::GetCapturedStdout();
    submitted.errors = testing::internal::GetCapturedStderr();
    return submitted;
}

TEST(SubmitAgain, SendsTheSameJobWhereTheConnectionBrokeBeforeTheAnswer)
{
    std::string first;
    std::string second;
    const Submitted submitted = RunSubmit(
        [&](const std::string &address, std::unique_ptr<FakeMaster> &master)
        {
            first = master->LastOf(2).job().SerializeAsString();
            master.reset();
            master = std::make_unique<FakeMaster>(address);
            const corvan::wire::Envelope again = master->LastOf(2);
            second = again.job().SerializeAsString();
            corvan::wire::Envelope answer;
            answer.set_answers(again.serial());
            answer.mutable_accepted()->set_job(again.job().id());
            master->Send(answer);
        });
    EXPECT_EQ(submitted.status, k_Done) << submitted.errors;
    EXPECT_FALSE(first.empty());
    EXPECT_EQ(first, second);
    corvan::wire::Job job;
    ASSERT_TRUE(job.ParseFromString(second));
    EXPECT_EQ(submitted.printed, job.id() + "\n");
}

TEST(SubmitAgain, TellsARefusalOfTheSecondTryAsIt)
{
    const Submitted submitted = RunSubmit(
        [&](const std::string &address, std::unique_ptr<FakeMaster> &master)
        {
            master->LastOf(2);
            master.reset();
            master = std::make_unique<FakeMaster>(address);
            const corvan::wire::Envelope again = master->LastOf(2);
            corvan::wire::Envelope answer;
            answer.set_answers(again.serial());
            answer.mutable_refused()->set_reason("no");
            master->Send(answer);
        });
    EXPECT_EQ(submitted.status, k_Refused);
    EXPECT_NE(submitted.errors.find("the Master refused"), std::string::npos) << submitted.errors;
}

TEST(SubmitAgain, NamesTheJobWhereItGivesUp)
{
    std::string id;
    const Submitted submitted = RunSubmit(
        [&](const std::string &address, std::unique_ptr<FakeMaster> &master)
        {
            id = master->LastOf(2).job().id();
            master.reset();
            master = std::make_unique<FakeMaster>(address, FakeMaster::Greeting::Refusal);
        });
    EXPECT_EQ(submitted.status, k_NoMaster);
    EXPECT_NE(submitted.errors.find("the job is " + id + " if it was kept"), std::string::npos)
        << submitted.errors;
    EXPECT_EQ(submitted.printed, "");
}

TEST_F(SubmitJob, TakesAnIdentifierThatIsOne)
{
    const String id = "aaaa1111-0000-4000-8000-000000000001";
    EXPECT_EQ(MakeJob({.type = "Command", .id = id})->ID().ToString(), id);
    EXPECT_EQ(Refusal({.type = "Command", .id = "aaaa1111"}, k_WrongUsage),
              "--id: 'aaaa1111' is no identifier of a job");
    EXPECT_FALSE(MakeJob({.type = "Command"})->ID().IsNil());
}

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
