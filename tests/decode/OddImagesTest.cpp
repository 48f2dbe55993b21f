#include "decode/OddImages.h"

#include <algorithm>
#include <map>
#include <random>
#include <string>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

// A letter a row, the kind of its image; a blank has none.
std::vector<std::optional<ImageKind>> Kinds(const std::string &letters)
{
    std::vector<std::optional<ImageKind>> kinds;
    for (const char letter : letters)
        kinds.push_back(letter == ' ' ? std::nullopt
                                      : std::optional(ImageKind{letter, 1, "R,G,B", "openexr"}));
    return kinds;
}

// For each row the kind that stands against it, '.' for one that is not odd.
std::string Found(const std::string &letters, int frameOffset)
{
    const auto kinds = Kinds(letters);
    std::string found;
    for (const ImageKind *kind : FindOddImages(kinds, frameOffset))
        found += kind ? char(kind->width) : '.';
    return found;
}

// Every neighbour visited, every time.
std::string PlainFound(const std::string &letters, int frameOffset)
{
    std::string found(letters.size(), '.');
    const int rows = int(letters.size());
    for (int row = 0; row < rows; ++row)
    {
        std::map<char, int> counts;
        int total = 0;
        for (int other = std::max(0, row - frameOffset);
             other <= std::min(rows - 1, row + frameOffset); ++other)
            if (other != row && letters[std::size_t(other)] != ' ')
                ++counts[letters[std::size_t(other)]], ++total;
        for (const auto &[letter, count] : counts)
            if (2 * count > total && letters[std::size_t(row)] != ' ' &&
                letters[std::size_t(row)] != letter)
                found[std::size_t(row)] = letter;
    }
    return found;
}

} // namespace

TEST(OddImages, DifferFromMostOfTheirNeighbours)
{
    const struct
    {
        const char *letters;
        int frameOffset;
        const char *found;
    } cases[] = {
        {"", 5, ""},
        {"A", 5, "."},
        {"AAAA", 5, "...."},
        {"AABAA", 5, "..A.."},
        {"BAAAA", 5, "A...."},
        {"AABBAAA", 5, "..AA..."},   // Two side by side.
        {"AAAABBBB", 2, "........"}, // Another size from there on.
        {"AAABBBBB", 5, "BBB....."}, // Fewer than the offset.
        {"AB", 5, "BA"},             // Nobody can say which.
        {"ABC", 5, "..."},
        {"AABC", 5, "..AA"},
        {"AA AABAA", 5, ".....A.."},
        {"   B   ", 5, "......."},
        {"AABAA", 0, "....."},
        {"AABAA", -1, "....."},
        {"AABAA", 1, "..A.."},
        {"AABAA", 2147483647, "..A.."},
    };
    for (const auto &[letters, frameOffset, found] : cases)
        EXPECT_EQ(Found(letters, frameOffset), found) << "'" << letters << "', " << frameOffset;
}

TEST(OddImages, AreThoseThatAVisitOfEveryNeighbourFinds)
{
    std::mt19937 random(11);
    for (int run = 0; run < 300; ++run)
    {
        std::string letters(random() % 40, ' ');
        for (char &letter : letters)
            letter = "AAAABC "[random() % 7];
        const int frameOffset = int(random() % 12);
        ASSERT_EQ(Found(letters, frameOffset), PlainFound(letters, frameOffset))
            << "'" << letters << "', " << frameOffset;
    }
}

TEST(OddImages, DifferInSizeChannelsOrFormat)
{
    const ImageKind common{1920, 1080, "R,G,B", "openexr"};
    const ImageKind others[] = {
        {1921, 1080, "R,G,B", "openexr"},
        {1920, 1081, "R,G,B", "openexr"},
        {1920, 1080, "R,G,B,A", "openexr"},
        {1920, 1080, "R,G,B", "png"},
    };
    for (const ImageKind &other : others)
    {
        const std::vector<std::optional<ImageKind>> kinds{common, common, other, common};
        const auto odd = FindOddImages(kinds, 5);
        EXPECT_EQ(odd[0], nullptr);
        ASSERT_NE(odd[2], nullptr);
        EXPECT_EQ(*odd[2], common);
    }
}
