#include "check/Crops.h"

#include <gtest/gtest.h>

#include "tests/check/SampleTable.h"

namespace check
{
namespace
{

using Stems = std::vector<String>;

Stems StemsOf(const std::vector<String> &patterns)
{
    std::vector<CheckTable> tables;
    for (const String &pattern : patterns)
        tables.push_back(SampleTable(pattern, {}));
    return CropStems(tables);
}

constexpr PicturePlace k_place{10, 20, 30, 40};

std::vector<String> Names(const std::vector<Crop> &crops)
{
    std::vector<String> names;
    for (const Crop &crop : crops)
        names.push_back(crop.name);
    return names;
}

TEST(Crops, AreCalledAfterThePatternWithoutFolderNumberAndExtension)
{
    const struct
    {
        const char *pattern;
        const char *stem;
    } cases[] = {
        {"/renders/beauty.%04d.exr", "beauty"},
        {"beauty_%d.exr", "beauty"},
        {"/r/shot_010-%04d", "shot_010"},
        {"/r/a.b.%04d.left.exr", "a.b.left"},
        {"/r/a%04d_v2.exr", "a_v2"},
        {"/r/%04d.exr", ""},
        {"/r/%04d", ""},
        {"/r/%04d/beauty.exr", "beauty"},
        {"/r/v%04d/", ""},
        {"/r/.%04d.exr", ""},
        {"/r/100%%.%d.png", "100%"},
    };
    for (const auto &[pattern, stem] : cases)
        EXPECT_EQ(StemsOf({pattern}), Stems{stem}) << pattern;
}

TEST(Crops, HaveNamesOfTheirOwnWhateverTheFolders)
{
    EXPECT_EQ(StemsOf({"/a/f.%04d.exr", "/b/f.%04d.exr", "/c/f.%d.png", "/d/g.%d.png"}),
              (Stems{"f", "f-2", "f-3", "g"}));
    EXPECT_EQ(StemsOf({"/a/f.%04d.exr", "/b/f.%04d.exr", "/c/f-2.%d.png", "/d/f.%d.png"}),
              (Stems{"f", "f-3", "f-2", "f-4"}));
    EXPECT_EQ(StemsOf({"/a/%04d.exr", "/b/%04d.exr"}), (Stems{"", "2"}));
}

TEST(Crops, HaveNamesThatASystemTakes)
{
    const std::string letters = "\xc3\xa4"; // Two bytes, which stay together.
    std::string longest = "x";
    while (longest.size() < 230)
        longest += letters;
    const Stems stems = StemsOf({"/a/" + longest + ".%04d.exr", "/b/" + longest + ".%04d.exr"});
    EXPECT_EQ(stems.at(0), longest.substr(0, 159));
    EXPECT_EQ(stems.at(1), longest.substr(0, 159) + "-2");
}

TEST(Crops, ShowWhatPicturesHaveFoundInTheOrderOfFrames)
{
    CheckTable table = SampleTable(
        "/r/f.%03d.exr", {CheckState::Ok, CheckState::Patch, CheckState::Nan, CheckState::Sparks,
                          CheckState::Pop, CheckState::Changed, CheckState::Duplicate});
    std::swap(table.frames[1], table.frames[3]); // Another order than that of numbers.
    std::swap(table.states[1], table.states[3]);
    for (const std::size_t row : {0, 1, 2, 3, 5, 6})
        table.places[row] = k_place;
    const std::vector<Crop> crops = ListCrops(table, "f");
    EXPECT_EQ(Names(crops),
              (std::vector<String>{"f.002.patch.jpg", "f.004.sparks.jpg", "f.007.duplicate.jpg"}));
    const decode::StripWish wish{{10, 20, 30, 40}, "/r/f.001.exr", "/r/f.003.exr"};
    EXPECT_EQ(crops.at(0).request.path, ostrel::Path("/r/f.002.exr"));
    EXPECT_EQ(crops.at(0).request.strip, wish);
    EXPECT_EQ(crops.at(1).request.strip->cells, decode::StripCells::Brightest) << "of sparks";
    EXPECT_EQ(crops.at(0).modified, table.frames[3].modified);
    EXPECT_EQ(crops.at(2).request.strip->before, ostrel::Path("/r/f.006.exr"));
    EXPECT_EQ(crops.at(2).request.strip->after, ostrel::Path()) << "it is the last";
    EXPECT_EQ(Names(ListCrops(table, "")).at(0), "002.patch.jpg");
}

TEST(Crops, ShowNoNeighbourThatCannotBeRead)
{
    CheckTable table =
        SampleTable("/r/f.%d", {CheckState::Patch, CheckState::Missing, CheckState::Black,
                                CheckState::Undecodable, CheckState::Pop, CheckState::Ok});
    for (const std::size_t row : {0, 2, 4})
        table.places[row] = k_place;
    table.troubles[5] = "takes more memory than 64 MiB";
    for (const Crop &crop : ListCrops(table, "f"))
    {
        EXPECT_EQ(crop.request.strip->before, ostrel::Path()) << crop.name;
        EXPECT_EQ(crop.request.strip->after, ostrel::Path()) << crop.name;
    }
    EXPECT_EQ(ListCrops(table, "f").size(), 3u);
}

} // namespace
} // namespace check
