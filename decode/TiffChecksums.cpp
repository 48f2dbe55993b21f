#include "decode/TiffChecksums.h"

#include <cstdint>
#include <fmt/format.h>
#include <memory>
#include <tiffio.h>
#include <vector>
#include <zlib.h>

namespace decode
{

namespace
{

using Bytes = std::vector<unsigned char>;

struct CloseTiff
{
    void operator()(TIFF *file) const
    {
        TIFFClose(file);
    }
};

// Unpacks into a buffer that is written over: only the checksum at the end matters.
bool IsSound(const Bytes &packed, Bytes &unpacked)
{
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
        return false;
    stream.next_in = const_cast<Bytef *>(packed.data());
    stream.avail_in = uInt(packed.size());
    int result = Z_OK;
    while (result == Z_OK)
    {
        stream.next_out = unpacked.data();
        stream.avail_out = uInt(unpacked.size());
        result = inflate(&stream, Z_NO_FLUSH);
    }
    inflateEnd(&stream);
    return result == Z_STREAM_END;
}

bool IsDeflated(TIFF *file)
{
    std::uint16_t order = FILLORDER_MSB2LSB;
    TIFFGetFieldDefaulted(file, TIFFTAG_FILLORDER, &order);
    if (order != FILLORDER_MSB2LSB) // Its bytes stand with their bits reversed.
        return false;
    std::uint16_t compression = COMPRESSION_NONE;
    TIFFGetFieldDefaulted(file, TIFFTAG_COMPRESSION, &compression);
    return compression == COMPRESSION_ADOBE_DEFLATE || compression == COMPRESSION_DEFLATE;
}

// The number of the first bad block of a part; one past the last when all are sound.
std::uint32_t FindBadBlock(TIFF *file, std::uint32_t blocks)
{
    const bool isTiled = TIFFIsTiled(file) != 0;
    Bytes packed;
    Bytes unpacked(64u << 10);
    for (std::uint32_t block = 0; block < blocks; ++block)
    {
        const std::uint64_t size = TIFFGetStrileByteCount(file, block);
        if (size == 0) // Left out, which stands for zeros.
            continue;
        if (size > std::uint64_t(TIFFGetSizeProc(file)(TIFFClientdata(file))))
            return block; // No file holds more than it is long.
        packed.resize(size);
        const auto read = isTiled ? TIFFReadRawTile(file, block, packed.data(), tmsize_t(size))
                                  : TIFFReadRawStrip(file, block, packed.data(), tmsize_t(size));
        if (read != tmsize_t(size) || !IsSound(packed, unpacked))
            return block;
    }
    return blocks;
}

} // namespace

ostrel::String FindBadChecksum(const ostrel::Path &path)
{
    const std::unique_ptr<TIFF, CloseTiff> file(TIFFOpen(path.Text().c_str(), "r"));
    if (!file)
        return {};
    do
    {
        if (!IsDeflated(file.get()))
            continue;
        const std::uint32_t blocks = TIFFIsTiled(file.get()) ? TIFFNumberOfTiles(file.get())
                                                             : TIFFNumberOfStrips(file.get());
        const std::uint32_t bad = FindBadBlock(file.get(), blocks);
        if (bad < blocks)
            return fmt::format("block {} of {} does not fit its checksum", bad + 1, blocks);
    } while (TIFFReadDirectory(file.get()));
    return {};
}

} // namespace decode
