#include "decode/ImageFile.h"

#include <algorithm>
#include <bit>
#include <cerrno>
#include <cstring>
#include <fcntl.h>
#include <fstream>
#include <unistd.h>
#include <vector>

#include "decode/FileEnd.h"
#include "decode/FileFormat.h"
#include "ostrel/Descriptor.h"

namespace decode
{

using OIIO::ImageInput;
using OIIO::ImageSpec;

namespace
{

ImageFile OpenAs(const String &format, const Path &path, const ImageSpec &wishes)
{
    ImageFile file;
    file.format = format;
    std::unique_ptr<ImageInput> image = ImageInput::create(format);
    ImageSpec spec;
    if (!image)
        file.reason = OIIO::geterror();
    else if (!(wishes.extra_attribs.empty() ? image->open(path.Text(), spec)
                                            : image->open(path.Text(), spec, wishes)))
        file.reason = ErrorOf(*image);
    else
        file.image = std::move(image);
    return file;
}

bool HoldsPictures(const ImageFile &file)
{
    // The reader of movies opens any file.
    return file.image && file.image->seek_subimage(0, 0);
}

// The reader after the name also serves formats whose files bear another's mark, as raw photos do.
ImageFile OpenAsEither(const Path &path, const String &byName, const String &byContent,
                       const ImageSpec &wishes)
{
    ImageFile named;
    if (!byName.empty())
        named = OpenAs(byName, path, wishes);
    if (HoldsPictures(named) || byContent.empty() || byContent == byName)
        return named;
    return OpenAs(byContent, path, wishes);
}

// The first bytes; the reason in `*reason` when there are none.
std::string ReadHead(const Path &path, String *reason)
{
    std::ifstream file(path.Text().c_str(), std::ios::binary);
    if (!file)
    {
        *reason = std::strerror(errno);
        return {};
    }
    char head[16];
    file.read(head, sizeof head);
    if (file.gcount() == 0)
        *reason = "the file is empty";
    return {head, std::size_t(file.gcount())};
}

} // namespace

ImageFile OpenImage(const Path &path, const ImageSpec &wishes)
{
    ImageFile file;
    const std::string head = ReadHead(path, &file.reason);
    if (!file.reason.empty())
        return file;

    const String byName = FormatByName(path);
    const String byContent = FormatByContent(head);
    file.reason = FindMissingEnd(path, byContent);
    if (file.reason.empty())
        file = OpenAsEither(path, byName, byContent, wishes);
    file.formatByName = byName;
    if (!file.image && file.reason.empty())
        file.reason = "no known image format";
    return file;
}

String ErrorOf(ImageInput &image)
{
    const std::string text = image.geterror();
    return text.empty() ? String("the picture ends early or is damaged") : String(text);
}

int RowsAtOnce(const ImageSpec &spec)
{
    constexpr std::uint64_t k_most_bytes = 64u << 20;
    constexpr std::uint64_t k_most_rows = 256;

    // A strip is unpacked as a whole.
    const int strip = spec.get_int_attribute("tiff:RowsPerStrip");
    if (strip > 0)
        return std::min(strip, spec.height);
    const std::uint64_t bytes = std::max<std::uint64_t>(spec.scanline_bytes(), 1);
    return int(std::bit_floor(std::clamp<std::uint64_t>(k_most_bytes / bytes, 1, k_most_rows)));
}

String FindReadTrouble(const Path &path)
{
    const ostrel::Descriptor file(open(path.Text().c_str(), O_RDONLY | O_CLOEXEC));
    std::vector<char> piece(256u << 10);
    ssize_t size = file.IsOpen() ? 1 : -1;
    while (size > 0 || (size < 0 && file.IsOpen() && errno == EINTR))
        size = read(file.Number(), piece.data(), piece.size());
    return size < 0 ? String(std::strerror(errno)) : String();
}

void UseOneThread()
{
    OIIO::attribute("threads", 1);
    OIIO::attribute("exr_threads", -1); // None beside this one.
}

} // namespace decode
