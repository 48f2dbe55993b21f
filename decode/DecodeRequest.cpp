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

bool IsPath(std::string_view text)
{
    return !text.empty() && text.size() < PATH_MAX && text.find('\0') == std::string_view::npos;
}

std::optional<PictureWish> ParseWish(const std::vector<std::string_view> &fields)
{
    PictureWish wish;
    const std::optional<PictureChannels> channels = ParseChannels(fields[4]);
    if (!channels || !TakeNumber(fields[2], wish.width) || !TakeNumber(fields[3], wish.exposure))
        return std::nullopt;
    wish.channels = *channels;
    wish.minus = Path(std::string(fields[5]));
    if (!IsSound(wish) || (!wish.minus.IsEmpty() && !IsPath(fields[5])))
        return std::nullopt;
    return wish;
}

} // namespace

std::optional<std::string> PackRequest(const DecodeRequest &request)
{
    const std::string &path = request.path.Text();
    if (!IsPath(path))
        return std::nullopt;
    if (!request.picture)
        return JoinFields({request.depth == ReportDepth::Measured ? k_measured : k_report, path});

    const PictureWish &wish = *request.picture;
    if (!IsSound(wish) || (!wish.minus.IsEmpty() && !IsPath(wish.minus.Text())))
        return std::nullopt;
    return JoinFields({k_picture, path, std::to_string(wish.width),
                       fmt::format("{}", wish.exposure), ChannelsName(wish.channels),
                       wish.minus.Text()});
}

std::optional<DecodeRequest> ParseRequest(std::string_view message)
{
    const std::vector<std::string_view> fields = SplitFields(message);
    if (fields.size() < 2 || !IsPath(fields[1]))
        return std::nullopt;
    DecodeRequest request{Path(std::string(fields[1])), std::nullopt};
    if (fields[0] == k_measured)
        request.depth = ReportDepth::Measured;
    if ((fields[0] == k_report || fields[0] == k_measured) && fields.size() == 2)
        return request;
    if (fields[0] != k_picture || fields.size() != 6)
        return std::nullopt;
    request.picture = ParseWish(fields);
    if (!request.picture)
        return std::nullopt;
    return request;
}

} // namespace decode
