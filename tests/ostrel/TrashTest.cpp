#include "ostrel/Trash.h"

#include <unistd.h>

#include <gtest/gtest.h>

#include "ostrel/File.h"
#include "tests/support/EnvironmentGuard.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using ostrel::File;
using ostrel::MoveToTrash;
using ostrel::Path;

namespace
{

// A trash of the test's own, on the file system of its files.
struct Trash
{
    TempFolder temp;
    EnvironmentGuard data{"XDG_DATA_HOME", (temp / "data").Text().c_str()};

    Path Kept(const ostrel::String &name) const
    {
        return temp / ("data/Trash/files/" + name);
    }
    std::string Note(const ostrel::String &name) const
    {
        return ContentOf(temp / ("data/Trash/info/" + name + ".trashinfo"));
    }
};

} // namespace

TEST(Trash, KeepsTheFileAndNotesWhereItCameFrom)
{
    const Trash trash;
    const Path file = trash.temp.MakeFile("frames/a b%ü.exr", "content");
    ASSERT_TRUE(MoveToTrash(file));

    EXPECT_FALSE(ostrel::FileFinder().Find(file));
    EXPECT_EQ(ContentOf(trash.Kept("a b%ü.exr")), "content");
    const std::string note = trash.Note("a b%ü.exr");
    const std::string start = "[Trash Info]\nPath=" + trash.temp.Folder().Text() +
                              "/frames/a%20b%25%C3%BC.exr\nDeletionDate=2";
    EXPECT_TRUE(note.starts_with(start)) << note;
    EXPECT_EQ(note.size(), start.size() + sizeof("026-11-20T14:03:09"));
}

TEST(Trash, KeepsFilesOfOneNameApart)
{
    const Trash trash;
    for (const char *folder : {"one", "two", "three"})
        ASSERT_TRUE(
            MoveToTrash(trash.temp.MakeFile(std::string(folder) + "/a.exr", std::string(folder))));
    EXPECT_EQ(ContentOf(trash.Kept("a.exr")), "one");
    EXPECT_EQ(ContentOf(trash.Kept("a.exr.2")), "two");
    EXPECT_EQ(ContentOf(trash.Kept("a.exr.3")), "three");
}

TEST(Trash, TakesALinkAndLeavesItsTarget)
{
    const Trash trash;
    const Path target = trash.temp.MakeFile("target", "content");
    const Path link = trash.temp / "link";
    ASSERT_EQ(symlink("target", link.Text().c_str()), 0);
    EXPECT_TRUE(File::Delete(link, true));
    EXPECT_EQ(ContentOf(target), "content");
    EXPECT_EQ(trash.temp.Listing(), "data\ntarget\n");
}

TEST(Trash, LeavesWhatItCannotTakeAndNoNoteOfIt)
{
    const Trash trash;
    const Path folder = trash.temp.MakeFolder("folder");
    EXPECT_FALSE(File::Delete(folder, true));
    EXPECT_TRUE(File::Delete(trash.temp / "missing", true));
    EXPECT_EQ(trash.temp.Listing(), "data\nfolder\n");
    EXPECT_FALSE(ostrel::FileFinder().Find(trash.temp / "data/Trash/info/missing.trashinfo"));
}

TEST(Trash, ThatCannotBeMadeLeavesTheFile)
{
    const TempFolder temp;
    const EnvironmentGuard data("XDG_DATA_HOME", temp.MakeFile("data").Text().c_str());
    const Path file = temp.MakeFile("file", "content");
    EXPECT_FALSE(File::Delete(file, true));
    EXPECT_EQ(ContentOf(file), "content");
}
