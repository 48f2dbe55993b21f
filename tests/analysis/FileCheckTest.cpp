#include "analysis/FileCheck.h"

#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/TempFolder.h"

using namespace analysis;

namespace
{

/// A disk with one file, or none.
struct FakeFinder
{
    bool found;
    std::uint64_t size;
    Time modified;

    bool Find(const Path &)
    {
        return found;
    }
    std::uint64_t Size() const
    {
        return size;
    }
    Time Modified() const
    {
        return modified;
    }
};

_FileInfo RecordOf(bool exists, std::uint64_t size, std::int64_t modified)
{
    _FileInfo file("a", 1);
    file.exists = exists;
    file.size = size;
    file.modified = Time(modified);
    return file;
}

} // namespace

TEST(FileCheck, TakesOverWhatTheDiskSays)
{
    const FileLook look = LookAt("a", FakeFinder{true, 1234, Time(99)});

    EXPECT_TRUE(look.exists);
    EXPECT_EQ(look.size, 1234u);
    EXPECT_EQ(look.modified, Time(99));
}

TEST(FileCheck, SeesNothingOfAFileThatIsNotFound)
{
    const FileLook look = LookAt("a", FakeFinder{false, 1234, Time(99)});

    EXPECT_FALSE(look.exists);
    EXPECT_EQ(look.size, 0u);
    EXPECT_EQ(look.modified, Time());
}

TEST(FileCheck, FindsFilesOnDiskAndTakesNothingElseForAFrame)
{
    const TempFolder folder;
    const Path frame = folder.MakeFile("a b\"\xc3\xa4.0001.exr", "12345");
    const Path link = folder / "link";
    const Path broken = folder / "broken";
    std::filesystem::create_symlink(frame.Text().c_str(), link.Text().c_str());
    std::filesystem::create_symlink("nowhere", broken.Text().c_str());
    const struct
    {
        const char *what;
        Path path;
        bool exists;
        std::uint64_t size;
    } cases[] = {
        {"a file", frame, true, 5},
        {"an empty file", folder.MakeFile("empty"), true, 0},
        {"a link to a file", link, true, 5},
        {"a broken link", broken, false, 0},
        {"a folder", folder.MakeFolder("folder"), false, 0},
        {"nothing", folder / "none", false, 0},
        {"a file taken for a folder", frame / "x", false, 0},
        {"no name", Path(), false, 0},
    };

    for (const auto &[what, path, exists, size] : cases)
    {
        const FileLook look = LookAt(path);
        EXPECT_EQ(look.exists, exists) << what;
        EXPECT_EQ(look.size, size) << what;
        EXPECT_EQ(look.modified != Time(), exists) << what;
    }
}

TEST(FileCheck, TellsWhatIsNewsAndStoresIt)
{
    const struct
    {
        const char *what;
        _FileInfo file;
        FileLook look;
        bool isNews;
    } cases[] = {
        {"appears", RecordOf(false, 0, 0), {true, 5, Time(7)}, true},
        {"appears empty, of 1970", RecordOf(false, 0, 0), {true, 0, Time(0)}, true},
        {"stays", RecordOf(true, 5, 7), {true, 5, Time(7)}, false},
        {"grows", RecordOf(true, 5, 7), {true, 6, Time(7)}, true},
        {"is touched", RecordOf(true, 5, 7), {true, 5, Time(8)}, true},
        {"goes back in time", RecordOf(true, 5, 7), {true, 5, Time(-8)}, true},
        {"vanishes", RecordOf(true, 5, 7), {}, true},
        {"stays away", RecordOf(false, 0, 0), {}, false},
    };

    for (const auto &[what, record, look, isNews] : cases)
    {
        EXPECT_EQ(IsNews(record, look), isNews) << what;
        _FileInfo file = record;
        StoreLook(file, look);
        EXPECT_EQ(file.exists, look.exists) << what;
        EXPECT_EQ(file.size, look.size) << what;
        EXPECT_EQ(file.modified, look.modified) << what;
        EXPECT_FALSE(IsNews(file, look)) << what;
    }
}

TEST(FileCheck, CountsMissingAndTooSmallFiles)
{
    ScanCounts counts;
    const struct
    {
        FileLook look;
        std::uint64_t missing;
        std::uint64_t tooSmall;
    } cases[] = {
        {{true, 500, Time()}, 0, 0}, {{true, 499, Time()}, 0, 1},
        {{true, 0, Time()}, 0, 2},   {{}, 1, 2},
        {{true, 501, Time()}, 1, 2}, {{}, 2, 2},
    };

    for (const auto &[look, missing, tooSmall] : cases)
    {
        CountLook(look, ScanRules{.minSize = 500}, counts);
        EXPECT_EQ(counts.missing, missing);
        EXPECT_EQ(counts.tooSmall, tooSmall);
    }
}

TEST(FileCheck, CountsNothingAsTooSmallWithoutASmallestSize)
{
    ScanCounts counts;
    CountLook({true, 0, Time()}, ScanRules{.minSize = 0}, counts);
    EXPECT_EQ(counts.tooSmall, 0u);
}
