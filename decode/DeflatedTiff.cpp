#include "decode/DeflatedTiff.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <libdeflate.h>
#include <tiffio.h>
#include <zlib.h>

namespace decode
{

namespace
{

using Bytes = std::vector<unsigned char>;

constexpr tmsize_t k_largest_buffer = 64
                                      << 20; // For a block that says that it is larger, in pieces.

// One number of a part's description, the standard's default where it has none.
template <typename Value> Value FieldOf(TIFF *file, std::uint32_t tag)
{
    Value value{};
    TIFFGetFieldDefaulted(file, tag, &value);
    return value;
}

bool IsDeflated(TIFF *file)
{
    // Else its bytes stand with their bits reversed.
    if (FieldOf<std::uint16_t>(file, TIFFTAG_FILLORDER) != FILLORDER_MSB2LSB)
        return false;
    const auto packing = FieldOf<std::uint16_t>(file, TIFFTAG_COMPRESSION);
    return packing == COMPRESSION_ADOBE_DEFLATE || packing == COMPRESSION_DEFLATE;
}

// Opacity that colours are not multiplied by yet: the image library multiplies.
bool HasLooseOpacity(TIFF *file)
{
    std::uint16_t count = 0;
    const std::uint16_t *kinds = nullptr;
    TIFFGetFieldDefaulted(file, TIFFTAG_EXTRASAMPLES, &count, &kinds);
    return std::find(kinds, kinds + count, EXTRASAMPLE_UNASSALPHA) != kinds + count;
}

// The blocks of a part, and where their pixels are.
struct Grid
{
    explicit Grid(TIFF *file)
        : isTiled(TIFFIsTiled(file) != 0), width(FieldOf<std::uint32_t>(file, TIFFTAG_IMAGEWIDTH)),
          height(FieldOf<std::uint32_t>(file, TIFFTAG_IMAGELENGTH)),
          count(isTiled ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file))
    {
        blockWidth = isTiled ? FieldOf<std::uint32_t>(file, TIFFTAG_TILEWIDTH) : width;
        blockHeight = isTiled
                          ? FieldOf<std::uint32_t>(file, TIFFTAG_TILELENGTH)
                          : std::min(FieldOf<std::uint32_t>(file, TIFFTAG_ROWSPERSTRIP), height);
        blockWidth = std::max(blockWidth, 1u);
        blockHeight = std::max(blockHeight, 1u);
        across = width / blockWidth + (width % blockWidth != 0);
    }

    // A file may say anything of its blocks.
    bool IsSane() const
    {
        constexpr std::uint32_t k_most = 1u << 24;
        const std::uint64_t down = height / blockHeight + (height % blockHeight != 0);
        return width > 0 && height > 0 && width < k_most && height < k_most &&
               blockWidth < k_most && blockHeight < k_most && count == across * down;
    }

    // Without pixels; a tile at an edge reaches beyond the picture and is cut.
    PixelBlock At(std::uint32_t block) const
    {
        const std::uint32_t x = block % across * blockWidth;
        const std::uint32_t y = block / across * blockHeight;
        return {nullptr,
                int(x),
                int(y),
                int(std::min(blockWidth, width - x)),
                int(std::min(blockHeight, height - y)),
                int(blockWidth)};
    }

    bool isTiled;
    std::uint32_t width;
    std::uint32_t height;
    std::uint32_t count;
    std::uint32_t blockWidth = 0;
    std::uint32_t blockHeight = 0;
    std::uint32_t across = 0;
};

ostrel::String BlockText(std::uint32_t block, std::uint32_t count, const char *what)
{
    return fmt::format("block {} of {} {}", block + 1, count, what);
}

// For a block that holds more than its pixels: unpacks into a buffer that is written over, since
// only the checksum at the end matters.
bool IsSoundAtAnyLength(const Bytes &packed, Bytes &unpacked)
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

} // namespace

void DeflatedTiff::CloseTiff::operator()(tiff *file) const
{
    TIFFClose(file);
}

void DeflatedTiff::FreeUnpacker::operator()(libdeflate_decompressor *unpacker) const
{
    libdeflate_free_decompressor(unpacker);
}

DeflatedTiff::DeflatedTiff(const ostrel::Path &path)
    : m_file(TIFFOpen(path.Text().c_str(), "r")), m_unpacker(libdeflate_alloc_decompressor())
{
    if (!m_unpacker)
        throw std::bad_alloc();
}

DeflatedTiff::~DeflatedTiff() = default;

bool DeflatedTiff::IsStoredAs(const OIIO::ImageSpec &spec) const
{
    TIFF *file = m_file.get();
    const auto meaning = FieldOf<std::uint16_t>(file, TIFFTAG_PHOTOMETRIC);
    const Grid grid(file);
    return grid.IsSane() && IsDeflated(file) && spec.depth <= 1 && spec.tile_depth <= 1 &&
           (meaning == PHOTOMETRIC_RGB || meaning == PHOTOMETRIC_MINISBLACK) &&
           FieldOf<std::uint16_t>(file, TIFFTAG_PLANARCONFIG) == PLANARCONFIG_CONTIG &&
           FieldOf<std::uint16_t>(file, TIFFTAG_BITSPERSAMPLE) == 8 * spec.format.size() &&
           FieldOf<std::uint16_t>(file, TIFFTAG_SAMPLESPERPIXEL) == spec.nchannels &&
           int(grid.width) == spec.width && int(grid.height) == spec.height &&
           !HasLooseOpacity(file);
}

bool DeflatedTiff::ReadPacked(std::uint32_t block)
{
    TIFF *file = m_file.get();
    const std::uint64_t size = TIFFGetStrileByteCount(file, block);
    if (size > std::uint64_t(TIFFGetSizeProc(file)(TIFFClientdata(file))))
        return false; // No file holds more than it is long.
    m_packed.resize(size);
    const auto read = TIFFIsTiled(file)
                          ? TIFFReadRawTile(file, block, m_packed.data(), tmsize_t(size))
                          : TIFFReadRawStrip(file, block, m_packed.data(), tmsize_t(size));
    return read == tmsize_t(size);
}

bool DeflatedTiff::IsSound(std::size_t unpackedSize)
{
    m_unpacked.resize(std::max<std::size_t>(unpackedSize, 64u << 10));
    std::size_t size = 0;
    const libdeflate_result result =
        libdeflate_zlib_decompress(m_unpacker.get(), m_packed.data(), m_packed.size(),
                                   m_unpacked.data(), m_unpacked.size(), &size);
    return result == LIBDEFLATE_SUCCESS ||
           (result == LIBDEFLATE_INSUFFICIENT_SPACE && IsSoundAtAnyLength(m_packed, m_unpacked));
}

ostrel::String DeflatedTiff::ReadBlocks(const OIIO::ImageSpec &spec, const TakePixels &take)
{
    TIFF *file = m_file.get();
    const Grid grid(file);
    const std::size_t pixelBytes = std::size_t(spec.nchannels) * spec.format.size();
    Bytes pixels;
    for (std::uint32_t number = 0; number < grid.count; ++number)
    {
        PixelBlock block = grid.At(number);
        const int rows = grid.isTiled ? int(grid.blockHeight) : block.height;
        pixels.resize(pixelBytes * std::size_t(block.stride) * std::size_t(rows));
        if (TIFFGetStrileByteCount(file, number) == 0) // Left out, which stands for zeros.
            std::fill(pixels.begin(), pixels.end(), 0);
        else if (!ReadPacked(number) || !IsSound(pixels.size()))
            return BlockText(number, grid.count, "does not fit its checksum");
        else if (!TIFFReadFromUserBuffer(file, number, m_packed.data(), tmsize_t(m_packed.size()),
                                         pixels.data(), tmsize_t(pixels.size())))
            return BlockText(number, grid.count, "cannot be unpacked");
        block.pixels = reinterpret_cast<const char *>(pixels.data());
        take(block);
    }
    return {};
}

std::optional<ostrel::String> DeflatedTiff::ReadPart(int part, const OIIO::ImageSpec &spec,
                                                     const TakePixels &take)
{
    if (!m_file || !TIFFSetDirectory(m_file.get(), tdir_t(part)) || !IsStoredAs(spec))
        return std::nullopt;
    m_read.insert(part);
    return ReadBlocks(spec, take);
}

ostrel::String DeflatedTiff::CheckBlocks()
{
    TIFF *file = m_file.get();
    const bool isTiled = TIFFIsTiled(file) != 0;
    const std::uint32_t count = isTiled ? TIFFNumberOfTiles(file) : TIFFNumberOfStrips(file);
    const tmsize_t told = isTiled ? TIFFTileSize(file) : TIFFStripSize(file);
    const auto size = std::size_t(std::clamp<tmsize_t>(told, 0, k_largest_buffer));
    for (std::uint32_t block = 0; block < count; ++block)
        if (TIFFGetStrileByteCount(file, block) != 0 && (!ReadPacked(block) || !IsSound(size)))
            return BlockText(block, count, "does not fit its checksum");
    return {};
}

ostrel::String DeflatedTiff::FindBadChecksum()
{
    if (!m_file)
        return {};
    for (int part = 0; TIFFSetDirectory(m_file.get(), tdir_t(part)); ++part)
        if (!m_read.contains(part) && IsDeflated(m_file.get()))
            if (ostrel::String reason = CheckBlocks(); !reason.empty())
                return reason;
    return {};
}

} // namespace decode
