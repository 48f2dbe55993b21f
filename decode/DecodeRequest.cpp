#include "decode/DecodeRequest.h"

#include <fmt/format.h>
#include <linux/limits.h>

#include "decode/MessageFields.h"

namespace decode
{

namespace
{

constexpr std::string_view k_report = "report";
constexpr std::string_view k_measured = "measured";
constexpr std::string_view k_picture = "picture";
constexpr std::string_view k_strip = "strip";

bool IsPath(std::string_view text)
{
    return !text.empty() && text.size() < PATH_MAX && text.find('\0') == std::string_view::npos;
}

bool IsPathOrNone(std::string_view text)
{
    return text.empty() || IsPath(text);
}

std::optional<PictureWish> ParseWish(const std::vector<std::string_view> &fields)
{
    PictureWish wish;
    const std::optional<PictureChannels> channels = ParseChannels(fields[4]);
    if (!channels || !TakeNumber(fields[2], wish.width) || !TakeNumber(fields[3], wish.exposure))
        return std::nullopt;
    wish.channels = *channels;
    wish.minus = Path(std::string(fields[5]));
    if (!IsSound(wish) || !IsPathOrNone(fields[5]))
        return std::nullopt;
    return wish;
}

std::optional<StripWish> ParseStrip(const std::vector<std::string_view> &fields)
{
    StripWish wish;
    StripPlace &place = wish.place;
    const std::optional<StripCells> cells = ParseCells(fields[9]);
    if (!cells || !IsPathOrNone(fields[2]) || !IsPathOrNone(fields[3]) ||
        !TakeNumber(fields[4], place.x) || !TakeNumber(fields[5], place.y) ||
        !TakeNumber(fields[6], place.width) || !TakeNumber(fields[7], place.height) ||
        !TakeNumber(fields[8], wish.side))
        return std::nullopt;
    wish.before = Path(std::string(fields[2]));
    wish.after = Path(std::string(fields[3]));
    wish.cells = *cells;
    if (!IsSound(wish))
        return std::nullopt;
    return wish;
}

std::optional<std::string> PackPicture(const Path &path, const PictureWish &wish)
{
    if (!IsSound(wish) || !IsPathOrNone(wish.minus.Text()))
        return std::nullopt;
    return JoinFields({k_picture, path.Text(), std::to_string(wish.width),
                       fmt::format("{}", wish.exposure), ChannelsName(wish.channels),
                       wish.minus.Text()});
}

std::optional<std::string> PackStrip(const Path &path, const StripWish &wish)
{
    if (!IsSound(wish) || !IsPathOrNone(wish.before.Text()) || !IsPathOrNone(wish.after.Text()))
        return std::nullopt;
    const StripPlace &place = wish.place;
    return JoinFields({k_strip, path.Text(), wish.before.Text(), wish.after.Text(),
                       std::to_string(place.x), std::to_string(place.y),
                       std::to_string(place.width), std::to_string(place.height),
                       std::to_string(wish.side), CellsName(wish.cells)});
}

} // namespace

std::optional<std::string> PackRequest(const DecodeRequest &request)
{
    if (!IsPath(request.path.Text()) || (request.picture && request.strip))
        return std::nullopt;
    if (request.picture)
        return PackPicture(request.path, *request.picture);
    if (request.strip)
        return PackStrip(request.path, *request.strip);
    return JoinFields(
        {request.depth == ReportDepth::Measured ? k_measured : k_report, request.path.Text()});
}

std::optional<DecodeRequest> ParseRequest(std::string_view message)
{
    const std::vector<std::string_view> fields = SplitFields(message);
    if (fields.size() < 2 || !IsPath(fields[1]))
        return std::nullopt;
    DecodeRequest request{Path(std::string(fields[1]))};
    if (fields[0] == k_measured)
        request.depth = ReportDepth::Measured;
    if ((fields[0] == k_report || fields[0] == k_measured) && fields.size() == 2)
        return request;
    if (fields[0] == k_picture && fields.size() == 6)
        request.picture = ParseWish(fields);
    if (fields[0] == k_strip && fields.size() == 10)
        request.strip = ParseStrip(fields);
    if (!request.picture && !request.strip)
        return std::nullopt;
    return request;
}

} // namespace decode
