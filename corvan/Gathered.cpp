#include "corvan/Gathered.h"

#include "corvan/Limits.h"
#include "corvan/messages.pb.h"

namespace corvan
{

bool IsGathered(const wire::Envelope &envelope)
{
    return envelope.gathered_size() > 0;
}

std::optional<std::vector<wire::Envelope>> TakeApart(const wire::Envelope &envelope, String *reason)
{
    if (std::size_t(envelope.gathered_size()) > k_MaxGathered)
    {
        *reason = "it holds more than " + std::to_string(k_MaxGathered) + " messages";
        return std::nullopt;
    }
    if (envelope.body_case() != wire::Envelope::BODY_NOT_SET || envelope.serial() != 0 ||
        envelope.answers() != 0)
    {
        *reason = "it is a message and holds others";
        return std::nullopt;
    }

    std::vector<wire::Envelope> parts(std::size_t(envelope.gathered_size()));
    for (std::size_t i = 0; i < parts.size(); ++i)
    {
        if (!parts[i].ParseFromString(envelope.gathered(int(i))))
        {
            *reason = "it holds what is no message";
            return std::nullopt;
        }
        if (IsGathered(parts[i]))
        {
            *reason = "it holds one that holds others";
            return std::nullopt;
        }
    }
    return parts;
}

} // namespace corvan
