#include "corvan/ParameterCheck.h"

#include <charconv>
#include <limits>

#include "corvan/AfterJobs.h"
#include "corvan/FrameChecking.h"
#include "corvan/FrameOrder.h"
#include "corvan/JobActions.h"
#include "corvan/JobStatus.h"
#include "corvan/Limits.h"
#include "corvan/QueueWishes.h"
#include "corvan/RunLimits.h"
#include "corvan/SequenceDistributor.h"
#include "corvan/Utf8.h"
#include "ostrel/UID.h"

namespace corvan
{

namespace
{

String StatusNames()
{
    String names;
    for (char number = '0'; const auto status = ParseStatus({number}); ++number)
        names += (names.empty() ? "" : ", ") + String(StatusName(*status));
    return names;
}

String CheckName(const String &name)
{
    if (name.empty())
        return "a parameter needs a name";
    if (name.size() > k_MaxNameBytes)
        return "the name \"" + Excerpt(name) + "\" is longer than 256 bytes";
    if (!IsUtf8(name))
        return "the name \"" + Excerpt(name) + "\" is not UTF-8";
    if (HasControlCharacters(name))
        return "the name of a parameter holds control characters";
    if (name == p_Type)
        return "Type cannot be set";
    return {};
}

String CheckAnyValue(const String &name, const String &value)
{
    if (value.size() > k_MaxValueBytes)
        return name + ": the value is longer than 4 MiB";
    if (value.find('\0') != String::npos)
        return name + ": the value holds a NUL character";
    if (!IsUtf8(value))
        return name + ": the value is not UTF-8";
    return {};
}

String CheckWhole(const String &name, const String &value, int least, int most)
{
    int number = 0;
    const char *end = value.data() + value.size();
    const auto [stopped, error] = std::from_chars(value.data(), end, number);
    if (error == std::errc() && stopped == end && number >= least && number <= most)
        return {};
    return name + ": \"" + Excerpt(value) + "\" is not a whole number from " +
           std::to_string(least) + " to " + std::to_string(most);
}

String CheckRange(const String &name, const String &value)
{
    SequenceDistributor::Items frames;
    String reason;
    if (SequenceDistributor::ParseRange(value, frames, &reason))
        return {};
    return name + ": " + reason;
}

} // namespace

String CheckParameterText(const String &name, const String &value)
{
    if (String reason = CheckName(name); !reason.empty())
        return reason;
    if (String reason = CheckAnyValue(name, value); !reason.empty())
        return reason;

    if (name == p_Range || name == p_CustomRange || name == p_UserRange)
        return CheckRange(name, value);
    if (name == p_PacketSize && !value.empty())
        return CheckWhole(name, value, 1, std::numeric_limits<int>::max());
    if (name == p_Priority)
        return CheckWhole(name, value, k_LowestPriority, k_HighestPriority);
    if (const RunLimitName *const limit = FindRunLimit(name))
        return CheckRunLimit(*limit, value);
    if (const QueueWishName *const wish = FindQueueWish(name))
        return CheckQueueWish(*wish, value);
    if (IsFrameChecking(name))
        return CheckFrameChecking(name, value);
    if (name == p_Status && !ParseStatus(value))
        return "Status: \"" + Excerpt(value) + "\" is no status; 0 to 5 are " + StatusNames();
    if (name == p_RequeueOf && !ostrel::UID().FromString(value))
        return "RequeueOf: \"" + Excerpt(value) + "\" is no identifier of a job";
    if (name == p_After || name == p_AfterGood)
        return CheckAfterJobs(name, value);
    if (name == p_FrameOrder)
        return CheckFrameOrder(value);
    if (name == p_ImageFormat && value.size() > k_MaxFormatBytes)
        return "ImageFormat: the patterns are longer than 64 KiB";
    if (name == p_Name && HasControlCharacters(value))
        return "Name: the name holds control characters";
    return {};
}

} // namespace corvan
