#include "decode/PixelTally.h"

#include <OpenImageIO/half.h>
#include <limits>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

template <typename Value>
PixelTally Count(OIIO::TypeDesc type, int channels, const std::vector<Value> &values)
{
    PixelTally tally(type, channels);
    tally.Add(values.data(), values.size() / std::size_t(channels));
    return tally;
}

template <typename Float> void ExpectWildPixelsAreCounted(OIIO::TypeDesc type)
{
    const Float nan = std::numeric_limits<Float>::quiet_NaN();
    const Float infinity = std::numeric_limits<Float>::infinity();
    const Float one(1);
    // The last pixel has both, and counts once.
    const PixelTally tally = Count<Float>(
        type, 3, {one, one, one, one, nan, nan, one, one, -infinity, nan, one, infinity});
    EXPECT_EQ(tally.Pixels(), 4u);
    EXPECT_EQ(tally.NanPixels(), 2u);
    EXPECT_EQ(tally.InfinitePixels(), 1u);
    EXPECT_TRUE(tally.IsWild(0));
    EXPECT_TRUE(tally.IsWild(1));
    EXPECT_TRUE(tally.IsWild(2));
    EXPECT_FALSE(
        Count<Float>(type, 1, {one, Float(-0.0f), std::numeric_limits<Float>::max()}).IsWild(0));
}

} // namespace

TEST(PixelTally, CountsWhatIsNoNumberAndWhatIsInfinite)
{
    ExpectWildPixelsAreCounted<half>(OIIO::TypeHalf);
    ExpectWildPixelsAreCounted<float>(OIIO::TypeFloat);
    ExpectWildPixelsAreCounted<double>(OIIO::TypeDesc(OIIO::TypeDesc::DOUBLE));
}

TEST(PixelTally, CountsPixelsWithANegativeValueInTheChannelsThatAreNamed)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float endless = std::numeric_limits<float>::infinity();
    const std::vector<float> values{-1,       -1,  0,  // Both.
                                    0,        -1,  5,  // The other one.
                                    0,        0,   -1, // Neither.
                                    1,        1,   1,  //
                                    -0.0f,    nan, 0,  // No values below zero.
                                    -endless, 0,   0,  -1e-30f, 0, 0};
    const auto negative = [&](const std::vector<std::size_t> &channels)
    {
        PixelTally tally(OIIO::TypeFloat, 3);
        tally.CountNegative(channels);
        tally.Add(values.data(), 7);
        return tally.NegativePixels();
    };
    EXPECT_EQ(negative({}), 0u);
    EXPECT_EQ(negative({0}), 3u);
    EXPECT_EQ(negative({1}), 2u);
    EXPECT_EQ(negative({0, 1}), 4u);
    EXPECT_EQ(negative({2}), 1u);

    PixelTally tally(OIIO::TypeHalf, 1);
    tally.CountNegative({0});
    const half halves[] = {half(-0.5f), half(0.5f), half(-0.0f), half(-nan), half(-endless)};
    tally.Add(halves, 5);
    EXPECT_EQ(tally.NegativePixels(), 2u);
}

TEST(PixelTally, SeesOneColourOverAllPieces)
{
    const std::vector<float> dark{0.0f, 0.5f, 0.0f, 0.5f};
    const std::vector<float> light{0.0f, 0.5f, 0.0f, 1.0f};

    PixelTally tally(OIIO::TypeFloat, 2);
    tally.Add(dark.data(), 1);
    EXPECT_FALSE(tally.IsOneColour()) << "one pixel is no area";
    tally.Add(dark.data(), 2);
    EXPECT_TRUE(tally.IsOneColour());
    EXPECT_EQ(tally.FirstColour(), "0, 0.5");
    tally.Add(light.data(), 2);
    EXPECT_FALSE(tally.IsOneColour());
    tally.Add(dark.data(), 2);
    EXPECT_FALSE(tally.IsOneColour());
}

TEST(PixelTally, SeesAPieceOfAnotherColour)
{
    const std::vector<std::uint8_t> dark(6, 0);
    const std::vector<std::uint8_t> light(6, 255);
    PixelTally tally(OIIO::TypeUInt8, 3);
    tally.Add(dark.data(), 2);
    tally.Add(light.data(), 2);
    EXPECT_FALSE(tally.IsOneColour());
}

TEST(PixelTally, WritesAColourAsItIsStored)
{
    EXPECT_EQ(Count<std::uint8_t>(OIIO::TypeUInt8, 3, {1, 128, 255}).FirstColour(), "1, 128, 255");
    EXPECT_EQ(Count<std::uint16_t>(OIIO::TypeUInt16, 1, {65535}).FirstColour(), "65535");
    EXPECT_EQ(Count<half>(OIIO::TypeHalf, 2, {half(0.25f), half(-1.0f)}).FirstColour(), "0.25, -1");
    EXPECT_EQ(Count<float>(OIIO::TypeFloat, 9, std::vector<float>(9, 0.0f)).FirstColour(),
              "0, 0, 0, 0, 0, 0, 0, 0, ...");
}
