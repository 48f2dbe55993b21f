// A share that hangs is the trouble of the tasks that need it, and of nobody else: the Master's
// loop looks at nothing on it.
#include <csignal>
#include <cstdlib>
#include <filesystem>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ostrel/UID.h"
#include "tests/master/MasterProgram.h"
#include "tests/master/RawClient.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/TempFolder.h"

using ostrel::UID;

namespace
{

constexpr const char *k_shared_type = R"([Type]
Id = 0c6b1f5e-9a43-4b57-8d0e-52c4a9f3e7d1
Name = Shared
RendersFrames = yes
[Render]
1 = {Program}
2 = {Scene}
3 = {Output}
[Paths]
Program =
Scene = )";

class HangingShareTest : public ::testing::Test
{
protected:
    HangingShareTest()
    {
        m_folder.MakeFile("types/jobtypes/Shared.ini", k_shared_type + m_share.Text() + "\n");
        m_folder.MakeFile("share/scene", "frame\n");
        const ostrel::Path program =
            m_folder.MakeFile("share/copy", "#!/bin/sh\ncp \"$1\" \"$2\"\n");
        std::filesystem::permissions(program.Text().c_str(), std::filesystem::perms::owner_all);
    }

    bool IsTouched() const
    {
        return std::filesystem::exists((m_share.Text() + ".touched").c_str());
    }

    wire::Envelope JobEnvelope() const
    {
        wire::Envelope envelope;
        wire::Job &job = *envelope.mutable_job();
        job.set_id(UID(true).ToString());
        job.set_type("0c6b1f5e-9a43-4b57-8d0e-52c4a9f3e7d1");
        for (const auto &[name, value] : {std::pair<std::string, ostrel::Path>{"Range", "1-3"},
                                          {"ImageFormat", m_share / "new/frame.%d"},
                                          {"Program", m_share / "copy"},
                                          {"Scene", m_share / "scene"}})
        {
            wire::Parameter &parameter = *job.add_parameters();
            parameter.set_name(name);
            parameter.set_value(value.Text());
        }
        return envelope;
    }

    TempFolder m_folder;
    ostrel::Path m_share = m_folder.MakeFolder("share");
    EnvironmentGuard m_types{"ORDWICK_SHARE", (m_folder / "types").Text().c_str()};
    EnvironmentGuard m_hang{"HANG_BELOW", m_share.Text().c_str()};
    EnvironmentGuard m_library{"LD_PRELOAD", HANG_BELOW_LIBRARY};
};

TEST_F(HangingShareTest, HangsWhoeverLooksAtIt)
{
    const std::string cat = "timeout 1 cat '" + (m_share / "scene").Text() + "'";
    EXPECT_NE(std::system(cat.c_str()), 0);
    EXPECT_TRUE(IsTouched());
}

// What holds the commands is not preloaded, so it finds all there.
TEST_F(HangingShareTest, IsNotLookedAtByTheMaster)
{
    MasterProgram program(m_folder.Folder(), {"--listen", (m_folder / "m.sock").Text()});
    ASSERT_NE(program.ReadLine(), "") << program.Errors();
    RawClient client(program.Address());
    ASSERT_TRUE(client.SayHello());
    const wire::Envelope job = JobEnvelope();
    const auto answer = client.Ask(job);
    ASSERT_TRUE(answer && answer->has_accepted()) << answer->ShortDebugString();

    std::string done;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (done != "3" && std::chrono::steady_clock::now() < limit)
    {
        const auto state = client.Ask(GetJobEnvelope(job.job().id()));
        ASSERT_TRUE(state) << "it does not answer";
        for (const wire::Parameter &parameter : state->job().parameters())
            if (parameter.name() == "TasksDone")
                done = parameter.value();
    }
    EXPECT_EQ(done, "3");
    EXPECT_EQ(ContentOf(m_share / "new/frame.3"), "frame\n");
    EXPECT_FALSE(IsTouched()) << ContentOf(m_share.Text() + ".touched");
}

// A look has a process of its own, which is not preloaded either.
TEST_F(HangingShareTest, HasItsFramesLookedAtByAnother)
{
    MasterProgram program(m_folder.Folder(), {"--listen", (m_folder / "m.sock").Text()});
    ASSERT_NE(program.ReadLine(), "") << program.Errors();
    RawClient client(program.Address());
    ASSERT_TRUE(client.SayHello());
    wire::Envelope job = JobEnvelope();
    for (const auto &[name, value] :
         {std::pair("CheckFrames", "sizes"), std::pair("QuietSeconds", "0")})
    {
        wire::Parameter &parameter = *job.mutable_job()->add_parameters();
        parameter.set_name(name);
        parameter.set_value(value);
    }
    const auto answer = client.Ask(job);
    ASSERT_TRUE(answer && answer->has_accepted()) << answer->ShortDebugString();

    std::string checked;
    const auto limit = std::chrono::steady_clock::now() + std::chrono::seconds(30);
    while (checked != "done" && std::chrono::steady_clock::now() < limit)
    {
        const auto state = client.Ask(GetJobEnvelope(job.job().id()));
        ASSERT_TRUE(state) << "it does not answer";
        checked = ParameterOf(state->job(), "FramesChecked");
    }
    EXPECT_EQ(checked, "done");
    EXPECT_FALSE(IsTouched()) << ContentOf(m_share.Text() + ".touched");
}

// What the system tells of a process may take as long as that one hangs.
TEST_F(HangingShareTest, OfAProcessKeepsTheMasterFromItsCommandsAndNotFromItsClients)
{
    const std::string own = "/proc/" + std::to_string(::getpid()) + "/environ";
    const EnvironmentGuard hang("HANG_BELOW", own.c_str());
    MasterProgram program(m_folder.Folder(), {"--listen", (m_folder / "m.sock").Text()});
    ASSERT_NE(program.ReadLine(), "") << program.Errors();
    RawClient client(program.Address());
    ASSERT_TRUE(client.SayHello());
    const wire::Envelope job = JobEnvelope();
    const auto answer = client.Ask(job);
    ASSERT_TRUE(answer && answer->has_accepted());
    // Many turns of the loop.
    for (int i = 0; i < 200; ++i)
    {
        const auto state = client.Ask(GetJobEnvelope(job.job().id()));
        ASSERT_TRUE(state) << "it does not answer";
        EXPECT_EQ(ParameterOf(state->job(), "Status"), "0");
    }
    program.Signal(SIGTERM);
    EXPECT_EQ(program.WaitForEnd(), 0);
}

} // namespace
