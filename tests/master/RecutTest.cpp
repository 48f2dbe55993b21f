#include "master/requests/Recut.h"

#include <gtest/gtest.h>

#include "tests/master/TestJobs.h"

using namespace master;

namespace
{

using Keep = Cuts::Keep;

std::vector<Packet> Cut(const char *range, const char *packetSize, const char *order = "given")
{
    String reason;
    return CutPackets(
        *MakeTestJob({{"Range", range}, {"PacketSize", packetSize}, {"FrameOrder", order}}),
        &reason);
}

// The tasks as letters, one each: the statuses by their first, "-" for one without a record.
std::string Letters(const std::vector<TaskState> &tasks, std::size_t count)
{
    std::string letters(count, '-');
    for (const TaskState &task : tasks)
        letters.at(task.index) = corvan::StatusName(task.status)[0];
    return letters;
}

std::vector<TaskState> Tasks(const std::string &letters)
{
    std::vector<TaskState> tasks;
    for (unsigned i = 0; i < letters.size(); ++i)
        for (const JobStatus status : {JobStatus::Queued, JobStatus::Running, JobStatus::Done,
                                       JobStatus::Failed, JobStatus::Cancelled})
            if (letters[i] == corvan::StatusName(status)[0])
                tasks.push_back({.index = i, .status = status, .tries = i + 1});
    return tasks;
}

class RecutTest : public testing::Test
{
    TestJobTypes m_types;
};

} // namespace

TEST_F(RecutTest, KeepsWhatIsInBothCutsAndWhatIsRenderedAlready)
{
    const struct
    {
        const char *before, *sizeBefore, *tasks;
        const char *after, *sizeAfter, *kept;
        Keep keep = Keep::Frames;
    } cases[] = {
        {"1-3", "1", "DDD", "1-5", "1", "DDD--"},
        {"4-6", "1", "DFR", "1-7", "1", "---DFR-"},
        {"1-6", "1", "DDFRQ", "3-5", "1", "FRQ"},
        {"1-3", "1", "DDD", "7-9", "1", "---"},
        {"1-9x2", "1", "DDDDD", "1-5", "1", "D-D-D"},
        {"1-6", "2", "DD", "1-8", "2", "DD--"},
        {"1-6", "2", "DD", "2-8", "2", "D---"}, // 2-3 lies in what is rendered: 1 to 4.
        {"1-6", "1", "DDDD", "1-6", "2", "DD-"},
        {"1-6", "1", "DDDFDD", "1-6", "3", "D-"},
        {"1-6", "3", "DR", "1-6", "1", "DDD---"},
        {"1-9x2", "1", "DDDDD", "1-9x2", "5", "--"}, // Packets are rendered without gaps.
        {"1-4", "1", "CDC", "1-5", "1", "CDC--"},
        {"-3-0", "1", "DD", "-5-0", "1", "--DD--"},
        {"1-6", "1", "DDDD", "1-6", "2", "---", Keep::Packets},
        {"4-6", "1", "DFR", "1-7", "1", "---DFR-", Keep::Packets},
        {"4-6", "1", "DFR", "4-7", "1", "----", Keep::Nothing},
    };
    for (const auto &[before, sizeBefore, tasks, after, sizeAfter, kept, keep] : cases)
    {
        const auto old = Cut(before, sizeBefore);
        const auto cut = Cut(after, sizeAfter);
        const Recut recut = RecutTasks({old, cut, keep}, JobState(), Tasks(tasks));
        const std::string letters = Letters(recut.tasks, cut.size());
        EXPECT_EQ(letters, kept) << before << " to " << after;
        EXPECT_EQ(recut.done, unsigned(std::ranges::count(letters, 'D')));
        EXPECT_EQ(recut.failed, unsigned(std::ranges::count(letters, 'F')));
        EXPECT_TRUE(std::ranges::is_sorted(recut.tasks, {}, &TaskState::index));
    }
}

TEST_F(RecutTest, KeepsTheSameInWhateverOrderThePacketsAre)
{
    const struct
    {
        const char *before, *orderBefore, *tasks;
        const char *after, *orderAfter, *kept;
        const char *sizeAfter = "1";
    } cases[] = {
        // Frames 3, 4, 2, 5, 1 to 1, 2, 3, 4, 5.
        {"1-5", "middle", "DFR", "1-5", "given", "-RDF-"},
        {"1-5", "given", "-RDF-", "1-5", "middle", "DFR--"},
        // 1, 7, 4, 2, 3, 5, 6 to 4, 5, 3, 6, 2, 7, 1.
        {"1-7", "ends:3", "DRD", "1-7", "middle", "D----RD"},
        // Frames 4, 5, 3 are rendered, so the packets 3-4 and 5 to 6 are, or not.
        {"1-7", "middle", "DDD", "3-6", "middle", "D-", "2"},
        // 3, 4, 2, 5, 1 to 5, 6, 4, 7, 3, 8, 2, 9, 1.
        {"1-5", "middle", "DDDDD", "1-9", "middle", "D-D-D-D-D"},
    };
    for (const auto &[before, orderBefore, tasks, after, orderAfter, kept, sizeAfter] : cases)
    {
        const auto old = Cut(before, "1", orderBefore);
        const auto cut = Cut(after, sizeAfter, orderAfter);
        const Recut recut = RecutTasks({old, cut}, JobState(), Tasks(tasks));
        const std::string letters = Letters(recut.tasks, cut.size());
        EXPECT_EQ(letters, kept) << before << " " << orderBefore << " to " << after << " "
                                 << orderAfter;
        EXPECT_EQ(recut.done, unsigned(std::ranges::count(letters, 'D')));
        EXPECT_TRUE(std::ranges::is_sorted(recut.tasks, {}, &TaskState::index));
    }
}

TEST_F(RecutTest, KeptTasksHaveTheirTriesTheirLogsAndTheirCommands)
{
    const auto old = Cut("4-6", "1");
    const auto cut = Cut("1-7", "1");
    std::vector<TaskState> tasks = Tasks("DRR");
    tasks[2].log = 3;
    JobState state;
    state.logBase = 100;
    const Recut recut = RecutTasks({old, cut}, state, tasks);
    ASSERT_EQ(recut.tasks.size(), 3u);
    EXPECT_EQ(recut.tasks[1].tries, 2u);
    EXPECT_EQ(recut.tasks[0].log, 100);
    EXPECT_EQ(recut.tasks[1].log, 101);
    EXPECT_EQ(recut.tasks[2].log, 3);
    EXPECT_EQ(recut.running, (std::map<unsigned, unsigned>{{1, 4}, {2, 5}}));
}

TEST_F(RecutTest, AJobThatRenumbersKeepsPacketsOnlyWhereItsFirstFrameStays)
{
    const struct
    {
        TestParameters parameters;
        int before, after;
        Keep keep;
    } cases[] = {
        {{}, 1, 1, Keep::Frames},
        {{}, 5, 1, Keep::Frames},
        {{{"RenumberBy", "2"}}, 5, 5, Keep::Packets},
        {{{"RenumberBy", "2"}}, 5, 1, Keep::Nothing},
        {{{"RenumberStart", "1"}}, 5, 1, Keep::Nothing},
        {{{"RenumberStart", "1"}}, 5, 5, Keep::Packets},
        {{{"RenumberStart", "1"}}, 1, 1, Keep::Frames},
        {{{"SequenceBy", "0.5"}}, 1, 1, Keep::Packets},
    };
    for (const auto &[parameters, before, after, keep] : cases)
    {
        const auto job = MakeTestJob(parameters);
        EXPECT_EQ(FindKeep(*job, *job, {before, before}, {after, after}), keep)
            << before << " to " << after;
    }
    EXPECT_EQ(FindKeep(*MakeTestJob({{"RenumberStart", "1"}}),
                       *MakeTestJob({{"RenumberStart", "11"}}), {5, 5}, {5, 5}),
              Keep::Nothing);
}
