#include "web/jobs/Asked.h"

#include <charconv>

#include "corvan/Utf8.h"
#include "web/door/HttpError.h"
#include "web/jobs/Statuses.h"

namespace web
{

namespace
{

std::int64_t ReadNumber(const std::string &text, const std::string &name, std::int64_t least,
                        std::int64_t most, unsigned status)
{
    std::int64_t number = 0;
    const auto [end, error] = std::from_chars(text.data(), text.data() + text.size(), number);
    if (error != std::errc() || end != text.data() + text.size() || number < least || number > most)
        throw new HttpError(status, name + " \"" + corvan::Excerpt(text) +
                                        "\": it has to be a whole number from " +
                                        std::to_string(least) + " to " + std::to_string(most));
    return number;
}

} // namespace

std::optional<std::int64_t> NumberAsked(const Request &request, const std::string &name,
                                        std::int64_t least, std::int64_t most)
{
    const auto found = request.query.find(name);
    if (found == request.query.end())
        return std::nullopt;
    return ReadNumber(found->second, name, least, most, k_BadRequest);
}

std::int64_t NumberAsked(const Request &request, const std::string &name, std::int64_t least,
                         std::int64_t most, std::int64_t otherwise)
{
    return NumberAsked(request, name, least, most).value_or(otherwise);
}

std::int64_t NumberOfPlace(const Request &request, const std::string &name, std::int64_t least,
                           std::int64_t most)
{
    return ReadNumber(request.places.at(name), name, least, most, k_NotFound);
}

bool IsAsked(const Request &request, const std::string &name)
{
    return NumberAsked(request, name, 0, 1, 0) == 1;
}

Response NotDone(const MasterAnswer &answer)
{
    switch (answer.kind)
    {
    case MasterAnswer::Kind::Refused:
        return ErrorResponse(k_Conflict, answer.reason);
    case MasterAnswer::Kind::NoRight:
        return ErrorResponse(k_Forbidden, answer.reason);
    case MasterAnswer::Kind::NoMaster:
        return ErrorResponse(k_Unavailable, answer.reason);
    case MasterAnswer::Kind::Silent:
        return ErrorResponse(k_Late, answer.reason);
    case MasterAnswer::Kind::Answered:
        break;
    }
    return ErrorResponse(k_OwnFault, "the Master's answer makes no sense");
}

} // namespace web
