// A pattern, a range and the renumbering texts, a line each, then bytes that become sizes of files:
// what a check lists must be what the window's table holds, and be judged alike.
#include <cstdint>
#include <string_view>
#include <vector>

#include "analysis/ExpectedFrames.h"
#include "analysis/FileTable.h"
#include "analysis/FrameNames.h"
#include "fuzz/Require.h"

using namespace analysis;

namespace
{

constexpr std::size_t k_most_frames = 3000; ///< More find nothing new, slowly.

String TakeLine(std::string_view &text)
{
    const std::size_t end = std::min(text.find('\n'), text.size());
    const String line(text.substr(0, end));
    text.remove_prefix(std::min(end + 1, text.size()));
    return line;
}

/// The rows as the window has them, with sizes.
void FillTable(const FramePattern &pattern, const ExpansionInput &input, String *reason,
               FileTable &table)
{
    *reason = ExpandFrames(pattern, input,
                           [&table](const Path &path, int number) { table.Append(path, number); });
}

void TakeSizes(std::string_view bytes, FileTable &table, std::vector<FrameRecord> &frames)
{
    ScanCounts counts;
    for (std::size_t row = 0; row < frames.size(); ++row)
    {
        const auto byte = static_cast<unsigned char>(row < bytes.size() ? bytes[row] : row);
        const FileLook look = byte % 7 == 0 ? FileLook() : FileLook{true, byte * 8u, Time(byte)};
        StoreLook(frames[row], look);
        table.Take(row, look, counts);
    }
}

void Compare(const FramePattern &pattern, const ExpansionInput &input, std::string_view bytes)
{
    std::vector<FrameRecord> frames;
    const String reason = ListExpectedFrames(pattern, input, frames);
    Require(reason.empty() || frames.empty(), "what is refused lists nothing");
    if (frames.size() > k_most_frames)
        return;

    _FileInfoList files;
    FileTable table(files);
    String plainReason;
    FillTable(pattern, input, &plainReason, table);
    Require(reason == plainReason, "both are refused alike");
    Require(frames.size() == files.size(), "both list as many files");

    const ScanRules rules{.minSize = 500, .frameOffset = int(bytes.size() % 9)};
    table.SetRules(rules);
    TakeSizes(bytes, table, frames);
    const FrameNames names(pattern);
    std::string name;
    JudgeAll(frames, rules,
             [&](std::size_t row, FrameState state)
             {
                 const _FileInfo &file = files.get<_FileInfoList::list>()[row];
                 names.Write(frames[row].frame, name);
                 Require(file.frame == frames[row].frame, "both have the same rows");
                 Require(file.name.Text().ends_with(name), "a name is the end of its path");
                 Require(table.Classify(std::int64_t(row)) == state, "both judge alike");
             });
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t *data, std::size_t size)
{
    std::string_view text(reinterpret_cast<const char *>(data), size);
    const auto pattern = FramePattern::Parse(TakeLine(text), nullptr);
    ExpansionInput input;
    const bool isRange = SequenceDistributor::ParseRange(TakeLine(text), input.frames, nullptr);
    if (!pattern || !isRange || input.frames.size() > k_most_frames)
        return 0;

    input.sequenceBy = TakeLine(text);
    input.renumberStart = TakeLine(text);
    input.renumberBy = TakeLine(text);
    input.packetSize = TakeLine(text);
    input.hasCustomRange = !TakeLine(text).empty();
    Compare(*pattern, input, text);
    return 0;
}
