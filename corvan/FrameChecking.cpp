#include "corvan/FrameChecking.h"

#include <algorithm>
#include <array>
#include <charconv>
#include <optional>
#include <string_view>

#include "corvan/Job.h"
#include "corvan/JobType.h"
#include "corvan/Utf8.h"

namespace corvan
{

namespace
{

// In the order of `FrameChecking::Kind`.
constexpr std::array<std::string_view, 4> k_kind_names = {"none", "sizes", "decode", "pictures"};

std::optional<FrameChecking::Kind> FindKind(const String &text)
{
    const auto found = std::ranges::find(k_kind_names, std::string_view(text));
    if (found == k_kind_names.end())
        return std::nullopt;
    return FrameChecking::Kind(found - k_kind_names.begin());
}

std::optional<unsigned> FindUpTo(const String &text, unsigned most)
{
    unsigned number = 0;
    const char *const end = text.data() + text.size();
    const auto [stopped, error] = std::from_chars(text.data(), end, number);
    if (error != std::errc() || stopped != end || number > most)
        return std::nullopt;
    return number;
}

unsigned MostOf(const String &name)
{
    return name == p_AutoRequeue ? FrameChecking::k_MostRounds : FrameChecking::k_MostQuietSeconds;
}

} // namespace

bool IsFrameChecking(const String &name)
{
    return name == p_CheckFrames || name == p_AutoRequeue || name == p_QuietSeconds ||
           name == p_SizeRule;
}

String CheckFrameChecking(const String &name, const String &text)
{
    if (text.empty())
        return {};
    if (name == p_CheckFrames)
        return FindKind(text)
                   ? String()
                   : name + ": \"" + Excerpt(text) + "\" is none of none, sizes, decode, pictures";
    if (name == p_SizeRule)
        return FindSizeRule(text)
                   ? String()
                   : name + ": \"" + Excerpt(text) + "\" is none of neighbours, robust";
    if (FindUpTo(text, MostOf(name)))
        return {};
    return name + ": \"" + Excerpt(text) + "\" is not a whole number from 0 to " +
           std::to_string(MostOf(name));
}

FrameChecking FrameCheckingOf(const Job &job)
{
    FrameChecking checking;
    if (!job.Type().rendersFrames)
        return checking;
    // What an earlier version let pass says nothing.
    const String kind = job.ParameterText(p_CheckFrames, true);
    checking.kind = FindKind(kind).value_or(checking.kind);
    const String rounds = job.ParameterText(p_AutoRequeue, true);
    checking.rounds = FindUpTo(rounds, MostOf(p_AutoRequeue)).value_or(checking.rounds);
    const String quiet = job.ParameterText(p_QuietSeconds, true);
    checking.quietSeconds = FindUpTo(quiet, MostOf(p_QuietSeconds)).value_or(checking.quietSeconds);
    checking.sizeRule = SizeRuleOf(job);
    return checking;
}

bool SaysWhatToLookFor(const String &name)
{
    return IsFrameChecking(name) || name == p_ImageFormat || name == p_Range ||
           name == p_CustomRange || name == p_UserRange || name == p_SequenceBy ||
           name == p_RenumberStart || name == p_RenumberBy || name == p_PacketSize;
}

} // namespace corvan
