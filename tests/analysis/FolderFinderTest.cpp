#include "analysis/FolderFinder.h"

#include <cerrno>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

using namespace analysis;

namespace
{

struct Seen
{
    int error;
    FileLook look;
};

Seen Look(const Path &folder, const std::string &name)
{
    Seen seen{};
    seen.look = {true, 99, Time(99)};
    seen.error = FolderFinder(folder).Look(name, seen.look);
    return seen;
}

void Link(const Path &target, const Path &link)
{
    ASSERT_EQ(symlink(target.Text().c_str(), link.Text().c_str()), 0);
}

} // namespace

TEST(FolderFinder, SeesWhatTheFileFinderSees)
{
    const TempFolder folder;
    folder.MakeFile("file", "12345");
    folder.MakeFile("deep/file", "1");
    folder.MakeFolder("folder");
    Link(folder / "file", folder / "link");
    Link(folder / "none", folder / "broken");
    Link(folder / "loop", folder / "loop");
    Link(folder.Folder(), folder / "way");
    folder.MakeFile("way-through", "12");

    for (const char *name : {"file", "deep/file", "folder", "link", "broken", "loop", "none",
                             "none/file", "way/way-through", "deep"})
    {
        const Seen seen = Look(folder.Folder(), name);
        const FileLook plain = LookAt(folder / name);
        EXPECT_EQ(seen.error, 0) << name;
        EXPECT_EQ(seen.look.exists, plain.exists) << name;
        EXPECT_EQ(seen.look.size, plain.size) << name;
        EXPECT_EQ(seen.look.modified, plain.modified) << name;
    }
    EXPECT_TRUE(Look(folder.Folder(), "way/way-through").look.exists);
}

TEST(FolderFinder, TakesANameThatNoFileCanHaveForMissing)
{
    const TempFolder folder;
    const Seen seen = Look(folder.Folder(), std::string(300, 'x'));
    EXPECT_EQ(seen.error, 0);
    EXPECT_FALSE(seen.look.exists);
}

TEST(FolderFinder, HasNoFilesWhereThereIsNoFolder)
{
    const TempFolder folder;
    const Seen seen = Look(folder / "none", "file");
    EXPECT_EQ(seen.error, 0);
    EXPECT_FALSE(seen.look.exists);
}

TEST(FolderFinder, TellsWhyAFolderCannotBeLookedInto)
{
    const TempFolder folder;
    folder.MakeFile("file");
    Link(folder / "loop", folder / "loop");
    EXPECT_EQ(Look(folder / "file", "x").error, ENOTDIR);
    EXPECT_EQ(Look(folder / "loop", "x").error, ELOOP);
    EXPECT_EQ(Look(folder.Folder(), "file/x").error, ENOTDIR);
    EXPECT_EQ(Look(folder.Folder(), "loop/x").error, ELOOP);
}
