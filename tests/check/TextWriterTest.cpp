#include "check/TextWriter.h"

#include <vector>

#include <gtest/gtest.h>

namespace check
{
namespace
{

TEST(TextWriter, GivesAllThatWasWrittenInItsOrder)
{
    std::string written;
    {
        TextWriter out([&written](std::string_view piece) { written += piece; });
        out << "frames " << 12 << ' ' << -7 << '\n';
        EXPECT_EQ(written, "");
        out.Flush();
        EXPECT_EQ(written, "frames 12 -7\n");
        out << "last";
    }
    EXPECT_EQ(written, "frames 12 -7\nlast");
}

TEST(TextWriter, GathersSmallTextsAndLetsLongOnesPass)
{
    const std::string line(1000, 'x');
    const std::string longText(1 << 20, 'y');
    std::string expected;
    std::vector<std::string> pieces;
    {
        TextWriter out([&pieces](std::string_view piece) { pieces.emplace_back(piece); });
        for (int i = 0; i < 1000; ++i)
        {
            out << line;
            expected += line;
        }
        out << longText;
        expected += longText;
    }
    EXPECT_LT(pieces.size(), 20u);
    std::string written;
    for (const std::string &piece : pieces)
    {
        EXPECT_FALSE(piece.empty());
        written += piece;
    }
    EXPECT_TRUE(written == expected);
}

} // namespace
} // namespace check
