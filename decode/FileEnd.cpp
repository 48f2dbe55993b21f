#include "decode/FileEnd.h"

#include <algorithm>
#include <cstdint>
#include <fmt/format.h>
#include <fstream>

namespace decode
{

namespace
{

enum class ByteOrder
{
    Big,
    Little,
};

std::uint64_t NumberAt(std::string_view bytes, std::size_t at, std::size_t size, ByteOrder order)
{
    std::uint64_t number = 0;
    for (std::size_t i = 0; i < size; ++i)
    {
        const std::size_t place = order == ByteOrder::Big ? at + i : at + size - 1 - i;
        number = number << 8 | static_cast<unsigned char>(bytes[place]);
    }
    return number;
}

// Fewer bytes where the file ends.
std::string ReadAt(std::ifstream &file, std::uint64_t place, std::size_t size)
{
    std::string bytes(size, '\0');
    file.clear();
    file.seekg(std::streamoff(place));
    file.read(bytes.data(), std::streamsize(size));
    bytes.resize(std::size_t(std::max<std::streamsize>(file.gcount(), 0)));
    return bytes;
}

std::uint64_t SizeOf(std::ifstream &file)
{
    file.seekg(0, std::ios::end);
    return std::uint64_t(std::max<std::streamoff>(file.tellg(), 0));
}

String FindEndOfPng(std::ifstream &file)
{
    constexpr std::size_t k_around = 12; // Length, name and checksum of a chunk.
    const std::uint64_t size = SizeOf(file);
    for (std::uint64_t chunk = 8; chunk + k_around <= size;)
    {
        const std::string head = ReadAt(file, chunk, 8);
        if (head.size() < 8)
            break;
        if (head.substr(4) == "IEND")
            return {};
        chunk += NumberAt(head, 0, 4, ByteOrder::Big) + k_around;
    }
    return "the file ends before its last chunk";
}

// Markers that stand alone: restarts, the beginning, and what stands for a byte of the data.
bool IsLoneMarker(unsigned char marker)
{
    return marker <= 0x01 || (marker >= 0xd0 && marker <= 0xd8);
}

String FindEndOfJpeg(std::ifstream &file)
{
    const std::string bytes = ReadAt(file, 0, std::size_t(SizeOf(file)));
    for (std::size_t at = 0; (at = bytes.find('\xff', at)) != std::string::npos;)
    {
        if (++at >= bytes.size())
            break;
        const auto marker = static_cast<unsigned char>(bytes[at]);
        if (marker == 0xd9)
            return {};
        if (marker == 0xff) // Fills up.
            continue;
        ++at;
        if (IsLoneMarker(marker))
            continue;
        if (at + 2 > bytes.size())
            break;
        at += NumberAt(bytes, at, 2, ByteOrder::Big);
    }
    return "the file ends before its end marker";
}

// Values a pixel of an element has; 1 where its descriptor is not a known one.
std::uint64_t DpxComponents(std::uint64_t descriptor)
{
    switch (descriptor)
    {
    case 100: // CbYCrY
        return 2;
    case 50:  // RGB
    case 101: // CbYACrYA
    case 102: // CbYCr
        return 3;
    case 51:  // RGBA
    case 52:  // ABGR
    case 103: // CbYCrA
        return 4;
    default:
        return descriptor >= 150 && descriptor <= 156 ? descriptor - 148 : 1;
    }
}

// The least that so many values take, without any padding of lines.
std::uint64_t DpxBytes(std::uint64_t values, std::uint64_t bits, std::uint64_t packing)
{
    if (packing != 0 && bits == 10)
        return (values + 2) / 3 * 4;
    if (packing != 0 && bits == 12)
        return values * 2;
    return values * bits / 8;
}

String FindEndOfDpx(std::ifstream &file)
{
    constexpr std::size_t k_first_element = 780;
    constexpr std::size_t k_element_size = 72;
    constexpr std::size_t k_most_elements = 8;
    constexpr std::size_t k_header = k_first_element + k_most_elements * k_element_size;

    const std::uint64_t size = SizeOf(file);
    const std::string header = ReadAt(file, 0, k_header);
    if (header.size() < k_header)
        return "the file ends within its header";
    const ByteOrder order = header.starts_with("SDPX") ? ByteOrder::Big : ByteOrder::Little;
    const auto number = [&](std::size_t at, std::size_t bytes)
    { return NumberAt(header, at, bytes, order); };

    const std::uint64_t pixels = number(772, 4) * number(776, 4);
    const std::size_t elements = std::clamp<std::uint64_t>(number(770, 2), 1, k_most_elements);
    for (std::size_t i = 0; i < elements; ++i)
    {
        const std::size_t element = k_first_element + i * k_element_size;
        if (number(element + 26, 2) != 0) // Its runs are encoded: any length will do.
            continue;
        const std::uint64_t values = pixels * DpxComponents(number(element + 20, 1));
        const std::uint64_t bytes =
            DpxBytes(values, number(element + 23, 1), number(element + 24, 2));
        const std::uint64_t needed = number(4, 4) + bytes;
        if (size < needed)
            return fmt::format("the file has {} of at least {} bytes", size, needed);
    }
    return {};
}

} // namespace

String FindMissingEnd(const Path &path, const String &format)
{
    std::ifstream file(path.Text().c_str(), std::ios::binary);
    if (format == "png")
        return FindEndOfPng(file);
    if (format == "jpeg")
        return FindEndOfJpeg(file);
    if (format == "dpx")
        return FindEndOfDpx(file);
    return {};
}

} // namespace decode
