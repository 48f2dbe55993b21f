#include "check/AnswerLook.h"

#include <algorithm>
#include <sys/stat.h>

#include "check/CheckException.h"
#include "check/CheckSubject.h"
#include "check/Digest.h"
#include "check/LookAtTable.h"
#include "check/TableDecoder.h"
#include "ostrel/Attempt.h"

namespace check
{

namespace
{

// The Master's machine has other things to do.
constexpr decode::DecodeLimits k_limits{
    .jobs = 2, .time = std::chrono::seconds(60), .memoryMib = 2048};

[[noreturn]] void CannotTell(const String &why)
{
    throw new CheckException(why);
}

void NeedSomething(const CheckTable &table, bool wereSeen)
{
    if (table.frames.empty() || std::ranges::any_of(table.frames, &analysis::FrameRecord::exists))
        return;
    const ostrel::Path folder = table.PathOf(0).Parent();
    struct stat found = {};
    if (::stat(folder.Text().c_str(), &found) != 0)
        CannotTell("the folder " + folder.Text() + " is not there");
    if (wereSeen)
        CannotTell("of " + std::to_string(table.frames.size()) + " files that were rendered, " +
                   folder.Text() + " has none");
}

void LookOnce(CheckTable &table)
{
    SystemClock clock;
    LookAtTable(table, CheckRules(), clock, [](std::size_t, std::size_t) {});
}

String PrintOf(const std::vector<CheckTable> &tables)
{
    Digest digest;
    for (const CheckTable &table : tables)
        for (const analysis::FrameRecord &frame : table.frames)
        {
            digest.Add(std::uint64_t(frame.frame));
            digest.Add(frame.exists ? frame.size + 1 : 0);
            digest.Add(std::uint64_t(frame.exists ? frame.modified.First() : 0));
        }
    return digest.Text();
}

void ReadImages(TableDecoder &decoder, std::vector<CheckTable> &tables, CheckDepth depth)
{
    for (CheckTable &table : tables)
    {
        decoder.Decode(table, analysis::ScanRules().frameOffset, k_limits, depth,
                       [](std::size_t, std::size_t) {});
        if (table.troubles.empty())
            continue;
        const auto &[row, why] = *table.troubles.begin();
        CannotTell(table.PathOf(row).Text() + ": " + why +
                   (table.troubles.size() > 1
                        ? "; and " + std::to_string(table.troubles.size() - 1) + " more images"
                        : ""));
    }
}

String CountsText(const std::vector<CheckTable> &tables)
{
    StateCounts all{};
    for (const CheckTable &table : tables)
        for (std::size_t state = 0; const std::size_t count : CountStates(table))
            all[state++] += count;
    String text;
    for (const CheckState state : k_CheckStates)
        if (const std::size_t count = all[std::size_t(state)]; count > 0 || state == CheckState::Ok)
            text += (text.empty() ? "" : ", ") + std::string(StateText(state)) + " " +
                    std::to_string(count);
    return text;
}

void JudgeAllOf(const std::vector<CheckTable> &tables, LookAnswer &answer)
{
    answer.isJudged = true;
    answer.counts = CountsText(tables);
    answer.bad = FindBadFrames(tables);
    corvan::SequenceDistributor::Items all = AllOf(answer.bad);
    answer.areTooMany = all.size() > k_MostBadFrames;
    if (answer.areTooMany)
        answer.bad = {{Digest().Text(), std::move(all)}};
}

LookAnswer TryToAnswer(const LookRequest &request)
{
    CheckSubject subject = FindFrames(request.input, request.formats, "the job");
    std::vector<CheckTable> &tables = subject.tables;
    TableDecoder decoder;
    decoder.ForgetPictures();
    for (CheckTable &table : tables)
    {
        table.sizeRule = request.sizeRule;
        ListFrames(subject.input, table);
        if (request.ReadsImages())
            decoder.Announce(table.frames.size(), k_limits);
        LookOnce(table);
        NeedSomething(table, request.wereSeen);
    }
    LookAnswer answer;
    answer.print = PrintOf(tables);
    if (request.depth == LookRequest::Depth::Prints ||
        (!request.print.empty() && request.print != answer.print))
        return answer;
    if (request.ReadsImages())
    {
        ReadImages(decoder, tables,
                   request.depth == LookRequest::Depth::Pictures ? CheckDepth::Pictures
                                                                 : CheckDepth::Images);
        decoder.Rest();
        // What was read may have been written meanwhile.
        std::vector<CheckTable> again = tables;
        std::ranges::for_each(again, LookOnce);
        if (String print = PrintOf(again); print != answer.print)
        {
            answer.print = std::move(print);
            return answer;
        }
    }
    JudgeAllOf(tables, answer);
    return answer;
}

} // namespace

LookAnswer AnswerLook(const LookRequest &request)
{
    LookAnswer answer;
    if (const auto reason = ostrel::Attempt([&] { answer = TryToAnswer(request); }))
        answer = {.trouble = *reason, .print = {}};
    return answer;
}

} // namespace check
