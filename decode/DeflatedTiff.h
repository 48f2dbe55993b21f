#pragma once

#include <OpenImageIO/imageio.h>
#include <memory>
#include <optional>
#include <set>
#include <vector>

#include "decode/PixelBlock.h"
#include "ostrel/Path.h"

struct libdeflate_decompressor;
struct tiff;

namespace decode
{

/// A TIFF whose blocks (strips or tiles) are packed with "deflate". Each ends with a checksum of
/// its content, which the image libraries stop short of: here every block is held against it.
class DeflatedTiff
{
public:
    explicit DeflatedTiff(const ostrel::Path &path);
    ~DeflatedTiff();

    /// Reads the pixels of a part, and gives why it is damaged; empty for a sound one. Nothing at
    /// all, and no pixels, where the part is not packed so, or its values are not stored as `spec`,
    /// the part as OpenImageIO tells it, says: with palettes, planes of their own or less than
    /// whole bytes. OpenImageIO reads them.
    std::optional<ostrel::String> ReadPart(int part, const OIIO::ImageSpec &spec,
                                           const TakePixels &take);

    /// Why one of the parts that were not read here is damaged. Empty where they are sound, or none
    /// is packed so, and for what is no TIFF.
    ostrel::String FindBadChecksum();

private:
    struct CloseTiff
    {
        void operator()(tiff *file) const;
    };
    struct FreeUnpacker
    {
        void operator()(libdeflate_decompressor *unpacker) const;
    };

    bool IsStoredAs(const OIIO::ImageSpec &spec) const;
    bool ReadPacked(std::uint32_t block);
    bool IsSound(std::size_t unpackedSize);
    ostrel::String ReadBlocks(const OIIO::ImageSpec &spec, const TakePixels &take);
    ostrel::String CheckBlocks();

    std::unique_ptr<tiff, CloseTiff> m_file;
    std::unique_ptr<libdeflate_decompressor, FreeUnpacker> m_unpacker;
    std::set<int> m_read;
    std::vector<unsigned char> m_packed;
    std::vector<unsigned char> m_unpacked;
};

} // namespace decode
