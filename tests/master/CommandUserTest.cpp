// Commands that run as another user than the Master.
#include "master/run/CommandUser.h"

#include <csignal>
#include <filesystem>
#include <optional>
#include <sys/stat.h>
#include <sys/wait.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "keeper/User.h"
#include "tests/master/LocalRunnerFixture.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/Printing.h"

using namespace std::chrono_literals;

namespace
{

// Somebody who is no user of this machine's people, and has a home.
std::optional<master::CommandUser> SomeUser()
{
    String reason;
    return ::geteuid() == 0 ? master::FindCommandUser("daemon", &reason) : std::nullopt;
}

class OtherUsersCommandTest : public LocalRunnerTest
{
protected:
    void SetUp() override
    {
        if (!m_user)
            GTEST_SKIP() << "only root can be somebody else";
        ::chmod(m_folder.Folder().Text().c_str(), 0755);
        const ostrel::Path frames = m_folder.MakeFolder("frames");
        ASSERT_EQ(::chown(frames.Text().c_str(), m_user->id, m_user->group), 0);
    }

    // As the Master has it: its own folder is nobody else's.
    bool StartAsUser(const std::string &script)
    {
        const ostrel::Path own = m_folder.MakeFolder("own");
        ::chmod(own.Text().c_str(), 0700);
        Command command = m_command;
        command.run = m_run;
        command.arguments = {"/bin/sh", "-c", script, "test", (m_folder / "frames").Text()};
        command.folder = own;
        command.log = own / "log";
        return m_asUser.Start(command, Listener(), &m_reason);
    }

    std::string Log() const
    {
        return ContentOf(m_folder / "own/log");
    }

    const std::optional<master::CommandUser> m_user = SomeUser();
    LocalRunner m_asUser{m_loop, 2, k_patience, 0, m_user};
};

TEST_F(OtherUsersCommandTest, IsNobodyElseAndHasNoMoreRights)
{
    const EnvironmentGuard home("HOME", "/root"), name("USER", "root"), logname("LOGNAME", "root"),
        shell("SHELL", "/bin/bash");
    ASSERT_TRUE(StartAsUser("id -u; id -ru; id -g; id -rg; id -G; pwd; echo $HOME $USER $LOGNAME; "
                            "grep -E '^(Cap(Inh|Prm|Eff|Amb)|NoNewPrivs)' /proc/self/status"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_TRUE(m_end.IsSuccess()) << m_end.reason;
    const std::string id = std::to_string(m_user->id), group = std::to_string(m_user->group);
    EXPECT_EQ(Log(), id + "\n" + id + "\n" + group + "\n" + group + "\n" + group + "\n" +
                         m_user->home + "\n" + m_user->home + " daemon daemon\n" +
                         "CapInh:\t0000000000000000\nCapPrm:\t0000000000000000\n"
                         "CapEff:\t0000000000000000\nCapAmb:\t0000000000000000\n"
                         "NoNewPrivs:\t1\n");
}

TEST_F(OtherUsersCommandTest, ReachesNothingOfTheMastersAndWritesItsFramesAsItself)
{
    m_folder.MakeFile("own/secret", "sesame");
    m_command.outputs = {m_folder / "frames/new/x.png"};
    ASSERT_TRUE(StartAsUser("cat '" + (m_folder / "own/secret").Text() +
                            "' /proc/$PPID/environ; "
                            "ls '" +
                            (m_folder / "own").Text() +
                            "' /proc/$PPID/fd; "
                            "echo frame > \"$1/new/x.png\""));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_TRUE(m_end.IsSuccess()) << m_end.reason;
    EXPECT_EQ(Log().find("sesame"), std::string::npos);
    int denied = 0;
    for (std::size_t at = 0; (at = Log().find("Permission denied", at)) != std::string::npos; ++at)
        ++denied;
    EXPECT_EQ(denied, 4) << Log();
    for (const char *leaf : {"frames/new", "frames/new/x.png"})
    {
        struct stat found
        {
        };
        ASSERT_EQ(::stat((m_folder / leaf).Text().c_str(), &found), 0);
        EXPECT_EQ(found.st_uid, m_user->id) << leaf;
    }
    struct stat log
    {
    };
    ASSERT_EQ(::stat((m_folder / "own/log").Text().c_str(), &log), 0);
    EXPECT_EQ(log.st_uid, ::geteuid());
}

// What the Master's user may write is not what the command's may.
TEST_F(OtherUsersCommandTest, IsNotStartedWhereItsOwnUserMayNotWrite)
{
    m_command.outputs = {m_folder / "own/frames/x.png"};
    ASSERT_TRUE(StartAsUser("exit 0"));
    ASSERT_TRUE(RunUntilEnded());
    EXPECT_FALSE(m_end.isStarted);
    EXPECT_NE(m_end.reason.find("Permission denied"), std::string::npos) << m_end.reason;
    EXPECT_FALSE(std::filesystem::exists((m_folder / "own/frames").Text().c_str()));
}

TEST_F(OtherUsersCommandTest, IsEndedWithAllThatItStartedLikeAnyOther)
{
    const std::string detached = "cd \"$1\"; " + std::string(k_detached);
    const struct
    {
        const char *how;
        std::string script;
        corvan::RunLimits limits;
        const char *reason;
    } cases[] = {
        {"by itself", detached + "exit 0", {}, ""},
        {"by a limit of time",
         detached + "exec sleep 100",
         {.seconds = 1},
         "it took longer than 1 seconds"},
        {"by a limit of processes",
         detached + "exec sleep 100",
         {.processes = 2},
         "it had more than 2 processes"},
        {"since its keeper was killed",
         detached + "kill -9 $PPID; exec sleep 100",
         {},
         "corvan-task was ended by signal 9"},
    };
    for (const auto &[how, script, limits, reason] : cases)
    {
        m_ended.clear();
        m_command.limits = limits;
        ASSERT_TRUE(StartAsUser(script)) << m_reason;
        ASSERT_TRUE(RunUntilEnded()) << how;
        EXPECT_EQ(m_end.reason, reason) << how;
        for (const char *leaf : {"session", "daemon", "stopped"})
        {
            const pid_t process = ReadNumber(ostrel::String("frames/") + leaf);
            // The limit may come before it has begun.
            EXPECT_TRUE(process > 0 || limits.processes > 0) << how << ": " << leaf;
            EXPECT_TRUE(process == 0 || !IsAlive(process)) << how << ": " << leaf;
            std::filesystem::remove((m_folder / "frames" / leaf).Text().c_str());
        }
        ++m_run;
    }
}

TEST_F(OtherUsersCommandTest, IsSeenByTheNextRunOfTheMaster)
{
    const ostrel::UID master(true);
    bool isAlone = false;
    m_asUser.Begin(master, [&] { isAlone = true; });
    ASSERT_TRUE(RunUntil([&] { return isAlone; }));
    ASSERT_TRUE(StartAsUser("cd \"$1\"; echo $$ > self; exec sleep 100"));
    ASSERT_TRUE(RunUntil([this] { return ReadNumber("frames/self") > 0; }));

    isAlone = false;
    LocalRunner next(m_loop, 2, k_patience, 0, m_user);
    next.Begin(master, [&] { isAlone = true; });
    for (int round = 0; round < 10; ++round)
        m_loop.run_one_for(20ms);
    EXPECT_FALSE(isAlone);
    m_asUser.End(m_run);
    ASSERT_TRUE(RunUntil([&] { return isAlone; }));
    EXPECT_FALSE(IsAlive(ReadNumber("frames/self")));
}

TEST(CommandUser, IsOneThatTheMasterMayBecomeAndIsNot)
{
    String reason;
    const std::pair<const char *, const char *> cases[] = {
        {"no-such-user", "there is no such user"},
        {"", "there is no such user"},
        {"root", "root may do everything, and commands may not"},
    };
    for (const auto &[name, told] : cases)
    {
        EXPECT_FALSE(master::FindCommandUser(name, &reason)) << name;
        EXPECT_EQ(reason, told) << name;
    }
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";
    const auto user = master::FindCommandUser("daemon", &reason);
    ASSERT_TRUE(user) << reason;
    EXPECT_EQ(user->name, "daemon");
    EXPECT_EQ(user->groups, std::vector<gid_t>{user->group});

    // In a process of its own: what it gives up does not come back.
    const auto asOther = [](bool losesCapabilities)
    {
        const pid_t child = ::fork();
        if (child == 0)
        {
            String why;
            if (losesCapabilities)
            {
                keeper::Request request;
                std::string none;
                request.userId = request.groupId = 65534;
                keeper::BecomeUser(request, &none);
            }
            else if (::seteuid(1) != 0)
                ::_exit(9);
            const bool isFound = master::FindCommandUser("daemon", &why).has_value();
            ::_exit(isFound                                                  ? 0
                    : why.starts_with("the Master may not run commands")     ? 1
                    : why.starts_with("the Master itself runs as this user") ? 2
                                                                             : 3);
        }
        int status = 0;
        ::waitpid(child, &status, 0);
        return WEXITSTATUS(status);
    };
    EXPECT_EQ(asOther(true), 1);
    EXPECT_EQ(asOther(false), 2);
}

} // namespace
