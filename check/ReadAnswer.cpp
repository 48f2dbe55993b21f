#include "check/ReadAnswer.h"

#include <charconv>

#include "check/CheckState.h"

namespace check
{

using corvan::SequenceDistributor;
using Items = SequenceDistributor::Items;

namespace
{

// Takes "ok 94" or ", missing 2" off the begin of the text.
bool TakeCount(CheckState state, std::string_view &text, std::size_t &count)
{
    const std::string_view name = StateText(state);
    std::string_view rest = text;
    if (state != CheckState::Ok)
    {
        if (!rest.starts_with(", "))
            return false;
        rest.remove_prefix(2);
    }
    if (!rest.starts_with(name) || rest.size() <= name.size() || rest[name.size()] != ' ')
        return false;
    rest.remove_prefix(name.size() + 1);
    const auto [end, error] = std::from_chars(rest.data(), rest.data() + rest.size(), count);
    if (error != std::errc())
        return false;
    text = rest.substr(std::size_t(end - rest.data()));
    return true;
}

// How many files are not ok; nothing for what are no counts of so many files at most.
std::optional<std::size_t> CountBadFiles(std::string_view counts, std::size_t mostFiles)
{
    std::size_t bad = 0;
    for (const CheckState state : k_CheckStates)
    {
        std::size_t count = 0;
        const bool isThere = TakeCount(state, counts, count);
        // Of those that are ok it always tells.
        if (state == CheckState::Ok ? !isThere : isThere && count == 0)
            return std::nullopt;
        if (count > mostFiles)
            return std::nullopt;
        bad += state == CheckState::Ok ? 0 : count;
    }
    if (!counts.empty() || bad > mostFiles)
        return std::nullopt;
    return bad;
}

// Each of them is the number of a file that the job writes.
bool AreOfTheJob(const Items &numbers, const LookRequest &request)
{
    analysis::ExpansionInput input = request.input;
    if (!SequenceDistributor::ParseRange(input.userRange, input.frames, nullptr))
        return false;
    Items found;
    const String reason =
        analysis::ExpandNumbers(*analysis::FramePattern::Parse("%d", nullptr), input,
                                [&](int number)
                                {
                                    if (numbers.contains(number))
                                        found.insert(number);
                                });
    return reason.empty() && found.size() == numbers.size();
}

bool IsVerdictOn(const LookRequest &request, const LookAnswer &answer)
{
    if (request.depth == LookRequest::Depth::Prints ||
        (!request.print.empty() && request.print != answer.print))
        return false;
    const std::size_t formats = request.formats.size();
    const auto badFiles = CountBadFiles(answer.counts, formats * analysis::k_MaxFiles);
    if (!badFiles)
        return false;
    const Items bad = AllOf(answer.bad);
    // Of a frame at least one file is bad, and at most that of each format.
    if (bad.size() > *badFiles || *badFiles > bad.size() * formats ||
        (!answer.areTooMany && bad.size() > k_MostBadFrames))
        return false;
    return bad.empty() || AreOfTheJob(bad, request);
}

} // namespace

std::optional<LookAnswer> ReadAnswer(const LookRequest &request, std::string_view text)
{
    if (text.size() > k_MostAnswerBytes)
        return std::nullopt;
    std::optional<LookAnswer> answer = ParseAnswer(text);
    if (!answer)
        return std::nullopt;
    if (!answer->trouble.empty())
        return LookAnswer{.trouble = answer->trouble, .print = {}};
    if (!IsDigest(answer->print))
        return std::nullopt;
    if (answer->isJudged ? !IsVerdictOn(request, *answer)
                         : !answer->bad.empty() || answer->areTooMany)
        return std::nullopt;
    return answer;
}

} // namespace check
