#include "ostrel/File.h"

#include <csignal>
#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

using ostrel::File;
using ostrel::FileFinder;
using ostrel::Path;
using ostrel::String;

namespace
{

// For as long as it lives a file may not grow past `bytes`, as if the disk were full.
class FullDisk
{
public:
    explicit FullDisk(rlim_t bytes)
    {
        std::signal(SIGXFSZ, SIG_IGN);
        getrlimit(RLIMIT_FSIZE, &m_before);
        const rlimit small{.rlim_cur = bytes, .rlim_max = m_before.rlim_max};
        setrlimit(RLIMIT_FSIZE, &small);
    }
    ~FullDisk()
    {
        setrlimit(RLIMIT_FSIZE, &m_before);
    }
    FullDisk(const FullDisk &) = delete;
    FullDisk &operator=(const FullDisk &) = delete;

private:
    rlimit m_before{};
};

// For as long as it lives the test is a plain user who owns `folder`; the administrator would be
// let through everywhere.
class PlainUser
{
public:
    explicit PlainUser(const TempFolder &folder)
    {
        constexpr uid_t k_nobody = 65534;
        if (geteuid() != 0)
            return;
        EXPECT_EQ(chown(folder.Folder().Text().c_str(), k_nobody, gid_t(-1)), 0);
        EXPECT_EQ(seteuid(k_nobody), 0);
    }
    ~PlainUser()
    {
        EXPECT_EQ(seteuid(getuid()), 0);
    }
    PlainUser(const PlainUser &) = delete;
    PlainUser &operator=(const PlainUser &) = delete;
};

mode_t ModeOf(const Path &path)
{
    struct stat status
    {
    };
    EXPECT_EQ(lstat(path.Text().c_str(), &status), 0) << path.Text();
    return status.st_mode & 07777u;
}

bool IsLink(const Path &path)
{
    struct stat status
    {
    };
    return lstat(path.Text().c_str(), &status) == 0 && S_ISLNK(status.st_mode);
}

void Link(const String &target, const Path &link)
{
    ASSERT_EQ(symlink(target.c_str(), link.Text().c_str()), 0) << link.Text();
}

} // namespace

TEST(FileFinder, FindsRegularFilesAndTellsOfThem)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("a b \"ü\".exr", "12345");
    const timespec times[2] = {{.tv_sec = 7, .tv_nsec = 0}, {.tv_sec = 1'000'000, .tv_nsec = 5}};
    ASSERT_EQ(utimensat(AT_FDCWD, file.Text().c_str(), times, 0), 0);

    FileFinder finder;
    ASSERT_TRUE(finder.Find(file));
    EXPECT_EQ(finder.Size(), 5u);
    EXPECT_EQ(finder.Modified().First(), 1'000'000'000'000'005);

    ASSERT_TRUE(finder.Find(temp.MakeFile("empty")));
    EXPECT_EQ(finder.Size(), 0u);
}

TEST(FileFinder, FollowsLinksAndTakesNothingElseForAFile)
{
    const TempFolder temp;
    temp.MakeFile("file", "123");
    temp.MakeFolder("folder");
    Link("file", temp / "link");
    Link("nowhere", temp / "broken");
    Link("folder", temp / "folderlink");
    Link("loop", temp / "loop");
    ASSERT_EQ(mkfifo((temp / "pipe").Text().c_str(), 0600), 0);

    const struct
    {
        Path path;
        bool isFound;
    } cases[] = {
        {temp / "file", true},
        {temp / "link", true},
        {temp / "missing", false},
        {temp / "broken", false},
        {temp / "loop", false},
        {temp / "folder", false},
        {temp / "folderlink", false},
        {temp / "pipe", false},
        {temp / "file/below", false},
        {temp / "file/", false},
        {"", false},
        {"/dev/null", false},
        {temp / String(300, 'x'), false},
        {(temp / "file").Text() + String("\0x", 2), false},
    };

    for (const auto &[path, isFound] : cases)
        EXPECT_EQ(FileFinder().Find(path), isFound) << path.Text();
}

TEST(File, DeleteRemovesFilesAndLinksButNoFolder)
{
    const TempFolder temp;
    temp.MakeFile("file");
    temp.MakeFile("target");
    temp.MakeFolder("folder");
    Link("target", temp / "link");
    Link("nowhere", temp / "broken");
    Link("folder", temp / "folderlink");

    const struct
    {
        Path path;
        bool isGone;
    } cases[] = {
        {temp / "file", true},
        {temp / "link", true},
        {temp / "broken", true},
        {temp / "folderlink", true},
        {temp / "missing", true},
        {temp / "target/below", true},
        {temp / "folder", false},
        {temp / "folder/", false},
        {"", true},
        {"/", false},
        {(temp / "target").Text() + String("\0x", 2), true},
    };

    for (const auto &[path, isGone] : cases)
        EXPECT_EQ(File::Delete(path, false), isGone) << path.Text();
    EXPECT_EQ(temp.Listing(), "folder\ntarget\n");
}

TEST(File, DeleteTellsWhenTheFileStays)
{
    const TempFolder temp;
    const PlainUser user(temp);
    const Path file = temp.MakeFile("folder/file");
    const Path folder = temp / "folder";

    chmod(folder.Text().c_str(), 0500);
    EXPECT_FALSE(File::Delete(file, false));
    chmod(folder.Text().c_str(), 0000);
    EXPECT_FALSE(File::Delete(file, false)) << "it may be there";
    chmod(folder.Text().c_str(), 0700);
    EXPECT_TRUE(File::Delete(file, false));
}

TEST(File, FindInAltPathsGivesTheFirstReadableFile)
{
    const TempFolder temp;
    temp.MakeFolder("one/Ordwick.ini");
    temp.MakeFile("two/Ordwick.ini", "2");
    temp.MakeFile("three/Ordwick.ini", "3");
    File::s_AltPaths = {temp / "missing", temp / "one", temp / "two", temp / "three"};

    EXPECT_EQ(File::FindInAltPaths("Ordwick.ini"), temp / "two/Ordwick.ini");
    EXPECT_EQ(File::FindInAltPaths("other.ini"), std::nullopt);
    File::s_AltPaths.clear();
    EXPECT_EQ(File::FindInAltPaths("Ordwick.ini"), std::nullopt);
}

TEST(File, WriteWholeMakesAndReplacesFilesAndMissingFolders)
{
    const TempFolder temp;
    const Path file = temp / "a/b/file";
    File::WriteWhole(file, "first");
    EXPECT_EQ(ContentOf(file), "first");
    File::WriteWhole(file, std::string_view("se\0cond", 7));
    EXPECT_EQ(ContentOf(file), std::string("se\0cond", 7));
    File::WriteWhole(file, "");
    EXPECT_EQ(ContentOf(file), "");
    EXPECT_EQ(temp.Listing(), "a\n");
}

TEST(File, WriteWholeKeepsThePermissionsOfTheOldFile)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("file", "old");
    for (const mode_t mode : {0600u, 0640u, 0666u, 0755u})
    {
        chmod(file.Text().c_str(), mode);
        File::WriteWhole(file, "new");
        EXPECT_EQ(ModeOf(file), mode);
    }
}

TEST(File, WriteWholeGivesANewFileWhatTheUserUsuallyGives)
{
    const TempFolder temp;
    const mode_t before = umask(027);
    File::WriteWhole(temp / "file", "new");
    umask(before);
    EXPECT_EQ(ModeOf(temp / "file"), 0640u);
}

TEST(File, WriteWholeReplacesWhatALinkPointsTo)
{
    const TempFolder temp;
    temp.MakeFile("real/file", "old");
    Link("real/file", temp / "link");
    Link((temp / "link").Text(), temp / "link2");
    Link("real/new", temp / "dangling");
    Link("loop", temp / "loop");

    File::WriteWhole(temp / "link2", "new");
    File::WriteWhole(temp / "dangling", "made");
    EXPECT_TRUE(IsLink(temp / "link"));
    EXPECT_TRUE(IsLink(temp / "link2"));
    EXPECT_TRUE(IsLink(temp / "dangling"));
    EXPECT_EQ(ContentOf(temp / "real/file"), "new");
    EXPECT_EQ(ContentOf(temp / "real/new"), "made");
    EXPECT_EQ(Thrown([&] { File::WriteWhole(temp / "loop", "x"); }),
              "cannot write " + (temp / "loop").Text() + ": too many symbolic links");
}

TEST(File, WriteWholeOnAFullDiskLeavesTheOldFileWhole)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("file", "the old content");
    {
        const FullDisk disk(4096);
        EXPECT_EQ(Thrown([&] { File::WriteWhole(file, std::string(10'000, 'x')); }),
                  "cannot write " + file.Text() + ": File too large");
        EXPECT_NE(Thrown([&] { File::WriteWhole(temp / "new", std::string(10'000, 'x')); }),
                  "(nothing thrown)");
    }
    EXPECT_EQ(ContentOf(file), "the old content");
    EXPECT_EQ(temp.Listing(), "file\n");
}

TEST(File, WriteWholeRefusesWhatIsNoWritableFile)
{
    const TempFolder temp;
    temp.MakeFolder("folder");
    temp.MakeFile("file", "old");
    Link("/dev/full", temp / "device");

    const struct
    {
        Path path;
        const char *reason;
    } cases[] = {
        {temp / "folder", "Is a directory"},
        {temp / "device", "it is no regular file"},
        {temp / "file/below", "Not a directory"},
        {"", "No such file or directory"},
        {"/proc/nowhere/file", "No such file or directory"},
        {(temp / "file").Text() + String("\0x", 2), "a zero byte in its name"},
    };

    for (const auto &[path, reason] : cases)
    {
        const std::string text = Thrown([&target = path] { File::WriteWhole(target, "new"); });
        EXPECT_TRUE(text.starts_with("cannot write ") && text.ends_with(reason)) << text;
    }
    EXPECT_EQ(temp.Listing(), "device\nfile\nfolder\n");
    EXPECT_EQ(ContentOf(temp / "file"), "old");
}

TEST(File, WriteWholeRespectsWriteProtection)
{
    const TempFolder temp;
    const PlainUser user(temp);
    const Path file = temp.MakeFile("file", "old");
    chmod(file.Text().c_str(), 0444);
    EXPECT_EQ(Thrown([&] { File::WriteWhole(file, "new"); }),
              "cannot write " + file.Text() + ": Permission denied");
    EXPECT_EQ(ContentOf(file), "old");

    chmod(file.Text().c_str(), 0644);
    chmod(temp.Folder().Text().c_str(), 0500);
    EXPECT_EQ(Thrown([&] { File::WriteWhole(file, "new"); }),
              "cannot write " + file.Text() + ": Permission denied");
    EXPECT_EQ(ContentOf(file), "old");
}

TEST(File, ReadWholeGivesAllBytesUpToTheLimit)
{
    const TempFolder temp;
    const std::string content = std::string(200'000, 'x') + std::string("\0\n", 2);
    const Path file = temp.MakeFile("file", content);
    EXPECT_EQ(File::ReadWhole(file), content);
    EXPECT_EQ(File::ReadWhole(file, content.size()), content);
    EXPECT_EQ(File::ReadWhole(temp.MakeFile("empty"), 0), "");
    EXPECT_EQ(Thrown([&] { File::ReadWhole(file, content.size() - 1); }),
              "cannot read " + file.Text() + ": larger than 200001 bytes");
    EXPECT_NE(Thrown([] { File::ReadWhole("/dev/zero", 1000); }), "(nothing thrown)");
}

TEST(File, ReadWholeNamesWhatItCannotRead)
{
    const TempFolder temp;
    EXPECT_EQ(Thrown([&] { File::ReadWhole(temp / "missing"); }),
              "cannot read " + (temp / "missing").Text() + ": No such file or directory");
    EXPECT_EQ(Thrown([&] { File::ReadWhole(temp.Folder()); }),
              "cannot read " + temp.Folder().Text() + ": Is a directory");
}
