#include "decode/PixelHash.h"

#include <string>

#include <gtest/gtest.h>

using namespace decode;

namespace
{

constexpr int k_hash_width = 13;
constexpr int k_hash_height = 11;
constexpr int k_pixelBytes = 6;

std::string Pixels()
{
    std::string pixels;
    for (int i = 0; i < k_hash_width * k_hash_height * k_pixelBytes; ++i)
        pixels += char(i * 37 + i / 256);
    return pixels;
}

// In blocks of so many rows, which lie `gap` pixels apart.
std::uint64_t HashOf(const std::string &pixels, int rows, int gap = 0)
{
    PixelHash hash;
    for (int y = 0; y < k_hash_height; y += rows)
    {
        const int count = std::min(rows, k_hash_height - y);
        std::string block;
        for (int row = y; row < y + count; ++row)
            block += pixels.substr(std::size_t(row * k_hash_width * k_pixelBytes),
                                   k_hash_width * k_pixelBytes) +
                     std::string(std::size_t(gap * k_pixelBytes), char(gap));
        hash.Add({block.data(), 0, y, k_hash_width, count, k_hash_width + gap}, k_pixelBytes);
    }
    return hash.Value();
}

} // namespace

TEST(PixelHash, IsThatOfTheValuesHoweverManyRowsComeAtOnce)
{
    const std::uint64_t hash = HashOf(Pixels(), 1);
    for (int rows = 1; rows <= k_hash_height; ++rows)
        for (const int gap : {0, 3})
            EXPECT_EQ(HashOf(Pixels(), rows, gap), hash) << rows << " rows, " << gap << " apart";
}

TEST(PixelHash, DiffersForEveryBit)
{
    const std::uint64_t hash = HashOf(Pixels(), 4);
    for (std::size_t place = 0; place < Pixels().size(); ++place)
        for (int bit = 0; bit < 8; ++bit)
        {
            std::string pixels = Pixels();
            pixels[place] = char(pixels[place] ^ (1 << bit));
            EXPECT_NE(HashOf(pixels, 4), hash) << place << ", bit " << bit;
        }
}
