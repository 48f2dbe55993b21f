// The program corvan-master as it ships: its options, its signals, its death.
#include "tests/master/MasterProgram.h"

#include <SQLiteCpp/Database.h>
#include <csignal>
#include <filesystem>
#include <fstream>
#include <sys/resource.h>
#include <sys/stat.h>
#include <thread>

#include <gtest/gtest.h>

#include "ostrel/UID.h"
#include "tests/master/OwnGroup.h"
#include "tests/master/RawClient.h"
#include "tests/support/TempFolder.h"

using ostrel::UID;

namespace
{

const char *const k_command_type = "6d396773-6d80-4f82-823f-fbc6c1cca52f";

class MasterProgramTest : public ::testing::Test
{
protected:
    // Listens at this test's socket.
    std::unique_ptr<MasterProgram> Start(std::vector<std::string> arguments = {})
    {
        arguments.insert(arguments.end(), {"--listen", (m_folder / "m.sock").Text()});
        auto program = std::make_unique<MasterProgram>(m_folder.Folder(), arguments);
        EXPECT_EQ(program->ReadLine(),
                  "corvan-master: listening on unix:" + (m_folder / "m.sock").Text() +
                      ", data in " + (m_folder / "data").Text())
            << program->Errors();
        return program;
    }

    // A job that runs this script for each of two frames.
    wire::Envelope JobEnvelope(const std::string &script)
    {
        wire::Envelope envelope;
        wire::Job &job = *envelope.mutable_job();
        job.set_id(UID(true).ToString());
        job.set_type(k_command_type);
        for (const auto &[name, value] : {std::pair<std::string, std::string>{"Range", "1-2"},
                                          {"Program", "/bin/sh"},
                                          {"Arguments", "-c\n" + script + "\nrender\n{Frame}"}})
        {
            wire::Parameter &parameter = *job.add_parameters();
            parameter.set_name(name);
            parameter.set_value(value);
        }
        return envelope;
    }

    std::string InFolder(const std::string &leaf) const
    {
        return "'" + (m_folder / leaf).Text() + "'";
    }

    // Reads the numbers of two processes that the scripts have written.
    std::vector<pid_t> WaitForProcesses(RawClient &client)
    {
        std::vector<pid_t> processes(2);
        for (int frame : {1, 2})
        {
            // Asking the Master takes a moment and ends with its own time limit.
            while (processes[std::size_t(frame - 1)] == 0 &&
                   client.Ask(GetTasksEnvelope(UID(true).ToString())))
            {
                std::ifstream file((m_folder / ("pid" + std::to_string(frame))).Text());
                file >> processes[std::size_t(frame - 1)];
            }
        }
        return processes;
    }

    pid_t ReadNumber(const std::string &leaf) const
    {
        std::ifstream file((m_folder / leaf).Text());
        pid_t number = 0;
        file >> number;
        return number;
    }

    static std::vector<wire::Task> TasksOf(RawClient &client, const std::string &job)
    {
        const auto answer = client.Ask(GetTasksEnvelope(job));
        EXPECT_TRUE(answer && answer->task_list().tasks_size() == 2);
        if (!answer)
            return {};
        return {answer->task_list().tasks().begin(), answer->task_list().tasks().end()};
    }

    static bool IsAlive(pid_t process)
    {
        std::ifstream stat("/proc/" + std::to_string(process) + "/stat");
        std::string text((std::istreambuf_iterator<char>(stat)), {});
        const std::size_t name = text.rfind(") ");
        return name != std::string::npos && text[name + 2] != 'Z' && text[name + 2] != 'X';
    }

    // A script whose own child goes on until the file "go" is there, and that fails in the end
    // where "go" holds nothing.
    std::string LongScript(const std::string &before = {}) const
    {
        return "sh -c '" + before +
               "echo $$ > \"$2.new\"; mv \"$2.new\" \"$2\"; while [ ! -e \"$1\" ]; do sleep "
               "0.01; done' inner " +
               InFolder("go") + " " + InFolder("pid") + "$1; exit 0";
    }

    TempFolder m_folder;
};

// Kills the Master while its two commands run, and starts another.
class KilledMasterTest : public MasterProgramTest
{
protected:
    // The second one finds its data in a folder of this name.
    void QueuesWhatRanAgain(const std::string &script, const std::string &nextData = "data")
    {
        auto program = Start();
        const wire::Envelope job = JobEnvelope(script);
        std::vector<pid_t> processes;
        {
            RawClient client(program->Address());
            ASSERT_TRUE(client.SayHello());
            ASSERT_TRUE(client.Ask(job)->has_accepted());
            processes = WaitForProcesses(client);
            program->Signal(SIGKILL);
            EXPECT_EQ(program->WaitForEnd(), -1);
        }
        EXPECT_TRUE(std::filesystem::exists((m_folder / "m.sock").Text().c_str()));
        for (const char *leaf : {"pid1", "pid2"})
            std::filesystem::remove((m_folder / leaf).Text().c_str());

        program = std::make_unique<MasterProgram>(
            m_folder.Folder(), std::vector<std::string>{"--data", (m_folder / nextData).Text(),
                                                        "--listen", (m_folder / "m.sock").Text()});
        EXPECT_NE(program->ReadLine(), "") << program->Errors();
        RawClient client(program->Address());
        ASSERT_TRUE(client.SayHello());
        for (const pid_t process : WaitForProcesses(client))
            ASSERT_GT(process, 0) << ContentOf(m_folder / "log");
        for (const pid_t process : processes)
            EXPECT_FALSE(IsAlive(process)) << "beside its successor";
        m_folder.MakeFile("go");
        ASSERT_TRUE(client.Ask(FollowEnvelope(job.job().id()))->has_accepted());
        const auto present = client.Ask(GetJobEnvelope(job.job().id()));
        ASSERT_TRUE(ParameterOf(present->job(), "Status") == "2" ||
                    client.ReceiveUntil(IsNews("Status", "2")));
        for (const wire::Task &task : TasksOf(client, job.job().id()))
        {
            EXPECT_EQ(task.status(), 2);
            EXPECT_EQ(task.tries(), 2u);
        }
    }
};

TEST_F(KilledMasterTest, QueuesWhatRanAgain)
{
    QueuesWhatRanAgain(LongScript());
}

TEST_F(KilledMasterTest, StartsNothingBesideACommandThatDetachedItself)
{
    QueuesWhatRanAgain("setsid env -i /bin/" + LongScript("trap \"\" TERM; "));
}

// A Master is known by its store, and not by what its folder is called.
TEST_F(KilledMasterTest, StartsNothingBesideACommandOfAMasterThatCalledItsFolderOtherwise)
{
    std::filesystem::create_symlink("data", (m_folder / "link").Text().c_str());
    QueuesWhatRanAgain("setsid env -i /bin/" + LongScript("trap \"\" TERM; "), "link");
}

TEST_F(KilledMasterTest, HasTheRecordOfWhatItAnsweredAlsoWhereItsFileHasLostIt)
{
    const wire::Envelope job = JobEnvelope("exit 0");
    const std::string file = (m_folder / "data/audit.log").Text();
    {
        const auto program = Start({"--slots", "0"});
        RawClient client(program->Address());
        ASSERT_TRUE(client.SayHello());
        ASSERT_TRUE(client.Ask(job)->has_accepted());
        program->Signal(SIGKILL);
        EXPECT_EQ(program->WaitForEnd(), -1);
    }
    const auto linesOfJob = [&]
    {
        int count = 0;
        std::ifstream lines(file);
        for (std::string line; std::getline(lines, line);)
            count += line.find(job.job().id()) != std::string::npos ? 1 : 0;
        return count;
    };
    EXPECT_EQ(linesOfJob(), 1);
    // As a power cut may leave it: what is answered is safe in the store, and the file comes later.
    std::filesystem::resize_file(file, 0);
    for (int start = 0; start < 2; ++start)
    {
        const auto program = Start({"--slots", "0"});
        EXPECT_EQ(linesOfJob(), 1);
        program->Signal(SIGKILL);
        EXPECT_EQ(program->WaitForEnd(), -1);
    }
}

// In a control group that was handed over to the Master.
class MasterInGroupTest : public MasterProgramTest
{
protected:
    void SetUp() override
    {
        if (!m_own.Folder())
            GTEST_SKIP() << "this machine has no control groups, or lets this user make none";
    }

    // Those of tasks that are there now.
    std::vector<std::filesystem::path> TaskGroups() const
    {
        std::vector<std::filesystem::path> groups;
        for (const auto &entry :
             std::filesystem::directory_iterator(m_own.Folder()->Text().c_str()))
            if (entry.path().filename().string().starts_with("task."))
                groups.push_back(entry.path());
        return groups;
    }

    static std::string GroupOf(pid_t process)
    {
        const std::string text = ContentOf("/proc/" + std::to_string(process) + "/cgroup");
        return text.substr(text.find("0::"));
    }

    OwnGroup m_own;
};

TEST_F(MasterInGroupTest, GivesEachTaskOneOfItsOwnAndTakesItBack)
{
    const auto program = Start();
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    const wire::Envelope job = JobEnvelope("setsid env -i /bin/" + LongScript("trap \"\" TERM; "));
    ASSERT_TRUE(client.Ask(job)->has_accepted());
    const std::vector<pid_t> processes = WaitForProcesses(client);
    for (const pid_t process : processes)
        EXPECT_NE(GroupOf(process).find("/task."), std::string::npos) << GroupOf(process);
    EXPECT_NE(GroupOf(processes[0]), GroupOf(processes[1]));
    EXPECT_EQ(TaskGroups().size(), 2u);

    ASSERT_TRUE(client.Ask(FollowEnvelope(job.job().id()))->has_accepted());
    m_folder.MakeFile("go");
    ASSERT_TRUE(client.ReceiveUntil(IsNews("Status", "2")));
    EXPECT_TRUE(TaskGroups().empty());
}

// Nothing else finds a process that has detached itself and lost all that could have known it.
TEST_F(MasterInGroupTest, EndsWhatAnEarlierOneLeftAlsoWhereItsKeepersWereKilledWithIt)
{
    auto program = Start();
    const wire::Envelope job =
        JobEnvelope("echo $PPID > " + InFolder("keeper") + "$1; setsid env -i /bin/" +
                    LongScript("trap \"\" TERM; "));
    std::vector<pid_t> writers;
    {
        RawClient client(program->Address());
        ASSERT_TRUE(client.SayHello());
        ASSERT_TRUE(client.Ask(job)->has_accepted());
        writers = WaitForProcesses(client);
        const pid_t keepers[] = {ReadNumber("keeper1"), ReadNumber("keeper2")};
        for (const pid_t keeper : keepers)
            ASSERT_EQ(::kill(keeper, SIGSTOP), 0) << "lest it ends what it holds";
        program->Signal(SIGKILL);
        EXPECT_EQ(program->WaitForEnd(), -1);
        for (const pid_t keeper : keepers)
            ::kill(keeper, SIGKILL);
        for (const char *leaf : {"pid1", "pid2"})
            std::filesystem::remove((m_folder / leaf).Text().c_str());
    }
    for (const pid_t process : writers)
        EXPECT_TRUE(IsAlive(process));

    program = Start();
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    WaitForProcesses(client);
    for (const pid_t process : writers)
        EXPECT_FALSE(IsAlive(process)) << "beside its successor";
    EXPECT_EQ(TaskGroups().size(), 2u);
}

TEST_F(MasterInGroupTest, LimitsTheMemoryOfATask)
{
    if (ContentOf(*m_own.Folder() / "cgroup.controllers").find("memory") == std::string::npos)
        GTEST_SKIP() << "the control groups of this machine limit no memory";
    const auto program = Start();
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    wire::Envelope job =
        JobEnvelope("echo > " + InFolder("pid") + "$1; head -c 300000000 /dev/zero | tail -n 1");
    wire::Parameter &limit = *job.mutable_job()->add_parameters();
    limit.set_name("MaxMemoryMB");
    limit.set_value("40");
    ASSERT_TRUE(client.Ask(job)->has_accepted());
    std::string reason;
    for (auto answer = client.Ask(GetTasksEnvelope(job.job().id())); reason.empty() && answer;
         answer = client.Ask(GetTasksEnvelope(job.job().id())))
        reason = answer->task_list().tasks(0).reason();
    EXPECT_EQ(reason, "it took more memory than 40 MiB");
}

TEST_F(MasterInGroupTest, LimitsTheProcessorsOfATask)
{
    if (ContentOf(*m_own.Folder() / "cgroup.controllers").find("cpu") == std::string::npos)
        GTEST_SKIP() << "the control groups of this machine limit no processors";
    const auto program = Start();
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    wire::Envelope job = JobEnvelope(LongScript());
    wire::Parameter &limit = *job.mutable_job()->add_parameters();
    limit.set_name("MaxProcessors");
    limit.set_value("1");
    ASSERT_TRUE(client.Ask(job)->has_accepted());
    WaitForProcesses(client);
    ASSERT_EQ(TaskGroups().size(), 2u);
    for (const std::filesystem::path &group : TaskGroups())
        EXPECT_EQ(ContentOf((group / "cpu.max").string()), "100000 100000\n");
}

// A writer without a session, a mark or a keeper, which holds a lock on its frame.
TEST_F(MasterProgramTest, RunsATaskThatLostItsKeeperOnceItsWritersAreGone)
{
    const auto program = Start();
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    const std::string lock = "exec 9>> \"$2.frame\"; flock -n 9 || echo > \"$2.both\"; "
                             "trap \"\" TERM; ";
    const wire::Envelope job = JobEnvelope("echo $PPID > " + InFolder("keeper") +
                                           "$1; setsid env -i /bin/" + LongScript(lock));
    ASSERT_TRUE(client.Ask(job)->has_accepted());
    const std::vector<pid_t> writers = WaitForProcesses(client);
    for (const char *frame : {"1", "2"})
    {
        std::filesystem::remove((m_folder / (std::string("pid") + frame)).Text().c_str());
        const pid_t keeper = ReadNumber(std::string("keeper") + frame);
        ASSERT_GT(keeper, 0);
        ::kill(keeper, SIGKILL);
    }

    WaitForProcesses(client);
    for (const pid_t process : writers)
        EXPECT_FALSE(IsAlive(process)) << "beside its successor";
    for (const char *leaf : {"pid1.both", "pid2.both"})
        EXPECT_FALSE(std::filesystem::exists((m_folder / leaf).Text().c_str())) << leaf;
    ASSERT_TRUE(client.Ask(FollowEnvelope(job.job().id()))->has_accepted());
    m_folder.MakeFile("go");
    ASSERT_TRUE(client.ReceiveUntil(IsNews("Status", "2")));
    for (const wire::Task &task : TasksOf(client, job.job().id()))
        EXPECT_EQ(task.tries(), 1u) << "no fault of the task";
}

TEST_F(MasterProgramTest, EndsItsCommandsAndItselfWhenItIsAsked)
{
    for (const int signal : {SIGTERM, SIGINT})
    {
        auto program = Start();
        RawClient client(program->Address());
        ASSERT_TRUE(client.SayHello());
        const wire::Envelope job = JobEnvelope(LongScript());
        ASSERT_TRUE(client.Ask(job)->has_accepted());
        const std::vector<pid_t> processes = WaitForProcesses(client);

        program->Signal(signal);
        EXPECT_EQ(program->WaitForEnd(), 0) << program->Errors();
        for (const pid_t process : processes)
            EXPECT_FALSE(IsAlive(process));
        EXPECT_FALSE(std::filesystem::exists((m_folder / "m.sock").Text().c_str()));

        program = Start({"--slots", "0"});
        RawClient again(program->Address());
        ASSERT_TRUE(again.SayHello());
        for (const wire::Task &task : TasksOf(again, job.job().id()))
            EXPECT_EQ(task.status(), 0);
        ASSERT_TRUE(again.Ask(SetEnvelope(job.job().id(), "Status", "5"))->has_accepted());
        for (const char *leaf : {"pid1", "pid2"})
            std::filesystem::remove((m_folder / leaf).Text().c_str());
    }
}

TEST_F(MasterProgramTest, KeepsItsManyDescriptorsFromItsCommands)
{
    rlimit before{};
    ::getrlimit(RLIMIT_NOFILE, &before);
    const rlimit usual{600, before.rlim_max};
    ::setrlimit(RLIMIT_NOFILE, &usual);
    const auto program = Start();
    ::setrlimit(RLIMIT_NOFILE, &before);
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    const wire::Envelope job = JobEnvelope("ulimit -n > " + InFolder("limit") + "$1");
    ASSERT_TRUE(client.Ask(FollowEnvelope(job.job().id()))->has_accepted());
    ASSERT_TRUE(client.Ask(job)->has_accepted());
    ASSERT_TRUE(client.ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(ContentOf(m_folder / "limit1"), "600\n");
}

TEST_F(MasterProgramTest, FailsNoTaskWhereItHasNoDescriptorsLeftAndGoesOnOnceItHas)
{
    const auto program = Start();
    RawClient client(program->Address());
    ASSERT_TRUE(client.SayHello());
    wire::Envelope job = JobEnvelope("true");
    job.mutable_job()->mutable_parameters(0)->set_value("1-40");
    const std::string &id = job.job().id();
    ASSERT_TRUE(client.Ask(FollowEnvelope(id))->has_accepted());

    rlimit before{};
    ASSERT_EQ(::prlimit(program->Process(), RLIMIT_NOFILE, nullptr, &before), 0);
    const rlimit none{.rlim_cur = 3, .rlim_max = before.rlim_max};
    ASSERT_EQ(::prlimit(program->Process(), RLIMIT_NOFILE, &none, nullptr), 0);
    const auto answer = client.Ask(job);
    ASSERT_TRUE(answer && answer->has_accepted());
    const auto isWaiting = [](const wire::Envelope &news)
    {
        return news.has_job_parameter() && news.job_parameter().name() == "Waiting" &&
               !news.job_parameter().value().empty();
    };
    EXPECT_TRUE(client.ReceiveUntil(isWaiting));
    const wire::Job shown = client.Ask(GetJobEnvelope(id))->job();
    EXPECT_EQ(ParameterOf(shown, "Status"), "0");
    EXPECT_EQ(ParameterOf(shown, "TasksFailed"), "0");

    ASSERT_EQ(::prlimit(program->Process(), RLIMIT_NOFILE, &before, nullptr), 0);
    EXPECT_TRUE(client.ReceiveUntil(IsNews("Status", "2")));
    EXPECT_EQ(ParameterOf(client.Ask(GetJobEnvelope(id))->job(), "TasksDone"), "40");
}

TEST_F(MasterProgramTest, KeepsWhatIsOverAsLongAsItsOptionsSay)
{
    const wire::Envelope job = JobEnvelope("true");
    const auto isThere = [&](const MasterProgram &program)
    {
        RawClient client(program.Address());
        EXPECT_TRUE(client.SayHello());
        const auto answer = client.Ask(GetJobEnvelope(job.job().id()));
        return answer && answer->has_job();
    };
    {
        const auto program = Start({"--slots", "0"});
        RawClient client(program->Address());
        ASSERT_TRUE(client.SayHello());
        ASSERT_TRUE(client.Ask(job)->has_accepted());
        ASSERT_TRUE(client.Ask(SetEnvelope(job.job().id(), "Status", "5"))->has_accepted());
        program->Signal(SIGTERM);
        EXPECT_EQ(program->WaitForEnd(), 0);
    }
    // Four days and a half pass.
    SQLite::Database((m_folder / "data/jobs.db").Text(), SQLite::OPEN_READWRITE)
        .exec("UPDATE jobs SET finished = finished - 388800 * 1000000000");

    for (const char *line : {"", "KeepDays = 0", "KeepDays = 5"})
    {
        const ostrel::Path options =
            m_folder.MakeFile("options.ini", std::string("[Master]\n") + line + "\n");
        const auto program = Start({"--options", options.Text()});
        EXPECT_TRUE(isThere(*program)) << line;
        program->Signal(SIGTERM);
        EXPECT_EQ(program->WaitForEnd(), 0);
    }
    const ostrel::Path options = m_folder.MakeFile("options.ini", "[Master]\nKeepDays = 4\n");
    const auto program = Start({"--options", options.Text()});
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(20);
    while (isThere(*program) && std::chrono::steady_clock::now() < limit)
        std::this_thread::yield();
    EXPECT_FALSE(isThere(*program));
}

TEST_F(MasterProgramTest, EndsWithStatusOneWhereAnotherIs)
{
    const auto first = Start();
    MasterProgram sameData(m_folder.Folder(), {"--listen", (m_folder / "x.sock").Text()});
    EXPECT_EQ(sameData.WaitForEnd(), 1);
    EXPECT_EQ(sameData.Errors(), "corvan-master: another Master uses data folder " +
                                     (m_folder / "data").Text() + "\n");

    const TempFolder elsewhere;
    MasterProgram sameAddress(elsewhere.Folder(), {"--listen", (m_folder / "m.sock").Text()});
    EXPECT_EQ(sameAddress.WaitForEnd(), 1);
    EXPECT_EQ(sameAddress.Errors(),
              "corvan-master: another Master uses address " + (m_folder / "m.sock").Text() + "\n");
}

TEST_F(MasterProgramTest, LeavesTheReasonInItsLogWhereItCannotStart)
{
    m_folder.MakeFile("data/jobs.db", "no database, whatever its name says");
    MasterProgram program(m_folder.Folder(), {"--listen", (m_folder / "m.sock").Text()});
    EXPECT_EQ(program.WaitForEnd(), 1);
    const std::string reason = "cannot open job store " + (m_folder / "data/jobs.db").Text();
    EXPECT_TRUE(program.Errors().starts_with("corvan-master: " + reason)) << program.Errors();
    EXPECT_EQ(program.Errors().find(reason), program.Errors().rfind(reason));
    EXPECT_NE(ContentOf(m_folder / "log").find(reason), std::string::npos);
}

TEST_F(MasterProgramTest, NamesWhatIsWrongWithItsOptions)
{
    const struct
    {
        std::vector<std::string> arguments;
        int status;
        std::string error;
    } cases[] = {
        {{"--slots", "many"}, 2, "--slots many: it has to be a number from 0 to 1024"},
        {{"--listen", "nowhere"}, 2, "--listen nowhere: "},
        {{"--nonsense"}, 2, "--nonsense"},
        {{"--slots"}, 2, "--slots"},
        {{"--log-level", "9"}, 2, "--log-level"},
        {{"job"}, 2, "unexpected argument job"},
        {{"--listen", "127.0.0.1:1"}, 1, "cannot listen at 127.0.0.1:1 without \"Certificate\""},
        {{"--data", "/proc/x"}, 1, "cannot use folder /proc/x: No such file or directory"},
    };
    for (const auto &[arguments, status, error] : cases)
    {
        MasterProgram program(m_folder.Folder(), arguments);
        EXPECT_EQ(program.WaitForEnd(), status) << error;
        EXPECT_NE(program.Errors().find(error), std::string::npos) << program.Errors();
    }
}

TEST_F(MasterProgramTest, KeepsWhatIsItsUsersAlone)
{
    const auto program = Start();
    const std::pair<const char *, mode_t> files[] = {{"data", 0700}, {"m.sock", 0600}};
    for (const auto &[leaf, mode] : files)
    {
        struct stat found
        {
        };
        ASSERT_EQ(::stat((m_folder / leaf).Text().c_str(), &found), 0) << leaf;
        EXPECT_EQ(found.st_mode & 0777, mode) << leaf;
    }
}

TEST_F(MasterProgramTest, PrintsItsHelpAndItsVersion)
{
    MasterProgram help(m_folder.Folder(), {"--help"});
    EXPECT_EQ(help.ReadLine(), "Usage: corvan-master [OPTION]...");
    EXPECT_EQ(help.WaitForEnd(), 0);
    MasterProgram version(m_folder.Folder(), {"--version"});
    EXPECT_TRUE(version.ReadLine().starts_with("corvan-master "));
    EXPECT_EQ(version.WaitForEnd(), 0);
}

} // namespace
