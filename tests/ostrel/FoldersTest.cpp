#include "ostrel/Folders.h"

#include <boost/filesystem.hpp>
#include <cerrno>
#include <set>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/EnvironmentGuard.h"
#include "tests/support/FakeSync.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using ostrel::Path;

TEST(Folders, FollowTheEnvironmentAndElseTheHome)
{
    const EnvironmentGuard home("HOME", "/home/me");
    const struct
    {
        Path (*folder)();
        const char *variable;
        const char *otherwise;
    } cases[] = {
        {ostrel::ConfigFolder, "XDG_CONFIG_HOME", "/home/me/.config"},
        {ostrel::StateFolder, "XDG_STATE_HOME", "/home/me/.local/state"},
        {ostrel::DataFolder, "XDG_DATA_HOME", "/home/me/.local/share"},
    };

    for (const auto &[folder, variable, otherwise] : cases)
    {
        {
            const EnvironmentGuard given(variable, "/given/folder");
            EXPECT_EQ(folder().Text(), "/given/folder") << variable;
        }
        for (const char *ignored : {static_cast<const char *>(nullptr), "", "relative/folder"})
        {
            const EnvironmentGuard given(variable, ignored);
            EXPECT_EQ(folder().Text(), otherwise) << variable;
        }
    }
}

TEST(Folders, RuntimeFolderIsTheSessionsOrOneOfThisUser)
{
    {
        const EnvironmentGuard given("XDG_RUNTIME_DIR", "/run/user/7");
        EXPECT_EQ(ostrel::RuntimeFolder().Text(), "/run/user/7");
    }
    const EnvironmentGuard none("XDG_RUNTIME_DIR", nullptr);
    const EnvironmentGuard temporary("TMPDIR", "/var/tmp");
    EXPECT_EQ(ostrel::RuntimeFolder().Text(), "/var/tmp/ordwick-" + std::to_string(getuid()));
}

TEST(Folders, ShareFolderStandsBesideTheProgramsFolder)
{
    {
        const EnvironmentGuard given("ORDWICK_SHARE", "/opt/ordwick/share");
        EXPECT_EQ(ostrel::ShareFolder().Text(), "/opt/ordwick/share");
    }
    const EnvironmentGuard none("ORDWICK_SHARE", nullptr);
    EXPECT_TRUE(boost::filesystem::is_directory(ostrel::ProgramFolder().Text()));
    EXPECT_EQ(ostrel::ShareFolder(), ostrel::ProgramFolder().Parent() / "share/ordwick");
}

TEST(Folders, PrivateFolderIsMadeForThisUserAlone)
{
    const TempFolder temp;
    const Path folder = temp / "a/b/private";
    ostrel::MakePrivateFolder(folder);
    ostrel::MakePrivateFolder(folder);

    struct stat status
    {
    };
    ASSERT_EQ(stat(folder.Text().c_str(), &status), 0);
    EXPECT_EQ(status.st_mode & 0777u, 0700u);
}

TEST(Folders, PrivateFolderIsOnDiskOnceItIsMade)
{
    const TempFolder temp;
    const std::string top = temp.Folder().Text();
    {
        FakeSync disk;
        ostrel::MakePrivateFolder(temp / "a/b/private");
        EXPECT_EQ(disk.TakeSynced(), (std::set<std::string>{top, top + "/a", top + "/a/b"}));
        ostrel::MakePrivateFolder(temp / "a/b/private");
        EXPECT_EQ(disk.TakeSynced(), std::set<std::string>()) << "nothing was made";
    }

    const std::pair<int, std::string> cases[] = {
        {EIO, "cannot use folder " + (temp / "1").Text() + ": Input/output error"},
        {EINVAL, "(nothing thrown)"}, // Nothing to sync there.
    };
    int number = 0;
    for (const auto &[error, reason] : cases)
    {
        const FakeSync disk(error);
        const Path folder = temp / std::to_string(++number);
        EXPECT_EQ(Thrown([&] { ostrel::MakePrivateFolder(folder); }), reason);
    }
}

TEST(Folders, FolderThatOthersMayUseIsRefusedAsPrivate)
{
    const TempFolder temp;
    const Path open = temp.MakeFolder("open");
    chmod(open.Text().c_str(), 0755);
    EXPECT_EQ(Thrown([&] { ostrel::MakePrivateFolder(open); }),
              "cannot use folder " + open.Text() + ": other users may enter it");

    const Path file = temp.MakeFile("file");
    EXPECT_EQ(Thrown([&] { ostrel::MakePrivateFolder(file); }),
              "cannot use folder " + file.Text() + ": it is no folder");

    // A link could point into a folder that somebody else prepared.
    const Path link = temp / "link";
    const Path target = temp.MakeFolder("target");
    chmod(target.Text().c_str(), 0700);
    ASSERT_EQ(symlink(target.Text().c_str(), link.Text().c_str()), 0);
    EXPECT_EQ(Thrown([&] { ostrel::MakePrivateFolder(link); }),
              "cannot use folder " + link.Text() + ": it is no folder");
}
