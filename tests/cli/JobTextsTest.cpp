#include "cli/JobTexts.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include "cli/TimeTexts.h"
#include "tests/check/SampleJob.h"

namespace cli
{

using check::SampleJob;
using check::SampleType;
namespace
{

// With what the Master counts, which no client sets.
class CountedJob : public corvan::RenderJob
{
public:
    CountedJob() : RenderJob(SampleType())
    {
        SetID(ostrel::UID("aaaa1111-0000-4000-8000-000000000001", true));
        SetParameter(corvan::p_Name, "beauty");
        SetParameter(corvan::p_Status, "1");
        Store(corvan::p_Owner, "anna");
        Store(corvan::p_TasksTotal, "60");
        Store(corvan::p_TasksDone, "12");
        Store(corvan::p_TasksFailed, "2");
    }

    void SetFrames(const char *checked, const char *bad)
    {
        Store(corvan::p_FramesChecked, checked);
        Store(corvan::p_FramesBad, bad);
    }
};

TEST(JobTexts, ListLinesStandUnderTheirHeading)
{
    EXPECT_EQ(ListHeading(),
              "ID        STATUS     TASKS               TYPE        OWNER       NAME");
    EXPECT_EQ(ListLine(CountedJob()),
              "aaaa1111  Running    12/60, 2 failed     Command     anna        beauty");
}

TEST(JobTexts, ListLinesSayOfARequeueWhichJobItIsOneOf)
{
    CountedJob job;
    job.SetParameter(corvan::p_RequeueOf, "bbbb2222-0000-4000-8000-000000000002");
    EXPECT_EQ(ListLine(job),
              "aaaa1111  Running    12/60, 2 failed     Command     anna        beauty "
              "(requeue of bbbb2222)");
}

TEST(JobTexts, ALineTellsWhyAJobWaits)
{
    CountedJob job;
    job.SetParameter(corvan::p_Waiting, "no program pov\x1bray in the search path");
    EXPECT_EQ(ListLine(job),
              "aaaa1111  Running    12/60, 2 failed     Command     anna        beauty "
              "(waits: no program pov\\x1bray in the search path)");
}

TEST(JobTexts, ALineTellsWhenAJobEndsAndWhatOfItIsStuck)
{
    CountedJob job;
    job.SetParameter(corvan::p_ExpectedEnd, "2026-11-20T14:03:09Z");
    job.SetParameter(corvan::p_StuckTasks, "3,7-9");
    const String end = MomentText(*ReadUtc("2026-11-20T14:03:09Z"));
    EXPECT_EQ(
        ListLine(job),
        "aaaa1111  Running    12/60, 2 failed     Command     anna        beauty (ends about " +
            end + ") (stuck: task 3,7-9)");
    job.SetParameter(corvan::p_ExpectedEnd, "");
    job.SetParameter(corvan::p_StuckTasks, "");
    EXPECT_TRUE(ListLine(job).ends_with("beauty"));
}

TEST(JobTexts, AReportTellsHowFarTheEndIsAndMarksWhatIsStuck)
{
    ostrel::Time::SetClock([] { return *ReadUtc("2026-11-20T12:00:00Z"); });
    CountedJob job;
    job.SetParameter(corvan::p_ExpectedEnd, "2026-11-20T14:03:09Z");
    TaskInfo task{4, 5, 5, JobStatus::Running, 1, 0};
    task.stuck = "it has printed nothing for 30:\x1b[31m00";
    const TaskInfo tasks[] = {task, {5, 6, 6, JobStatus::Running, 1, 0}};
    const String report = JobReport(job, tasks);
    const String end = MomentText(*ReadUtc("2026-11-20T14:03:09Z"));
    ostrel::Time::SetClock(nullptr);
    EXPECT_NE(report.find("ExpectedEnd  2026-11-20T14:03:09Z (" + end + ", in 2 h 3 min)\n"),
              String::npos)
        << report;
    EXPECT_TRUE(
        report.ends_with("\ntask 4: frames 5 to 5, Running, tried once, stuck: it has printed "
                         "nothing for 30:\\x1b[31m00\n"))
        << report;
    EXPECT_EQ(TaskJson(task)["stuck"], std::string(task.stuck));
    EXPECT_FALSE(TaskJson(tasks[1]).contains("stuck"));
}

TEST(JobTexts, ALineTellsOfFramesThatAreNotGood)
{
    const struct
    {
        const char *checked;
        const char *bad;
        const char *told;
    } cases[] = {
        {"no", "", ""},
        {"done", "0", ""},
        {"done", "1", " (1 frame bad)"},
        {"done", "12", " (12 frames bad)"},
        {"waiting", "12", " (12 frames bad so far)"},
        {"could not look: no\x1b memory", "3", " (frames: could not look: no\\x1b memory)"},
    };
    for (const auto &[checked, bad, told] : cases)
    {
        CountedJob job;
        job.SetFrames(checked, bad);
        EXPECT_EQ(ListLine(job), ListLine(CountedJob()) + told) << checked << " " << bad;
    }
}

TEST(JobTexts, AJobThatSaysNothingIsQueuedWithoutTasks)
{
    const auto job = SampleJob("aaaa1111-0000-4000-8000-000000000001", "new");
    EXPECT_EQ(StatusOf(*job), JobStatus::Queued);
    EXPECT_EQ(CountsText(CountsOf(*job)), "0/0");
}

TEST(JobTexts, ReportsIndentLinesAndNameFailedTasks)
{
    CountedJob job;
    job.SetParameter("Arguments", "-c\ntrue\x1b[31m");
    const TaskInfo tasks[] = {
        {0, 1, 1, JobStatus::Done, 1, 0},
        {1, 2, 5, JobStatus::Failed, 3, 7},
    };
    EXPECT_EQ(JobReport(job, tasks), "ID           aaaa1111-0000-4000-8000-000000000001\n"
                                     "Type         Command\n"
                                     "Name         beauty\n"
                                     "Status       Running\n"
                                     "Owner        anna\n"
                                     "TasksTotal   60\n"
                                     "TasksDone    12\n"
                                     "TasksFailed  2\n"
                                     "Arguments    -c\n"
                                     "             true\\x1b[31m\n"
                                     "task 1: frames 2 to 5, Failed, tried 3 times, exit code 7\n");
}

TEST(JobTexts, NamesLeaveNothingToATerminalToActOn)
{
    // What a job takes may still hold controls of two bytes.
    CountedJob job;
    ASSERT_TRUE(job.SetParameter(corvan::p_Name, "be\xc2\x9b"
                                                 "31mauty"));
    ASSERT_TRUE(job.SetParameter("Lay\xc2\x9b"
                                 "31mer",
                                 "a"));
    EXPECT_EQ(
        ListLine(job),
        "aaaa1111  Running    12/60, 2 failed     Command     anna        be\\xc2\\x9b31mauty");
    EXPECT_EQ(JobReport(job, {}), "ID                aaaa1111-0000-4000-8000-000000000001\n"
                                  "Type              Command\n"
                                  "Name              be\\xc2\\x9b31mauty\n"
                                  "Status            Running\n"
                                  "Owner             anna\n"
                                  "TasksTotal        60\n"
                                  "TasksDone         12\n"
                                  "TasksFailed       2\n"
                                  "Lay\\xc2\\x9b31mer  a\n");
}

TEST(JobTexts, TellWhatBecameOfATask)
{
    const struct
    {
        TaskInfo task;
        const char *text;
    } cases[] = {
        {{0, 1, 1, JobStatus::Done, 1, 0}, "frames 1 to 1, Done, tried once, exit code 0"},
        {{0, 1, 5, JobStatus::Failed, 3, 7}, "frames 1 to 5, Failed, tried 3 times, exit code 7"},
        {{0, 1, 5, JobStatus::Failed, 3, -1},
         "frames 1 to 5, Failed, tried 3 times, ended by a signal"},
        {{0, 1, 1, JobStatus::Running, 1, 0}, "frames 1 to 1, Running, tried once"},
        {{0, 1, 1, JobStatus::Running, 2, 7},
         "frames 1 to 1, Running, tried 2 times, the one before: exit code 7"},
        {{0, 1, 1, JobStatus::Queued, 1, 7}, "frames 1 to 1, Queued, tried once, exit code 7"},
        {{0, 1, 1, JobStatus::Cancelled, 1, 0}, "frames 1 to 1, Cancelled, tried once"},
        {{0, 1, 1, JobStatus::Failed, 3, 0, "it left /x\x1b.png empty"},
         "frames 1 to 1, Failed, tried 3 times, it left /x\\x1b.png empty"},
        {{0, 1, 1, JobStatus::Running, 2, -1, "it took longer than 5 seconds"},
         "frames 1 to 1, Running, tried 2 times, the one before: it took longer than 5 seconds"},
    };
    for (const auto &[task, text] : cases)
        EXPECT_EQ(TaskText(task), text);
}

TEST(JobTexts, LeaveNothingToATerminalToActOn)
{
    CountedJob job;
    job.SetParameter(corvan::p_Name, "a\xc2\x9b"
                                     "2J");
    job.SetParameter("Odd\xc2\x9b", "\x1b]0;x\x07");
    const TaskInfo tasks[] = {{1, 2, 5, JobStatus::Failed, 3, 7}};
    for (const String &text :
         {ListLine(job), JobReport(job, tasks), JsonText(JobJson(job)), JsonText("a\x7f")})
        for (const char *control : {"\x1b", "\x07", "\x7f", "\xc2\x9b"})
            EXPECT_EQ(text.find(control), String::npos) << text;
    EXPECT_TRUE(ListLine(job).ends_with("a\\xc2\\x9b2J")) << ListLine(job);
    EXPECT_EQ(nlohmann::ordered_json::parse(JsonText(JobJson(job))), JobJson(job));
}

TEST(JobTexts, JsonHoldsAllThatIsSetInItsOrder)
{
    EXPECT_EQ(JobJson(CountedJob()).dump(),
              R"({"id":"aaaa1111-0000-4000-8000-000000000001","type":"Command","name":"beauty",)"
              R"("status":"Running","parameters":{"Name":"beauty","Status":"1","Owner":"anna",)"
              R"("TasksTotal":"60","TasksDone":"12","TasksFailed":"2"}})");
    EXPECT_EQ(TaskJson({1, -2, 5, JobStatus::Failed, 3, -1}).dump(),
              R"({"index":1,"firstFrame":-2,"lastFrame":5,"status":"Failed","tries":3,)"
              R"("exitCode":-1,"reason":""})");
}

TEST(JobTexts, JsonReplacesBytesThatAreNoText)
{
    EXPECT_EQ(JsonText("a\xff z"), "\"a\xef\xbf\xbd z\"");
}

} // namespace
} // namespace cli
