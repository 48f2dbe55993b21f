#include "corvan/CorvanClientApp.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "corvan/GrpcLink.h"
#include "corvan/JobFactory.h"
#include "corvan/Messenger.h"
#include "ostrel/File.h"
#include "ostrel/Folders.h"
#include "ostrel/LibStatic.h"
#include "ostrel/Log.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/FakeLink.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using namespace corvan;

namespace
{

class SampleApp : public CorvanClientApp
{
public:
    SampleApp() : CorvanClientApp("Sample", ostrel::k_LogNone, ostrel::k_LogInfo) {}

    Path OptionsFilename() const override
    {
        ++m_asked;
        m_foldersWhenAsked = ostrel::File::s_AltPaths;
        return CorvanClientApp::OptionsFilename();
    }

    mutable int m_asked = 0;
    mutable std::list<Path> m_foldersWhenAsked;
    FakeLink::Record m_link;
    std::optional<MasterAddress> m_address;

protected:
    void WakeUp() override {}

    std::unique_ptr<Link> MakeLink(const MasterAddress &address) override
    {
        m_address = address;
        return std::make_unique<FakeLink>(m_link);
    }
};

class CorvanClientAppTest : public testing::Test
{
protected:
    bool Start(SampleApp &app, std::vector<String> arguments)
    {
        CommandLine commandLine(arguments, ostrel::CommonOptions());
        app.Prepare(commandLine);
        return app.Startup(commandLine);
    }

    /// The address that a program with these arguments looks at; empty when it does not start.
    String AddressWith(std::vector<String> arguments)
    {
        // Starting sets it for the programs that are started.
        const EnvironmentGuard master("CORVAN_MASTER", std::getenv("CORVAN_MASTER"));
        SampleApp app;
        const bool isStarted = Start(app, std::move(arguments));
        app.Cleanup();
        return isStarted ? app.m_address->text : String();
    }

    void TearDown() override
    {
        JobFactory::s_JobFactory.Clear();
        ostrel::File::s_AltPaths.clear();
    }

    TempFolder m_folder;
    EnvironmentGuard m_config{"XDG_CONFIG_HOME", (m_folder / "config").Text().c_str()};
    EnvironmentGuard m_state{"XDG_STATE_HOME", (m_folder / "state").Text().c_str()};
    EnvironmentGuard m_data{"XDG_DATA_HOME", (m_folder / "data").Text().c_str()};
    EnvironmentGuard m_runtime{"XDG_RUNTIME_DIR", (m_folder / "run").Text().c_str()};
    EnvironmentGuard m_share{"ORDWICK_SHARE", ORDWICK_SOURCE "/share"};
    EnvironmentGuard m_master{"CORVAN_MASTER", nullptr};
    EnvironmentGuard m_path{"PATH", "/usr/bin:/bin"};
};

} // namespace

TEST_F(CorvanClientAppTest, TakesTheAddressFromTheFirstOfFourPlaces)
{
    const String personal = "unix:" + (m_folder / "run/corvan-master.sock").Text();
    EXPECT_EQ(AddressWith({}), personal);

    m_folder.MakeFile("config/Sample/Sample.ini", "[Master]\nAddress = /options.sock\n");
    EXPECT_EQ(AddressWith({}), "unix:/options.sock");
    {
        const EnvironmentGuard set("CORVAN_MASTER", "unix:/environment.sock");
        EXPECT_EQ(AddressWith({}), "unix:/environment.sock");
        EXPECT_EQ(AddressWith({"--master", "farm:5000"}), "farm:5000");
        EXPECT_EQ(AddressWith({"--master", ""}), "") << "the variable of a script was not set";
    }
    const EnvironmentGuard empty("CORVAN_MASTER", "");
    EXPECT_EQ(AddressWith({}), "unix:/options.sock");
}

TEST_F(CorvanClientAppTest, WhatItStartsAsksTheSameMasterAndFindsItsSisterPrograms)
{
    const String path = "/usr/bin:/bin:" + ostrel::ProgramFolder().Text();
    // The second one finds all as it shall be.
    for (const std::vector<String> &arguments : {std::vector<String>{"--master", "/m.sock"}, {}})
    {
        SampleApp app;
        ASSERT_TRUE(Start(app, arguments));
        app.Cleanup();
        EXPECT_STREQ(std::getenv("CORVAN_MASTER"), "unix:/m.sock");
        EXPECT_EQ(std::getenv("PATH"), path);
    }
}

TEST_F(CorvanClientAppTest, DoesNotStartWithABadAddressAndSaysWhy)
{
    LogCapture log;
    SampleApp app;
    EXPECT_FALSE(Start(app, {"--master", "nonsense"}));
    EXPECT_EQ(log.Count(ostrel::k_LogFatal, "\"nonsense\" is no address of a Master"), 1);
    EXPECT_FALSE(app.m_link.callbacks.connected);
    app.Cleanup();
}

TEST_F(CorvanClientAppTest, DoesNotStartWithABadLogLevelAndSaysWhy)
{
    for (const char *level : {"7", "-1", "", "debug", "10"})
    {
        LogCapture log;
        SampleApp app;
        EXPECT_FALSE(Start(app, {"--log-level", level})) << level;
        EXPECT_EQ(log.Count(ostrel::k_LogFatal, "--log-level takes a number from 0"), 1) << level;
        app.Cleanup();
    }
}

TEST_F(CorvanClientAppTest, DoesNotStartWhereOthersCouldPlayThePersonalMaster)
{
    LogCapture log;
    std::filesystem::create_directory((m_folder / "run").Text().c_str());
    std::filesystem::permissions((m_folder / "run").Text().c_str(), std::filesystem::perms::all);
    EXPECT_EQ(AddressWith({}), "");
    EXPECT_EQ(log.Count(ostrel::k_LogFatal, (m_folder / "run").Text()), 1);
    EXPECT_EQ(AddressWith({"--master", "/m.sock"}), "unix:/m.sock");
}

TEST_F(CorvanClientAppTest, DoesNotStartOverTcpWithoutCertificateAndTokenAndSaysSo)
{
    struct RealLinkApp : SampleApp
    {
        std::unique_ptr<Link> MakeLink(const MasterAddress &address) override
        {
            return CorvanClientApp::MakeLink(address);
        }
    };
    LogCapture log;
    RealLinkApp app;
    EXPECT_FALSE(Start(app, {"--master", "farm:5000"}));
    EXPECT_EQ(log.Count(ostrel::k_LogFatal, "farm:5000: TCP needs a certificate and a token"), 1);
    app.Cleanup();
}

TEST_F(CorvanClientAppTest, ConnectsToNobodyBeforeItIsAskedTo)
{
    SampleApp app;
    EXPECT_TRUE(Start(app, {}));
    EXPECT_FALSE(app.m_link.callbacks.connected);
    app.Cleanup();
    EXPECT_FALSE(app.m_link.callbacks.connected);
}

TEST_F(CorvanClientAppTest, WritesItsLogToTheStateFolderOrWhereItIsTold)
{
    AddressWith({"--master", "/m.sock"});
    EXPECT_NE(ContentOf(m_folder / "state/Sample/Sample.log").find("/m.sock"), std::string::npos);
    AddressWith({"--log-file", (m_folder / "other.log").Text(), "--master", "/n.sock"});
    EXPECT_NE(ContentOf(m_folder / "other.log").find("/n.sock"), std::string::npos);
    AddressWith({"--log-file", (m_folder / "quiet.log").Text(), "--log-level", "2"});
    EXPECT_EQ(ContentOf(m_folder / "quiet.log"), "");
}

TEST_F(CorvanClientAppTest, AsksForItsOptionsOnceWithItsSearchFoldersSet)
{
    m_folder.MakeFile("config/Sample/Sample.ini", "[A]\nB = usual\n");
    const auto other = m_folder.MakeFile("other.ini", "[A]\nB = other\n");
    const struct
    {
        std::vector<String> arguments;
        const char *value;
        ostrel::Path file;
    } cases[] = {
        {{"--master", "/m.sock"}, "usual", m_folder / "config/Sample/Sample.ini"},
        {{"--master", "/m.sock", "--options", other.Text()}, "other", other},
        // Nowhere else is looked for it.
        {{"--master", "/m.sock", "--options", (m_folder / "Sample.ini").Text()},
         "none",
         m_folder / "Sample.ini"},
    };
    for (const auto &[arguments, value, file] : cases)
    {
        SampleApp app;
        EXPECT_TRUE(Start(app, arguments));
        EXPECT_EQ(app.m_asked, 1);
        EXPECT_EQ(app.m_foldersWhenAsked,
                  (std::list<Path>{m_folder / "config" / "Sample", "/etc/Sample"}));
        EXPECT_EQ(app.Options().GetValue("A", "B", String("none")), value);
        EXPECT_EQ(app.Options().Filename(), file);
        app.Cleanup();
    }
}

TEST_F(CorvanClientAppTest, TranslatesPathsByTheMapOfItsOptions)
{
    m_folder.MakeFile("config/Sample/Sample.ini", "[PathMap]\n//server/shots = /mnt/shots\n");
    AddressWith({});
    EXPECT_EQ(Path("//server/shots/a.exr").TranslateToLocal(), "/mnt/shots/a.exr");
    m_folder.MakeFile("config/Sample/Sample.ini", "");
    AddressWith({});
    EXPECT_EQ(Path("//server/shots/a.exr").TranslateToLocal(), "//server/shots/a.exr");
}

TEST_F(CorvanClientAppTest, TranslatesPathsByTheMapOfTheCommandLineWhereItHasNone)
{
    m_folder.MakeFile("config/Corvan/Corvan.ini", "[PathMap]\n//server/shots = /mnt/shots\n");
    const struct
    {
        const char *own;
        std::vector<String> arguments;
        const char *local;
    } cases[] = {
        {"[A]\nB = c\n", {}, "/mnt/shots/a.exr"},
        {"[PathMap]\n", {}, "//server/shots/a.exr"},
        {"[PathMap]\n//server/shots = /own\n", {}, "/own/a.exr"},
        {"", {"--options", m_folder.MakeFile("o.ini", "").Text()}, "//server/shots/a.exr"},
    };
    for (const auto &[own, arguments, local] : cases)
    {
        m_folder.MakeFile("config/Sample/Sample.ini", own);
        AddressWith(arguments);
        EXPECT_EQ(Path("//server/shots/a.exr").TranslateToLocal(), local) << own;
    }
    ostrel::Path::SetMap({});
}

TEST_F(CorvanClientAppTest, TellsTheLibrariesBeforeTheMessengerStartsAndAfterItStopped)
{
    struct Witness : ostrel::LibStatic
    {
        explicit Witness(SampleApp &app) : LibStatic("Witness"), m_app(app) {}
        void OnLibStartup(CommandLine &) override
        {
            m_words.push_back(m_app.m_link.callbacks.connected ? "late" : "startup");
            m_words.push_back(JobFactory::s_JobFactory.ListTypes().empty() ? "no types" : "types");
        }
        void OnLibCleanup() override
        {
            m_words.push_back(m_app.m_link.isStopped ? "cleanup" : "early");
        }
        SampleApp &m_app;
        std::vector<std::string> m_words;
    };

    SampleApp app;
    Witness witness(app);
    EXPECT_TRUE(Start(app, {}));
    app.StartMessenger();
    EXPECT_TRUE(app.m_link.callbacks.connected);
    app.Cleanup();
    app.Cleanup();
    EXPECT_EQ(witness.m_words, (std::vector<std::string>{"startup", "types", "cleanup"}));
}

TEST_F(CorvanClientAppTest, IsFoundAsTheRunningProgram)
{
    {
        SampleApp app;
        EXPECT_EQ(CorvanApp::Get(), &app);
    }
    EXPECT_EQ(CorvanApp::Get(), nullptr);
}
