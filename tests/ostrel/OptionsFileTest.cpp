#include "ostrel/OptionsFile.h"

#include <boost/filesystem.hpp>
#include <csignal>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "ostrel/File.h"
#include "tests/support/LogCapture.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

using ostrel::File;
using ostrel::OptionsBatch;
using ostrel::OptionsFile;
using ostrel::Path;

namespace
{

// An options file of this name, read in.
struct Options : OptionsFile
{
    explicit Options(const Path &file, bool searchFolders = false) : OptionsFile(searchFolders)
    {
        SetFilename(file);
        isRead = ReadIn();
    }

    void Set(const char *key, const char *value)
    {
        InsertSection("s");
        SetValue(key, value);
    }

    bool isRead = false;
};

} // namespace

TEST(OptionsFile, MissingFileIsAnEmptyOneAndIsMadeByWriteOut)
{
    const TempFolder temp;
    const LogCapture log;
    Options options(temp / "new/Ordwick.ini");
    EXPECT_TRUE(options.isRead);
    EXPECT_TRUE(options.Sections().empty());

    options.Set("k", "v");
    EXPECT_EQ(temp.Listing(), "");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(temp / "new/Ordwick.ini"), "[s]\nk = v\n");
    EXPECT_TRUE(log.Lines().empty());
}

TEST(OptionsFile, WriteOutKeepsTheUsersCommentsAndUnknownKeys)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "; mine\n\n[s]\nunknown = 1\nk = 2\n\n; end\n");
    Options options(file);
    options.Set("k", "3");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(file), "; mine\n\n[s]\nunknown = 1\nk = 3\n\n; end\n");
    EXPECT_EQ(temp.Listing(), "o.ini\n");
}

TEST(OptionsFile, BatchesNestAndTheOutermostEndWrites)
{
    const TempFolder temp;
    const Path file = temp / "o.ini";
    Options options(file);
    {
        const OptionsBatch outer(options);
        EXPECT_TRUE(options.InUpdate());
        {
            const OptionsBatch inner(options);
            options.Set("k", "v");
        }
        EXPECT_TRUE(options.InUpdate());
        EXPECT_EQ(temp.Listing(), "");
    }
    EXPECT_FALSE(options.InUpdate());
    EXPECT_EQ(ContentOf(file), "[s]\nk = v\n");
}

TEST(OptionsFile, WriteOnChangeWritesEachChangeOutsideABatch)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "[s]\nk = 1\n");
    Options options(file);
    EXPECT_FALSE(options.WriteOnChange());
    options.Set("k", "2");
    EXPECT_EQ(ContentOf(file), "[s]\nk = 1\n");

    options.SetWriteOnChange(true);
    options.Set("k", "3");
    EXPECT_EQ(ContentOf(file), "[s]\nk = 3\n");
    {
        const OptionsBatch batch(options);
        options.Set("k", "4");
        EXPECT_EQ(ContentOf(file), "[s]\nk = 3\n");
    }
    EXPECT_EQ(ContentOf(file), "[s]\nk = 4\n");
}

TEST(OptionsFile, WhatIsCopiedIsUsedAndNeverWritten)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "; mine\n[TYPE]\nb = \"own\" ; x\nz = 26\n");
    Options shared(temp.MakeFile("shared.ini", "[type]\na = 1\nb = 2\n[other]\nc = 3\n"));
    Options options(file);
    EXPECT_TRUE(options.CopySection(shared, "type"));
    EXPECT_TRUE(options.CopySection(shared, "other"));
    EXPECT_FALSE(options.CopySection(shared, "missing"));

    const auto expectAll = [&]
    {
        EXPECT_EQ(options.Sections(), (std::vector<ostrel::String>{"TYPE", "other"}));
        EXPECT_EQ(options.Keys("type"), (std::vector<ostrel::String>{"b", "z", "a"}));
        EXPECT_EQ(options.FindText("type", "A"), "1");
        EXPECT_EQ(options.FindText("type", "b"), "2");
        EXPECT_EQ(options.FindText("type", "z"), "26");
        EXPECT_EQ(options.GetValue("other", "c", 0), 3);
        EXPECT_TRUE(options.HasSection("other"));
    };
    expectAll();
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(file), "; mine\n\n[TYPE]\nb = \"own\" ; x\nz = 26\n");

    // Nor when somebody else has written meanwhile, whose file is taken over.
    temp.MakeFile("o.ini", "[theirs]\nk = 1\n[TYPE]\nb = \"own\" ; x\nz = 26\n");
    options.Set("k", "v");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(file),
              "[theirs]\nk = 1\n\n[TYPE]\nb = \"own\" ; x\nz = 26\n\n[s]\nk = v\n");
    EXPECT_EQ(options.FindText("theirs", "k"), "1");
    EXPECT_EQ(options.FindText("type", "b"), "2");
    EXPECT_EQ(options.FindText("other", "c"), "3");
}

TEST(OptionsFile, ACopiedKeyThatIsSetToAnotherValueIsWritten)
{
    const TempFolder temp;
    const Path file = temp / "o.ini";
    Options shared(temp.MakeFile("shared.ini", "[s]\na = 1\nb = 2\n"));
    Options options(file);
    options.CopySection(shared, "s");
    options.Set("a", "1");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(file), "") << "the value that is there is no change";

    options.Set("a", "5");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(file), "[s]\na = 5\n");
    EXPECT_EQ(options.FindText("s", "a"), "5");
    EXPECT_EQ(options.FindText("s", "b"), "2");
}

TEST(OptionsFile, ReadingIsNoChangeToWrite)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "[s]\nk=1");
    Options options(file);
    options.SetWriteOnChange(true);
    EXPECT_TRUE(options.ReadIn());
    EXPECT_EQ(ContentOf(file), "[s]\nk=1");
}

TEST(OptionsFile, BrokenFileIsReportedByLineAndKeptBesideTheNewOne)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "[s]\nk = 1\nnonsense\n");
    const LogCapture log;
    Options options(file);
    EXPECT_FALSE(options.isRead);
    EXPECT_TRUE(options.Sections().empty());
    EXPECT_EQ(log.Texts(ostrel::k_LogError),
              std::vector<std::string>{"options: cannot use " + file.Text() +
                                       ", line 3: neither a section nor key = value"});
    EXPECT_EQ(temp.Listing(), "o.ini\n");

    options.Set("k", "2");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(temp.Listing(), "o.ini\no.ini.broken\n");
    EXPECT_EQ(ContentOf(file), "[s]\nk = 2\n");
    EXPECT_EQ(ContentOf(temp / "o.ini.broken"), "[s]\nk = 1\nnonsense\n");
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "o.ini.broken"), 1);
}

TEST(OptionsFile, EachBrokenFileIsKeptUnderANameOfItsOwn)
{
    const TempFolder temp;
    const LogCapture quiet;
    for (const char *content : {"one", "two", "three"})
    {
        Options options(temp.MakeFile("o.ini", content));
        EXPECT_TRUE(options.WriteOut());
    }
    EXPECT_EQ(temp.Listing(), "o.ini\no.ini.broken\no.ini.broken.2\no.ini.broken.3\n");
    EXPECT_EQ(ContentOf(temp / "o.ini.broken"), "one");
    EXPECT_EQ(ContentOf(temp / "o.ini.broken.3"), "three");
}

TEST(OptionsFile, BrokenFileThatWasMendedIsTakenAgain)
{
    const TempFolder temp;
    const LogCapture quiet;
    Options options(temp.MakeFile("o.ini", "nonsense"));
    temp.MakeFile("o.ini", "[s]\nk = 1\n");
    EXPECT_TRUE(options.ReadIn());
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(temp.Listing(), "o.ini\n");
}

TEST(OptionsFile, AFolderInItsPlaceIsReportedAndNotWritten)
{
    const TempFolder temp;
    const LogCapture log;
    Options options(temp.MakeFolder("o.ini"));
    EXPECT_FALSE(options.isRead);
    EXPECT_FALSE(options.WriteOut());
    EXPECT_EQ(log.Count(ostrel::k_LogError, "o.ini"), 2);
    EXPECT_EQ(temp.Listing(), "o.ini\n");
}

TEST(OptionsFile, IsLookedForInTheSearchFoldersButWrittenWhereItsNameSays)
{
    const TempFolder temp;
    const Path found = temp.MakeFile("etc/o.ini", "[s]\nk = found\n");
    File::s_AltPaths = {temp / "missing", temp / "etc"};

    EXPECT_EQ(Options(temp / "home/o.ini", false).FindText("s", "k"), std::nullopt);
    EXPECT_EQ(Options("o.ini", true).FindText("s", "k"), "found");

    Options options(temp / "home/o.ini", true);
    EXPECT_EQ(options.FindText("s", "k"), "found");
    options.Set("k", "mine");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(found), "[s]\nk = found\n");
    EXPECT_EQ(ContentOf(temp / "home/o.ini"), "[s]\nk = mine\n");
    EXPECT_EQ(Options(temp / "home/o.ini", true).FindText("s", "k"), "mine");
    File::s_AltPaths.clear();
}

TEST(OptionsFile, WhatOthersWroteMeanwhileStays)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "[s]\nk = old\nboth = old\ngone = old\n");
    Options first(file);
    Options second(file);
    first.Set("k", "first");
    first.Set("both", "first");
    EXPECT_TRUE(first.WriteOut());

    temp.MakeFile("o.ini", "; edited\n[s]\nk = first\nboth = edited\n\n[t]\nmine = 1\n");
    second.Set("new", "second");
    second.Set("both", "second");
    EXPECT_TRUE(second.WriteOut());
    EXPECT_EQ(ContentOf(file),
              "; edited\n\n[s]\nk = first\nboth = second\nnew = second\n\n[t]\nmine = 1\n");
    EXPECT_EQ(second.FindText("t", "mine"), "1");
    EXPECT_EQ(second.FindText("s", "gone"), std::nullopt);
}

TEST(OptionsFile, AFileThatOthersBrokeMeanwhileIsKeptAndOneTheyMendedIsTaken)
{
    const TempFolder temp;
    const LogCapture log;
    const Path broken = temp.MakeFile("b.ini", "[s]\nk = v\n");
    Options options(broken);
    temp.MakeFile("b.ini", "nonsense");
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(broken), "[s]\nk = v\n");
    EXPECT_EQ(ContentOf(temp / "b.ini.broken"), "nonsense");

    const Path mended = temp.MakeFile("m.ini", "nonsense");
    Options late(mended);
    temp.MakeFile("m.ini", "[s]\nk = mended\n");
    late.Set("l", "w");
    EXPECT_TRUE(late.WriteOut());
    EXPECT_EQ(ContentOf(mended), "[s]\nk = mended\nl = w\n");
}

TEST(OptionsFile, ALeafAloneIsNotReadFromTheCurrentFolder)
{
    const TempFolder temp;
    temp.MakeFile("o.ini", "[s]\nk = anybody's\n");
    const auto before = boost::filesystem::current_path();
    boost::filesystem::current_path(temp.Folder().Text());
    File::s_AltPaths = {temp / "missing"};
    const Options options("o.ini", true);
    EXPECT_TRUE(options.isRead);
    EXPECT_EQ(options.FindText("s", "k"), std::nullopt);
    File::s_AltPaths.clear();
    boost::filesystem::current_path(before);
}

TEST(OptionsFile, BrokenFileOfASearchFolderStaysAsItIs)
{
    const TempFolder temp;
    const LogCapture log;
    temp.MakeFile("etc/o.ini", "nonsense");
    File::s_AltPaths = {temp / "etc"};
    Options options(temp / "home/o.ini", true);
    EXPECT_FALSE(options.isRead);
    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(ContentOf(temp / "etc/o.ini"), "nonsense");
    EXPECT_FALSE(ostrel::FileFinder().Find(temp / "home/o.ini.broken"));
    File::s_AltPaths.clear();
}

TEST(OptionsFile, ALinkStaysALink)
{
    const TempFolder temp;
    temp.MakeFile("real.ini", "nonsense");
    ASSERT_EQ(symlink("real.ini", (temp / "o.ini").Text().c_str()), 0);
    const LogCapture quiet;
    Options options(temp / "o.ini");
    options.Set("k", "v");
    EXPECT_TRUE(options.WriteOut());

    struct stat status
    {
    };
    ASSERT_EQ(lstat((temp / "o.ini").Text().c_str(), &status), 0);
    EXPECT_TRUE(S_ISLNK(status.st_mode));
    EXPECT_EQ(ContentOf(temp / "real.ini"), "[s]\nk = v\n");
    EXPECT_EQ(ContentOf(temp / "o.ini.broken"), "nonsense");
}

TEST(OptionsFile, WriteOutOnAFullDiskSaysSoAndLeavesTheOldFileWhole)
{
    const TempFolder temp;
    const Path file = temp.MakeFile("o.ini", "[s]\nk = old\n");
    const Path broken = temp.MakeFile("b.ini", "nonsense");
    const LogCapture log;
    Options options(file);
    Options brokenOptions(broken);
    options.Set("k", std::string(10'000, 'x').c_str());
    brokenOptions.Set("k", std::string(10'000, 'x').c_str());

    rlimit before{};
    std::signal(SIGXFSZ, SIG_IGN);
    getrlimit(RLIMIT_FSIZE, &before);
    const rlimit small{.rlim_cur = 4096, .rlim_max = before.rlim_max};
    setrlimit(RLIMIT_FSIZE, &small);
    EXPECT_FALSE(options.WriteOut());
    options.BeginUpdate();
    EXPECT_NO_THROW(options.EndUpdate());
    EXPECT_FALSE(brokenOptions.WriteOut());
    setrlimit(RLIMIT_FSIZE, &before);

    EXPECT_EQ(ContentOf(file), "[s]\nk = old\n");
    EXPECT_EQ(ContentOf(broken), "nonsense");
    EXPECT_EQ(temp.Listing(), "b.ini\no.ini\n");
    EXPECT_EQ(log.Count(ostrel::k_LogError, "options: cannot write " + file.Text() + ": "), 2);
    EXPECT_EQ(log.Count(ostrel::k_LogWarning, "kept"), 0);

    EXPECT_TRUE(options.WriteOut());
    EXPECT_EQ(Options(file).FindText("s", "k"), std::string(10'000, 'x'));
    EXPECT_TRUE(brokenOptions.WriteOut());
    EXPECT_EQ(ContentOf(temp / "b.ini.broken"), "nonsense");
}

TEST(OptionsFile, NonsenseValuesGiveDefaultsAndOneWarningEach)
{
    const TempFolder temp;
    const LogCapture log;
    const Options options(
        temp.MakeFile("o.ini", "[Analysis]\nMinSize = -1\nFrameOffset = 1e9\nSizeVariation = nan\n"
                               "Refresh = soon\nShowProgress = 2\n[Window]\nSortCol =\n"));
    for (int i = 0; i < 2; ++i)
    {
        EXPECT_EQ(options.GetValue("Analysis", "MinSize", 500U), 500U);
        EXPECT_EQ(options.GetValue("Analysis", "FrameOffset", 5), 5);
        EXPECT_EQ(options.GetValue("Analysis", "SizeVariation", 15.F), 15.F);
        EXPECT_EQ(options.GetValue("Analysis", "Refresh", 5000), 5000);
        EXPECT_EQ(options.GetValue("Analysis", "ShowProgress", true), true);
        EXPECT_EQ(options.GetValue("Window", "SortCol", 0), 0);
    }
    EXPECT_EQ(log.Texts(ostrel::k_LogWarning).size(), 6u);
}

TEST(OptionsFile, WriteMutexMayBeTakenAgainByItsHolder)
{
    const TempFolder temp;
    Options options(temp / "o.ini");
    const std::lock_guard lock(options.WriteMutex());
    options.Set("k", "v");
    EXPECT_TRUE(options.WriteOut());
}
