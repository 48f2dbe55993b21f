#include "decode/FileFormat.h"

#include <OpenImageIO/imageio.h>
#include <boost/algorithm/string/case_conv.hpp>
#include <boost/algorithm/string/split.hpp>
#include <filesystem>
#include <map>

namespace decode
{

namespace
{

using namespace std::string_view_literals;

struct Mark
{
    std::string_view bytes;
    const char *format;
};

// Only marks that other content does not begin with by chance.
constexpr Mark k_marks[] = {
    {"\x76\x2f\x31\x01"sv, "openexr"},
    {"\x89PNG\r\n\x1a\n"sv, "png"},
    {"\xff\xd8\xff"sv, "jpeg"},
    {"II*\0"sv, "tiff"},
    {"MM\0*"sv, "tiff"},
    {"II+\0"sv, "tiff"},
    {"MM\0+"sv, "tiff"},
    {"SDPX"sv, "dpx"},
    {"XPDS"sv, "dpx"},
    {"\x80\x2a\x5f\xd7"sv, "cineon"},
    {"#?RADIANCE"sv, "hdr"},
    {"#?RGBE"sv, "hdr"},
    {"GIF8"sv, "gif"},
    {"8BPS"sv, "psd"},
    {"DDS "sv, "dds"},
    {"\0\0\0\x0cjP  "sv, "jpeg2000"},
};

// "openexr:exr,sxr;tiff:tif,tiff"
std::map<std::string, std::string> ReadExtensions()
{
    std::string list;
    OIIO::getattribute("extension_list", list);
    std::map<std::string, std::string> formats;
    std::vector<std::string> entries;
    for (const std::string &entry : boost::split(entries, list, [](char c) { return c == ';'; }))
    {
        const std::size_t colon = entry.find(':');
        const std::string format = entry.substr(0, colon);
        // That one makes images up, whatever the file holds.
        if (colon == std::string::npos || format == "null")
            continue;
        std::vector<std::string> extensions;
        const std::string names = entry.substr(colon + 1);
        for (const auto &name : boost::split(extensions, names, [](char c) { return c == ','; }))
            formats.emplace("." + name, format);
    }
    return formats;
}

} // namespace

String FormatByName(const Path &path)
{
    static const std::map<std::string, std::string> s_formats = ReadExtensions();
    const std::string extension = std::filesystem::path(path.Text().c_str()).extension().string();
    const auto found = s_formats.find(boost::to_lower_copy(extension));
    return found == s_formats.end() ? String() : String(found->second);
}

String FormatByContent(std::string_view head)
{
    for (const auto &[bytes, format] : k_marks)
        if (head.starts_with(bytes))
            return format;
    return {};
}

} // namespace decode
