#pragma once

#include <cstddef>
#include <functional>
#include <optional>
#include <vector>

#include "analysis/FramePattern.h"
#include "corvan/SequenceDistributor.h"
#include "ostrel/Path.h"

namespace corvan
{
class Job;
}

namespace analysis
{

using corvan::SequenceDistributor;
using ostrel::Path;

/// What a job, or a command line, says about the files to expect.
struct ExpansionInput
{
    String userRange;                  ///< Text of the frames to look for.
    SequenceDistributor::Items frames; ///< The same as a set.
    /// A custom range says what to look for, so nothing is renumbered and the texts below do not
    /// count.
    bool hasCustomRange = false;

    // Texts of the renumbering parameters. Empty is the same as not set.
    String sequenceBy;
    String renumberStart;
    String renumberBy;
    String packetSize;
};

/// The renumbering in numbers.
struct Renumbering
{
    float sequenceBy = 1.0f; ///< Frames from one output to the next; above 0, may be infinite.
    int renumberStart = 0;   ///< Output number of the first frame.
    int renumberBy = 1;      ///< From one output number to the next; above 0.
    int packetSize = 1;      ///< Below 1 cannot be walked.

    /// Output numbers a frame.
    float Ratio() const
    {
        return float(renumberBy) / sequenceBy;
    }
};

/// Frames that are rendered as one run, both ends included.
struct FramePacket
{
    int first;
    int last;
};

/// The packet that begins at `frame`, which must not be the end; moves `frame` to the one after
/// it. `packetSize` is 1 or more.
FramePacket TakePacket(SequenceDistributor::Items::const_iterator &frame, int packetSize);

/// More files than this are not expanded: a window that lists them in one go would stand still for
/// too long.
constexpr std::size_t k_MaxFiles = 1'000'000;

/// Reads a job's parameters: `userRange` and the texts, not yet `frames`. Nothing when the job has
/// no custom range (perhaps empty) or no user range.
std::optional<ExpansionInput> ReadExpansionInput(const corvan::Job &job);

/// Reads the renumbering texts; `firstFrame` is the default of the renumber start.
///
/// Texts are read as strtod and strtol (base 10) read them, in the C locale whatever the user's
/// is: leading blanks and trailing text are let pass, a text without digits is 0. Whole numbers
/// beyond an int become the nearest int. SequenceBy and RenumberBy are 1 unless above 0;
/// PacketSize is taken as it is.
Renumbering ReadRenumbering(const ExpansionInput &input, int firstFrame);

/// Whether a job that renders exactly `frames` with these texts would write files of other numbers
/// than `frames`. The custom range does not matter: it only says what to look for.
bool WritesOtherNumbers(const ExpansionInput &input, const SequenceDistributor::Items &frames);

/// Called once a file, in the order of the walk. Paths and numbers may repeat.
using FileSink = std::function<void(const Path &path, int outputNumber)>;

/// Lists the files to expect and logs each after its `sink` returned ("  Checked " + path).
///
/// The set is walked in packets: a packet is what stands in [f, f + packetSize), from its first
/// frame to its last without gaps, since it is rendered as one run. All in single precision, as
/// the renderers do it, each operation rounded for itself.
///
/// Returns the reason, and calls nothing, when the input cannot be walked; empty when all went
/// well (also for the empty set). Refused are: a packet size below 1; more than `k_MaxFiles` files;
/// a walk that would never end because SequenceBy is too small to move a frame number as large as
/// this in single precision (a step of 1 ends to move at 16,777,216); an output number outside
/// signed 32 bits; a path over `FramePattern::k_MaxBytes`.
String ExpandFrames(const FramePattern &pattern, const ExpansionInput &input, const FileSink &sink);

/// The same without paths and without a log: the output numbers in the order of the walk.
String ExpandNumbers(const FramePattern &pattern, const ExpansionInput &input,
                     const std::function<void(int outputNumber)> &sink);

/// One file of the walk.
struct ExpansionStep
{
    float frame;      ///< Where the walk stands, in frames; a fraction where SequenceBy is one.
    int outputNumber; ///< In the file's name.

    friend bool operator==(const ExpansionStep &, const ExpansionStep &) = default;
};

/// The number in the name of the file that a packet begins with: its first frame is `first`, that
/// of the job `firstFrame`. Nothing, with the reason, for one outside signed 32 bits.
std::optional<int> FirstOutputNumber(const Renumbering &numbers, int firstFrame, int first,
                                     String *reason);

/// The files of one packet, the frames `first` to `last` of a job whose first frame is
/// `firstFrame`, in the order of the walk. Empty, with the reason in `*reason`, for more than
/// `mostFiles` and where the walk of `ExpandFrames` would be refused.
std::vector<ExpansionStep> ListPacketFiles(const Renumbering &numbers, int firstFrame, int first,
                                           int last, std::size_t mostFiles, String *reason);

/// A position of the walk as text: "7", "7.5".
String FrameText(float frame);

/// The frames whose rendering writes the given output numbers; numbers that no frame writes are
/// left out. Where nothing is renumbered these are the numbers themselves. Empty, with the reason
/// in `*reason` (may be null), when the input cannot be walked.
SequenceDistributor::Items FindRenderingFrames(const ExpansionInput &input,
                                               const SequenceDistributor::Items &outputNumbers,
                                               String *reason);

} // namespace analysis
