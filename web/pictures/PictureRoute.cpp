#include "web/pictures/PictureRoute.h"

#include <charconv>
#include <fmt/format.h>
#include <limits>
#include <optional>

#include "web/door/HttpError.h"

namespace web
{

using decode::PictureWish;

namespace
{

template <typename Number> std::optional<Number> NumberOf(const std::string &text)
{
    Number number{};
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size())
        return std::nullopt;
    return number;
}

// A number of the query, between its bounds.
template <typename Number>
Number AskedNumber(const Request &request, const char *name, Number usual, Number least,
                   Number most)
{
    const auto found = request.query.find(name);
    if (found == request.query.end())
        return usual;
    const auto number = NumberOf<Number>(found->second);
    if (!number || !(*number >= least && *number <= most)) // What is no number is in no bounds.
        throw new HttpError(400, fmt::format("\"{}\" is a {} from {} to {}", name,
                                             std::is_integral_v<Number> ? "whole number" : "number",
                                             least, most));
    return *number;
}

int FrameOf(const std::string &text)
{
    const auto frame = NumberOf<int>(text);
    if (!frame)
        throw new HttpError(404, "there is no such frame");
    return *frame;
}

PictureWish WishOf(const Request &request)
{
    PictureWish wish;
    wish.width = AskedNumber(request, "width", wish.width, decode::k_LeastPictureWidth,
                             decode::k_MostPictureWidth);
    wish.exposure = AskedNumber(request, "exposure", wish.exposure, -decode::k_MostPictureExposure,
                                decode::k_MostPictureExposure);
    const auto asked = request.query.find("channels");
    if (asked == request.query.end())
        return wish;
    const auto channels = decode::ParseChannels(asked->second);
    if (!channels)
        throw new HttpError(400, "\"channels\" is one of rgb, r, g, b, a and luma");
    wish.channels = *channels;
    return wish;
}

Response ResponseOf(const Made &made)
{
    if (made.isBusy)
    {
        Response busy = ErrorResponse(429, "too many pictures are being made: try again soon");
        busy.headers.emplace_back("Retry-After", "1");
        return busy;
    }
    if (!made.bytes)
        return ErrorResponse(made.isOurFault ? 500 : made.isLate ? 503 : 422, made.reason);
    Response response;
    response.type = "image/jpeg";
    response.body = made.bytes;
    response.headers.emplace_back("ETag", '"' + made.tag + '"');
    // The frame may be rendered again: whoever keeps the picture asks whether it is still the one.
    response.headers.emplace_back("Cache-Control", "private, no-cache");
    return response;
}

// Of one request, until all its frames are found.
struct Asked
{
    std::string job;
    std::size_t format = 0;
    int frame = 0;
    std::optional<int> minus;
    PictureWish wish;
    Pictures::Clock::time_point notBefore;
    Reply reply;
};

Asked AskedOf(const Request &request, Reply reply)
{
    constexpr int k_least = std::numeric_limits<int>::min();
    constexpr int k_most = std::numeric_limits<int>::max();
    Asked asked;
    asked.wish = WishOf(request);
    asked.job = request.places.at("job");
    asked.frame = FrameOf(request.places.at("frame"));
    asked.format = std::size_t(AskedNumber(request, "format", 0, 0, k_most));
    if (request.query.contains("minus"))
        asked.minus = AskedNumber(request, "minus", 0, k_least, k_most);
    asked.reply = std::move(reply);
    return asked;
}

void Answer(Pictures &pictures, const Asked &asked, const Path &path)
{
    pictures.Get(
        {path, asked.wish}, [reply = asked.reply](const Made &made) { reply(ResponseOf(made)); },
        asked.notBefore);
}

void Find(const FindFrame &find, const Asked &asked, int frame,
          std::function<void(const FoundFrame &)> then)
{
    find(asked.job, asked.format, frame,
         [reply = asked.reply, then = std::move(then)](const FoundFrame &found)
         {
             if (found.path.IsEmpty())
                 reply(ErrorResponse(found.status, found.trouble));
             else
                 then(found);
         });
}

} // namespace

Handler PictureHandler(Pictures &pictures, FindFrame find)
{
    return [&pictures, find = std::move(find)](const std::shared_ptr<const Request> &request,
                                               Reply reply)
    {
        const Asked asked = AskedOf(*request, std::move(reply));
        Find(find, asked, asked.frame,
             [&pictures, find, asked = asked](const FoundFrame &frame) mutable
             {
                 asked.notBefore = frame.toldAt;
                 if (!asked.minus)
                     return Answer(pictures, asked, frame.path);
                 Find(find, asked, *asked.minus,
                      [&pictures, asked, path = frame.path](const FoundFrame &other) mutable
                      {
                          asked.wish.minus = other.path;
                          Answer(pictures, asked, path);
                      });
             });
    };
}

} // namespace web
