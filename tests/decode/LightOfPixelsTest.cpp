#include "decode/LightOfPixels.h"

#include <OpenImageIO/half.h>
#include <cmath>
#include <limits>
#include <random>

#include <gtest/gtest.h>

using namespace decode;
using OIIO::ImageSpec;
using OIIO::TypeDesc;

namespace
{

constexpr float k_red = 0.2126f;
constexpr float k_green = 0.7152f;
constexpr float k_blue = 0.0722f;

double Linear(double code)
{
    return code <= 0.04045 ? code / 12.92 : std::pow((code + 0.055) / 1.055, 2.4);
}

template <typename Value>
std::vector<float> LightOf(TypeDesc type, const std::vector<std::string> &channels,
                           const std::vector<Value> &values)
{
    ImageSpec spec(int(values.size() / channels.size()), 1, int(channels.size()), type);
    spec.channelnames = channels;
    std::vector<float> light(std::size_t(spec.width), -1.0f);
    LightOfPixels(spec).Convert(reinterpret_cast<const char *>(values.data()), spec.width,
                                light.data());
    return light;
}

template <typename Value> std::vector<float> LightOfGrey(TypeDesc type, std::vector<Value> values)
{
    return LightOf<Value>(type, {"Y"}, values);
}

// Each count of pixels, held against each pixel by itself, and in another order of channels.
template <typename Value> void ExpectRowsAsTheirPixels(TypeDesc type)
{
    std::mt19937 random(11);
    for (std::size_t count = 1; count < 40; ++count)
    {
        SCOPED_TRACE(testing::Message() << count << " of " << sizeof(Value) << " bytes a value");
        std::vector<Value> values(count * 3);
        for (Value &value : values)
            value = Value(random());
        std::vector<float> each;
        std::vector<Value> turned;
        for (std::size_t at = 0; at < values.size(); at += 3)
        {
            const std::vector<Value> pixel{values[at], values[at + 1], values[at + 2]};
            each.push_back(LightOf(type, {"R", "G", "B"}, pixel)[0]);
            turned.insert(turned.end(), pixel.rbegin(), pixel.rend());
        }
        EXPECT_EQ(LightOf(type, {"R", "G", "B"}, values), each);
        EXPECT_EQ(LightOf(type, {"B", "G", "R"}, turned), each);
    }
}

} // namespace

TEST(LightOfPixels, IsTheSameForARowAsForEachPixelOfIt)
{
    ExpectRowsAsTheirPixels<std::uint8_t>(OIIO::TypeUInt8);
    ExpectRowsAsTheirPixels<std::uint16_t>(OIIO::TypeUInt16);
    ExpectRowsAsTheirPixels<std::uint32_t>(OIIO::TypeUInt32);
}

TEST(LightOfPixels, CountsColoursElseLumaElseTheFirstChannel)
{
    const struct
    {
        std::vector<std::string> channels;
        std::vector<float> pixel;
        float light;
    } cases[] = {
        {{"R", "G", "B"}, {1, 2, 4}, k_red + 2 * k_green + 4 * k_blue},
        {{"R", "G", "B", "A"}, {1, 2, 4, 9}, k_red + 2 * k_green + 4 * k_blue},
        {{"A", "R", "G", "B"}, {9, 1, 2, 4}, k_red + 2 * k_green + 4 * k_blue},
        {{"A", "B", "G", "R"}, {9, 4, 2, 1}, k_red + 2 * k_green + 4 * k_blue},
        {{"r", "g", "b"}, {1, 2, 4}, k_red + 2 * k_green + 4 * k_blue},
        {{"Z", "b", "Y", "G", "R"}, {7, 4, 8, 2, 1}, k_red + 2 * k_green + 4 * k_blue},
        {{"Y"}, {3}, 3},
        {{"A", "Y"}, {9, 3}, 3},
        {{"y", "A"}, {3, 9}, 3},
        {{"Z"}, {5}, 5},
        {{"U", "V"}, {5, 6}, 5},
        {{"R", "G"}, {5, 6}, 5}, // Two of three make no colour.
    };
    for (const auto &[channels, pixel, light] : cases)
    {
        std::vector<float> pixels = pixel;
        pixels.insert(pixels.end(), pixel.begin(), pixel.end()); // And so the next one.
        for (const float found : LightOf<float>(OIIO::TypeFloat, channels, pixels))
            EXPECT_FLOAT_EQ(found, light) << channels.front() << " of " << channels.size();
    }
}

TEST(LightOfPixels, TakesWholeNumbersForSrgb)
{
    std::vector<std::uint8_t> bytes;
    for (int code = 0; code < 256; ++code)
        bytes.push_back(std::uint8_t(code));
    const std::vector<float> light = LightOfGrey<std::uint8_t>(OIIO::TypeUInt8, bytes);
    for (std::size_t code = 0; code < 256; ++code)
        EXPECT_NEAR(light[code], Linear(double(code) / 255), 1e-6) << code;

    for (const unsigned code : {0u, 1u, 17u, 4095u, 32768u, 65535u})
    {
        const double wide = double(code) / 65535;
        EXPECT_NEAR(LightOfGrey<std::uint16_t>(OIIO::TypeUInt16, {std::uint16_t(code)})[0],
                    Linear(wide), 0.0006)
            << code;
        EXPECT_NEAR(LightOfGrey<std::uint32_t>(OIIO::TypeUInt32, {code * 65537u})[0], Linear(wide),
                    0.0006)
            << code;
    }
    EXPECT_EQ(LightOfGrey<std::uint16_t>(OIIO::TypeUInt16, {65535})[0], 1.0f);
    EXPECT_EQ(LightOfGrey<std::uint32_t>(OIIO::TypeUInt32, {0xffffffff})[0], 1.0f);
    EXPECT_NEAR(LightOf<std::uint8_t>(OIIO::TypeUInt8, {"R", "G", "B"}, {128, 64, 255})[0],
                k_red * Linear(128 / 255.0) + k_green * Linear(64 / 255.0) + k_blue, 1e-6);
}

TEST(LightOfPixels, TakesOtherNumbersAsTheyAre)
{
    const TypeDesc wide(TypeDesc::DOUBLE);
    EXPECT_EQ(LightOfGrey<half>(OIIO::TypeHalf, {half(0.25f), half(-1.0f)}),
              (std::vector<float>{0.25f, 0}));
    EXPECT_EQ(LightOfGrey<float>(OIIO::TypeFloat, {0.1f, -0.1f}), (std::vector<float>{0.1f, 0}));
    EXPECT_EQ(LightOfGrey<double>(wide, {0.5, -7}), (std::vector<float>{0.5f, 0}));
    EXPECT_EQ(LightOfGrey<std::int8_t>(TypeDesc(TypeDesc::INT8), {127, -128, 0}),
              (std::vector<float>{127, 0, 0}));
    EXPECT_EQ(LightOfGrey<std::int16_t>(TypeDesc(TypeDesc::INT16), {32767, -1}),
              (std::vector<float>{32767, 0}));
    EXPECT_EQ(LightOfGrey<std::int32_t>(TypeDesc(TypeDesc::INT32), {7, 1 << 30, -1 << 30}),
              (std::vector<float>{7, 65504, 0}));
}

TEST(LightOfPixels, IsNoneForWhatIsNoLightAndBoundedForTheEndless)
{
    const float nan = std::numeric_limits<float>::quiet_NaN();
    const float endless = std::numeric_limits<float>::infinity();
    const std::vector<float> wild{nan, -nan, -endless, -1, -0.0f, endless, 1e30f, 65504};
    const std::vector<float> light{0, 0, 0, 0, 0, 65504, 65504, 65504};
    EXPECT_EQ(LightOfGrey<float>(OIIO::TypeFloat, wild), light);
    EXPECT_EQ(LightOfGrey<double>(TypeDesc(TypeDesc::DOUBLE), {wild.begin(), wild.end()}), light);
    EXPECT_EQ(LightOfGrey<half>(OIIO::TypeHalf, {half(nan), half(-endless), half(endless)}),
              (std::vector<float>{0, 0, 65504}));
    EXPECT_FLOAT_EQ(LightOf<float>(OIIO::TypeFloat, {"R", "G", "B"}, {nan, 1, -5})[0], k_green)
        << "one channel takes nothing from the others";
}
