#include "master/program/MasterOptions.h"

#include <sys/stat.h>
#include <thread>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ostrel/IniFile.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using master::MasterOptions;
using ostrel::CommandLine;
using ostrel::String;

namespace
{

MasterOptions Read(const std::vector<String> &arguments)
{
    return master::ReadMasterOptions(CommandLine(arguments, master::MasterCommandLineOptions()));
}

class MasterOptionsTest : public ::testing::Test
{
protected:
    TempFolder m_folder;
    EnvironmentGuard m_data{"CORVAN_DATA", nullptr};
    EnvironmentGuard m_master{"CORVAN_MASTER", nullptr};
    EnvironmentGuard m_home{"XDG_DATA_HOME", m_folder.Folder().Text().c_str()};
};

TEST_F(MasterOptionsTest, HaveDefaults)
{
    const MasterOptions options = Read({});
    EXPECT_EQ(options.data, m_folder / "Corvan");
    EXPECT_EQ(options.address, corvan::MasterAddress::Default());
    EXPECT_EQ(options.slots, std::max(1u, std::thread::hardware_concurrency()));
    EXPECT_FALSE(options.isPersonal);
}

TEST_F(MasterOptionsTest, AreTakenFromTheCommandLine)
{
    const MasterOptions options =
        Read({"--data", "/data/x", "--listen=unix:/run/x.sock", "--slots", "0", "--personal"});
    EXPECT_EQ(options.data.Text(), "/data/x");
    EXPECT_EQ(options.address.socketFile.Text(), "/run/x.sock");
    EXPECT_EQ(options.slots, 0u);
    EXPECT_TRUE(options.isPersonal);
}

TEST_F(MasterOptionsTest, AreTakenFromTheEnvironmentWhereTheCommandLineIsSilent)
{
    const EnvironmentGuard data("CORVAN_DATA", "/env/data");
    const EnvironmentGuard address("CORVAN_MASTER", "host:4711");
    EXPECT_EQ(Read({}).data.Text(), "/env/data");
    EXPECT_EQ(Read({}).address.text, "host:4711");
    EXPECT_EQ(Read({"--data", "/x"}).data.Text(), "/x");
    EXPECT_EQ(Read({"--listen", "/x.sock"}).address.socketFile.Text(), "/x.sock");
}

TEST_F(MasterOptionsTest, MakeARelativeDataFolderAbsolute)
{
    EXPECT_TRUE(Read({"--data", "x/y"}).data.Text().starts_with("/"));
    EXPECT_TRUE(Read({"--data", "x/y"}).data.Text().ends_with("/x/y"));
}

TEST_F(MasterOptionsTest, NameAValueThatCannotBe)
{
    const String file = m_folder.MakeFile("file").Text();
    const struct
    {
        std::vector<String> arguments;
        String text;
    } cases[] = {
        {{"--slots", "x"}, "--slots x: it has to be a number from 0 to 1024"},
        {{"--slots", "-1"}, "--slots -1: it has to be a number from 0 to 1024"},
        {{"--slots", "1025"}, "--slots 1025: it has to be a number from 0 to 1024"},
        {{"--slots", "2x"}, "--slots 2x: it has to be a number from 0 to 1024"},
        {{"--slots", ""}, "--slots : it has to be a number from 0 to 1024"},
        {{"--listen", "x"}, "--listen x: "},
        {{"--data", file}, "--data " + file + ": it is no folder"},
        {{"--data", ""}, "--data: the folder has no name"},
        {{"extra"}, "unexpected argument extra"},
        {{"--master", "x"}, "unknown option"},
    };
    for (const auto &[arguments, text] : cases)
    {
        const String told = Thrown([&given = arguments] { Read(given); });
        if (arguments[0] == "--master")
            EXPECT_NE(told.find("--master"), String::npos) << told;
        else
            EXPECT_TRUE(told.starts_with(text)) << told;
    }
}

TEST_F(MasterOptionsTest, GiveTheOtherUsersOfTheMachineARoleOrNone)
{
    ostrel::IniFile options;
    EXPECT_EQ(master::ReadSocketRole(options), std::nullopt);
    String error;
    ASSERT_TRUE(options.Parse("[Master]\nSocketRole = edit-own\n", &error));
    EXPECT_EQ(master::ReadSocketRole(options), master::Role::EditOwn);
    ASSERT_TRUE(options.Parse("[Master]\nSocketRole = king\n", &error));
    EXPECT_EQ(Thrown([&] { master::ReadSocketRole(options); }),
              "SocketRole = king in section \"Master\" of the options: it has to be watch, submit, "
              "edit-own, edit-all or admin");
}

TEST_F(MasterOptionsTest, HaveCommandsRunAsAnotherUserWhoCannotEnterTheDataFolder)
{
    ostrel::IniFile options;
    String error;
    const ostrel::Path data = m_folder.MakeFolder("data");
    EXPECT_EQ(master::ReadCommandUser(options, data), std::nullopt);
    ASSERT_TRUE(options.Parse("[Master]\nRunAs = root\n", &error));
    EXPECT_EQ(Thrown([&] { master::ReadCommandUser(options, data); }),
              "RunAs = root in section \"Master\" of the options: root may do everything, and "
              "commands may not");
    if (::geteuid() != 0)
        GTEST_SKIP() << "only root can be somebody else";

    ASSERT_TRUE(options.Parse("[Master]\nRunAs = daemon\n", &error));
    const std::pair<mode_t, bool> cases[] = {
        {0700, true}, {0500, true}, {0710, false}, {0755, false}, {0701, false}};
    for (const auto &[mode, isPrivate] : cases)
    {
        ::chmod(data.Text().c_str(), mode);
        EXPECT_EQ(Thrown([&] { master::ReadCommandUser(options, data); }),
                  isPrivate ? "(nothing thrown)"
                            : "RunAs = daemon in section \"Master\" of the options: data folder " +
                                  data.Text() + " is open to others than its owner (chmod 700)")
            << mode;
    }
    EXPECT_EQ(master::ReadCommandUser(options, m_folder / "none")->name, "daemon");
}

TEST_F(MasterOptionsTest, SayWhoRunsTheCommands)
{
    const struct
    {
        std::vector<String> arguments;
        const char *options;
        std::string told; ///< Empty for the cluster.
    } cases[] = {
        {{}, "", "this machine"},
        {{"--engine", "slurm"}, "", ""},
        {{}, "[Master]\nEngine = slurm\n", ""},
        {{"--engine", "local"}, "[Master]\nEngine = slurm\n", "this machine"},
        {{"--engine", "moon"}, "", "--engine moon: it has to be local or slurm"},
        {{}, "[Master]\nEngine = moon\n", "Engine = moon: it has to be local or slurm"},
        {{"--engine", "slurm", "--slots", "2"}, "", "--slots is for the engine local alone"},
        {{"--engine", "slurm"},
         "[Master]\nRunAs = daemon\n",
         "RunAs in section \"Master\" of the options is for the engine local alone: a cluster runs "
         "commands as the user who hands them over, which is the Master's"},
        {{"--engine", "local"}, "[Master]\nRunAs = daemon\n", "this machine"},
    };
    for (const auto &[arguments, text, told] : cases)
    {
        ostrel::IniFile options;
        String error;
        ASSERT_TRUE(options.Parse(text, &error));
        master::Engine engine = master::Engine::Local;
        const CommandLine commandLine(arguments, master::MasterCommandLineOptions());
        const std::string thrown =
            Thrown([&] { engine = master::ReadEngine(commandLine, options); });
        const std::string found = thrown != "(nothing thrown)"      ? thrown
                                  : engine == master::Engine::Local ? "this machine"
                                                                    : "";
        EXPECT_EQ(found, told);
    }
}

TEST_F(MasterOptionsTest, NameABadValueOfTheEnvironment)
{
    const EnvironmentGuard address("CORVAN_MASTER", "nowhere");
    EXPECT_TRUE(Thrown([] { Read({}); }).starts_with("CORVAN_MASTER nowhere: "));
}

} // namespace
