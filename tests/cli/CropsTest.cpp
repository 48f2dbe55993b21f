#include "cli/Crops.h"

#include <CLI/CLI.hpp>
#include <cstdio>
#include <optional>
#include <sys/stat.h>
#include <vector>

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"
#include "tests/support/TempFolder.h"
#include "tests/support/Thrown.h"

namespace cli
{
namespace
{

using check::CheckState;
using check::CheckTable;

// A command with that option.
struct Command
{
    CLI::App app;
    Crops crops;

    Command()
    {
        app.add_flag("--pictures");
        crops.Declare(app);
    }
};

// Frames 1, 2, ... of 40 x 30 pixels, each of an even grey.
class CropsTest : public testing::Test
{
protected:
    CheckTable Table(const String &folder, const std::vector<CheckState> &states) const
    {
        CheckTable table = check::SampleTable((m_folder / folder).Text() + "/f.%02d.pfm", states);
        for (std::size_t row = 0; row < states.size(); ++row)
        {
            if (states[row] != CheckState::Missing)
                WriteFrame(folder, int(row) + 1);
            if (states[row] != CheckState::Ok)
                table.places[row] = {10, 10, 5, 5};
        }
        return table;
    }

    void WriteFrame(const String &folder, int frame) const
    {
        const std::vector<float> pixels(40 * 30, float(frame) / 10);
        m_folder.MakeFile(
            folder + "/f.0" + std::to_string(frame) + ".pfm",
            "Pf\n40 30\n-1.0\n" +
                std::string(reinterpret_cast<const char *>(pixels.data()), pixels.size() * 4));
    }

    void Begin(const String &folder)
    {
        m_command.emplace();
        m_command->app.parse(
            std::vector<std::string>{folder, "--crops", "--pictures"}); // Reversed.
    }

    std::size_t Write(const std::vector<CheckTable> &tables)
    {
        return m_command->crops.Write(tables, {});
    }

    String Crop(const String &name) const
    {
        return ContentOf(m_folder / "crops/new" / name);
    }

    TempFolder m_folder;
    std::optional<Command> m_command;
};

bool IsCrop(const String &content)
{
    return content.starts_with("\xff\xd8\xff") && content.find(decode::k_StripMark) != String::npos;
}

TEST_F(CropsTest, NeedPicturesAndAFolder)
{
    Command command;
    EXPECT_FALSE(command.crops.AreWanted());
    EXPECT_THROW(command.app.parse("--crops there"), CLI::RequiresError);
    EXPECT_THROW(command.app.parse("--pictures --crops \"\""), CLI::ParseError);
    EXPECT_THROW(command.app.parse("--pictures --crops"), CLI::ParseError);
    command.app.parse("--pictures --crops there");
    EXPECT_TRUE(command.crops.AreWanted());
    EXPECT_EQ(command.crops.Folder(), "there");
}

TEST_F(CropsTest, GoIntoAFolderThatIsMadeWithItsParents)
{
    Begin((m_folder / "crops/new").Text());
    EXPECT_EQ(Write({Table("a", {CheckState::Ok, CheckState::Patch, CheckState::Missing,
                                 CheckState::Sparks}),
                     Table("b", {CheckState::Ok, CheckState::Patch})}),
              3u);
    for (const char *name : {"f.02.patch.jpg", "f.04.sparks.jpg", "f-2.02.patch.jpg"})
        EXPECT_TRUE(IsCrop(Crop(name))) << name;
    EXPECT_TRUE(m_command->crops.AreWhole());
}

TEST_F(CropsTest, MakeTheFolderWhereNothingWasFoundToo)
{
    Begin((m_folder / "crops/new").Text());
    EXPECT_EQ(Write({Table("a", {CheckState::Ok, CheckState::Ok})}), 0u);
    struct stat status
    {
    };
    EXPECT_EQ(stat((m_folder / "crops/new").Text().c_str(), &status), 0);
    EXPECT_TRUE(S_ISDIR(status.st_mode));
}

TEST_F(CropsTest, AreWrittenAgainWhereWhatTheyShowIsAnother)
{
    Begin((m_folder / "crops/new").Text());
    CheckTable table = Table("a", {CheckState::Ok, CheckState::Patch, CheckState::Ok});
    EXPECT_EQ(Write({table}), 1u);
    EXPECT_EQ(Write({table}), 0u) << "nothing is new";
    table.states[2] = CheckState::Pop;
    table.places[2] = {0, 0, 40, 30};
    EXPECT_EQ(Write({table}), 1u) << "another frame";
    table.states[2] = CheckState::Black;
    EXPECT_EQ(Write({table}), 1u) << "another state";
    table.places[1].x = 11;
    EXPECT_EQ(Write({table}), 1u) << "another place";
    table.frames[1].modified = ostrel::Time(5);
    EXPECT_EQ(Write({table}), 1u) << "another file";
    table.states[1] = CheckState::Ok;
    EXPECT_EQ(Write({table}), 0u);
    table.states[1] = CheckState::Patch;
    EXPECT_EQ(Write({table}), 1u) << "it was fine in between";
    for (const char *name : {"f.02.patch.jpg", "f.03.pop.jpg", "f.03.black.jpg"})
        EXPECT_TRUE(IsCrop(Crop(name))) << name;
}

TEST_F(CropsTest, ReplaceCropsAndNothingElse)
{
    Begin((m_folder / "crops/new").Text());
    const CheckTable table = Table("a", {CheckState::Ok, CheckState::Patch});
    Write({table});
    const String first = Crop("f.02.patch.jpg");
    m_folder.MakeFile("crops/new/f.02.patch.jpg", first + "older");
    Begin((m_folder / "crops/new").Text()); // Another run.
    EXPECT_EQ(Write({table}), 1u);
    EXPECT_EQ(Crop("f.02.patch.jpg"), first);

    for (const char *other : {"a painting", ""})
    {
        m_folder.MakeFile("crops/new/f.02.patch.jpg", other);
        Begin((m_folder / "crops/new").Text());
        EXPECT_EQ(Thrown([&] { Write({table}); }),
                  "cannot write the crop " + (m_folder / "crops/new/f.02.patch.jpg").Text() +
                      ": there is a file of this name that is no crop; move it away, or name "
                      "another folder by --crops");
        EXPECT_EQ(Crop("f.02.patch.jpg"), other);
    }
}

TEST_F(CropsTest, SayWhyTheFolderCannotBe)
{
    const String file = m_folder.MakeFile("crops").Text();
    Begin(file + "/new");
    EXPECT_EQ(Thrown([&] { Write({}); }), "cannot make the folder " + file +
                                              "/new for crops: Not a directory; name another one "
                                              "by --crops");
}

TEST_F(CropsTest, AreTriedAgainWhereTheyCouldNotBeWritten)
{
    Begin((m_folder / "crops/new").Text());
    const CheckTable table = Table("a", {CheckState::Ok, CheckState::Patch});
    m_folder.MakeFile("crops/new/f.02.patch.jpg/in the way");
    EXPECT_TRUE(Thrown([&] { Write({table}); }).starts_with("cannot write the crop "));
    std::rename((m_folder / "crops/new/f.02.patch.jpg").Text().c_str(),
                (m_folder / "crops/new/aside").Text().c_str());
    EXPECT_EQ(Write({table}), 1u);
    EXPECT_TRUE(IsCrop(Crop("f.02.patch.jpg")));
}

TEST_F(CropsTest, TellOfAFrameThatCannotBeShownAndGoOn)
{
    Begin((m_folder / "crops/new").Text());
    CheckTable table =
        Table("a", {CheckState::Ok, CheckState::Patch, CheckState::Patch, CheckState::Patch});
    table.places[1] = {400, 0, 1, 1};
    m_folder.MakeFile("a/f.03.pfm", "words");
    testing::internal::CaptureStderr();
    EXPECT_EQ(Write({table}), 1u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "corvan: there is no crop of 2 frames, the first " + table.PathOf(1).Text() +
                  ": the place at 400, 0 is outside of its 40 x 30 pixels\n");
    EXPECT_FALSE(m_command->crops.AreWhole());
    EXPECT_TRUE(IsCrop(Crop("f.04.patch.jpg")));

    testing::internal::CaptureStderr();
    EXPECT_EQ(Write({table}), 0u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "") << "it was told";
    EXPECT_FALSE(m_command->crops.AreWhole());
    table.states[1] = table.states[2] = CheckState::Ok;
    Write({table});
    EXPECT_TRUE(m_command->crops.AreWhole());
}

TEST_F(CropsTest, AreMadeWithoutANeighbourThatTakesTooLong)
{
    Begin((m_folder / "crops/new").Text());
    const CheckTable table =
        Table("a", {CheckState::Ok, CheckState::Patch, CheckState::Ok, CheckState::Patch});
    Write({table});
    const String whole = Crop("f.02.patch.jpg");
    const String third = table.PathOf(2).Text();
    std::remove(third.c_str());
    // Nobody writes into it.
    ASSERT_EQ(mkfifo(third.c_str(), 0600), 0);

    Begin((m_folder / "crops/new").Text());
    decode::DecodeLimits limits;
    limits.time = std::chrono::seconds(1);
    testing::internal::CaptureStderr();
    EXPECT_EQ(m_command->crops.Write({&table, 1}, limits), 2u);
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "corvan: 2 crops are made without a neighbour that cannot be shown, the first "
              "f.02.patch.jpg without " +
                  third + ": took longer than 1 s\n");
    EXPECT_TRUE(m_command->crops.AreWhole());
    EXPECT_TRUE(IsCrop(Crop("f.02.patch.jpg")));
    EXPECT_NE(Crop("f.02.patch.jpg"), whole);
    EXPECT_TRUE(IsCrop(Crop("f.04.patch.jpg")));
}

} // namespace
} // namespace cli
