// How pictures come from a table's files to the judge, and its findings to the table.

#include <algorithm>
#include <fmt/format.h>

#include <gtest/gtest.h>

#include "check/TableDecoder.h"
#include "tests/check/SampleTable.h"
#include "tests/check/pictures/SampleShot.h"
#include "tests/support/Printing.h"
#include "tests/support/TempFolder.h"

namespace check
{
namespace
{

constexpr int k_files = 24;
constexpr int k_badFile = 13;
constexpr PicturePlace k_blackPlace{40, 30, 20, 15};
const String k_blackDetail = "20x15 pixels at 40,30 are black, and not so in the frames beside it";

// A file of floating-point numbers, its rows from the bottom.
std::string FileOf(SamplePicture picture)
{
    std::string content = fmt::format("Pf\n{} {}\n-1.0\n", picture.width, picture.height);
    for (int y = picture.height - 1; y >= 0; --y)
        content.append(reinterpret_cast<const char *>(&picture.At(0, y)),
                       std::size_t(picture.width) * sizeof(float));
    return content;
}

void AppendNumber(std::string &content, std::size_t value, int bytes)
{
    for (int byte = 0; byte < bytes; ++byte)
        content += char(value >> (8 * byte) & 0xff);
}

// A TIFF file of the picture and a further one, whose pixels are beyond the end of the file.
std::string FileWhosePartIsCut(const SamplePicture &picture)
{
    const std::size_t bytes = picture.light.size() * sizeof(float);
    std::string content = "II*";
    AppendNumber(content, 0, 1);
    AppendNumber(content, 8 + bytes, 4);
    content.append(reinterpret_cast<const char *>(picture.light.data()), bytes);
    for (const bool isCut : {false, true})
    {
        const std::pair<std::size_t, std::size_t> entries[] = {
            {256, picture.width},
            {257, picture.height},
            {258, 32}, // Bits of a value, which is
            {259, 1},  // not packed,
            {262, 1},  // light,
            {273, isCut ? 16 * bytes : 8},
            {277, 1}, // one a pixel;
            {278, picture.height},
            {279, bytes},
            {339, 3}, // of floating point.
        };
        AppendNumber(content, std::size(entries), 2);
        for (const auto &[tag, value] : entries)
        {
            AppendNumber(content, tag, 2);
            AppendNumber(content, 4, 2);
            AppendNumber(content, 1, 4);
            AppendNumber(content, value, 4);
        }
        AppendNumber(content, isCut ? 0 : content.size() + 4, 4);
    }
    return content;
}

class JudgedTables : public testing::Test
{
protected:
    JudgedTables() : m_shot(PanningShot(k_files))
    {
        for (int number = 1; number <= k_files; ++number)
            Write(number, *m_shot[std::size_t(number) - 1]);
    }

    void Write(int number, const SamplePicture &picture)
    {
        m_folder.MakeFile(fmt::format("f.{}.pfm", number), FileOf(picture));
    }
    void WriteBlackTiles(int number)
    {
        SamplePicture picture = *m_shot[std::size_t(number) - 1];
        Fill(picture, k_blackPlace, 0);
        Write(number, picture);
    }

    CheckTable Table(const std::vector<CheckState> &states = std::vector(k_files,
                                                                         CheckState::Ok)) const
    {
        return SampleTable((m_folder / "f.%d.pfm").Text(), states);
    }
    /// Gives how many files were read.
    std::size_t Decode(CheckTable &table, CheckDepth depth)
    {
        std::size_t files = 0;
        m_decoder.Decode(table, 2, {}, depth, [&](std::size_t, std::size_t all) { files = all; });
        return files;
    }

    const TempFolder m_folder;
    SampleShot m_shot;
    TableDecoder m_decoder;
};

TEST_F(JudgedTables, TellStateDetailAndPlaceOfAFrame)
{
    WriteBlackTiles(k_badFile);
    CheckTable table = Table();
    Decode(table, CheckDepth::Pictures);
    constexpr std::size_t k_row = k_badFile - 1;
    EXPECT_EQ(table.states[k_row], CheckState::Patch);
    EXPECT_EQ(std::ranges::count(table.states, CheckState::Ok), k_files - 1);
    ASSERT_EQ(table.details.count(k_row), 1u);
    EXPECT_TRUE(table.details[k_row].starts_with(k_blackDetail)) << table.details[k_row];
    EXPECT_EQ(table.places, (std::map<std::size_t, PicturePlace>{{k_row, k_blackPlace}}));
}

TEST_F(JudgedTables, AreJudgedInTheOrderOfTimeHoweverTheirRowsAreSorted)
{
    // What only the next frame in time tells.
    Write(k_badFile, *m_shot[k_badFile - 2]);
    CheckTable table = Table();
    // Neighbours in the table are seven frames apart.
    std::ranges::sort(table.frames, {},
                      [](const analysis::FrameRecord &frame)
                      { return frame.frame * 7 % (k_files + 1); });
    Decode(table, CheckDepth::Pictures);
    for (std::size_t row = 0; row < table.frames.size(); ++row)
        EXPECT_EQ(table.states[row],
                  table.frames[row].frame == k_badFile ? CheckState::Duplicate : CheckState::Ok)
            << table.frames[row].frame;
    ASSERT_EQ(table.places.size(), 1u);
    EXPECT_EQ(table.frames[table.places.begin()->first].frame, k_badFile);
}

TEST_F(JudgedTables, KeepTheStateThatAFrameHasByItsSize)
{
    WriteBlackTiles(k_badFile);
    std::vector<CheckState> states(k_files, CheckState::Ok);
    states[k_badFile - 1] = CheckState::Outlier;
    CheckTable table = Table(states);
    table.details[k_badFile - 1] = "seen before";
    Decode(table, CheckDepth::Pictures);
    EXPECT_EQ(table.states, states);
    EXPECT_TRUE(table.details[k_badFile - 1].starts_with("seen before; " + k_blackDetail));
    EXPECT_EQ(table.places[k_badFile - 1], k_blackPlace);
}

TEST_F(JudgedTables, AreReadAgainWhereTheyWereReadForLess)
{
    WriteBlackTiles(k_badFile);
    CheckTable table = Table();
    EXPECT_EQ(Decode(table, CheckDepth::Images), std::size_t(k_files));
    EXPECT_EQ(table.states, Table().states);
    EXPECT_TRUE(table.places.empty());

    EXPECT_EQ(Decode(table, CheckDepth::Pictures), std::size_t(k_files));
    EXPECT_EQ(table.states[k_badFile - 1], CheckState::Patch);
    CheckTable again = Table();
    EXPECT_EQ(Decode(again, CheckDepth::Pictures), 0u);
    EXPECT_EQ(again.states, table.states);
    CheckTable shallow = Table();
    EXPECT_EQ(Decode(shallow, CheckDepth::Images), 0u);
    EXPECT_EQ(shallow.states, Table().states);
}

TEST_F(JudgedTables, AreJudgedAgainWhereAFileHasChanged)
{
    CheckTable table = Table();
    Decode(table, CheckDepth::Pictures);
    EXPECT_EQ(table.states, Table().states);

    WriteBlackTiles(k_badFile);
    CheckTable changed = Table();
    changed.frames[k_badFile - 1].modified = ostrel::Time(1);
    EXPECT_EQ(Decode(changed, CheckDepth::Pictures), 1u);
    EXPECT_EQ(changed.states[k_badFile - 1], CheckState::Patch);
    EXPECT_EQ(changed.places.size(), 1u);
}

TEST_F(JudgedTables, SayTheSameWhereWhatPicturesLookLikeIsForgottenOnceTheyAreJudged)
{
    WriteBlackTiles(k_badFile);
    Write(20, *m_shot[18]);
    m_folder.MakeFile("f.5.pfm", FileOf(*m_shot[4]).substr(0, 30000));
    CheckTable table = Table();
    table.frames[7].exists = false;
    table.states[7] = CheckState::Missing;
    std::ranges::reverse(table.frames);
    std::ranges::reverse(table.states);
    CheckTable kept = table;
    Decode(kept, CheckDepth::Pictures);
    EXPECT_EQ(kept.places.size(), 2u);

    m_decoder.ForgetPictures();
    for (int pass = 0; pass < 2; ++pass)
    {
        CheckTable forgotten = table;
        EXPECT_EQ(Decode(forgotten, CheckDepth::Pictures), std::size_t(k_files - 1)) << pass;
        EXPECT_EQ(forgotten.states, kept.states);
        EXPECT_EQ(forgotten.details, kept.details);
        EXPECT_EQ(forgotten.places, kept.places);
    }
    CheckTable shallow = table;
    EXPECT_EQ(Decode(shallow, CheckDepth::Images), 0u);
}

// Neither one that cannot be read to its end nor one of another size is a neighbour.
TEST_F(JudgedTables, HoldNothingAgainstWhatIsNoPicture)
{
    m_folder.MakeFile("f.5.pfm", FileOf(*m_shot[4]).substr(0, 30000));
    SamplePicture black = *m_shot[8];
    Fill(black, {0, 0, black.width, black.height}, 0);
    m_folder.MakeFile("f.9.pfm", FileOf(black).substr(0, 30000));
    Write(16, {80, 45});
    CheckTable table = Table();
    Decode(table, CheckDepth::Pictures);
    std::vector<CheckState> states(k_files, CheckState::Ok);
    states[4] = states[8] = CheckState::Undecodable;
    states[15] = CheckState::OddImage;
    EXPECT_EQ(table.states, states);
    EXPECT_TRUE(table.places.empty());
}

// Its first part was measured before it was known that there is no more.
TEST_F(JudgedTables, HoldNothingAgainstTheFirstPartOfWhatCannotBeReadToItsEnd)
{
    SamplePicture damaged = *m_shot[k_badFile - 1];
    Fill(damaged, k_blackPlace, 0);
    m_folder.MakeFile(fmt::format("f.{}.pfm", k_badFile), FileWhosePartIsCut(damaged));
    CheckTable table = Table();
    Decode(table, CheckDepth::Pictures);
    std::vector<CheckState> states(k_files, CheckState::Ok);
    states[k_badFile - 1] = CheckState::Undecodable;
    EXPECT_EQ(table.states, states);
    EXPECT_TRUE(table.places.empty());
    EXPECT_EQ(table.details[k_badFile - 1].find("black"), String::npos)
        << table.details[k_badFile - 1];
}

TEST_F(JudgedTables, OfEachPatternAreJudgedByThemselves)
{
    WriteBlackTiles(k_badFile);
    for (int number = 1; number <= k_files; ++number)
        m_folder.MakeFile(fmt::format("g.{}.pfm", number),
                          FileOf(*m_shot[std::size_t(number) - 1]));
    for (int pass = 0; pass < 2; ++pass)
    {
        CheckTable bad = Table();
        Decode(bad, CheckDepth::Pictures);
        EXPECT_EQ(bad.places.size(), 1u);
        CheckTable good = SampleTable((m_folder / "g.%d.pfm").Text(), Table().states);
        Decode(good, CheckDepth::Pictures);
        EXPECT_EQ(good.states, Table().states);
        EXPECT_TRUE(good.places.empty());
    }
}

} // namespace
} // namespace check
