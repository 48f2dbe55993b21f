#pragma once

#include "corvan/SizeRule.h"
#include "ostrel/String.h"

namespace corvan
{

using ostrel::String;

class Job;

/// What is to be done about the frames of a job once its tasks are done: what its parameters say,
/// or its type's defaults.
struct FrameChecking
{
    /// "CheckFrames".
    enum class Kind
    {
        None,     ///< "none": nothing.
        Sizes,    ///< "sizes": is each file there, and is its size that of its neighbours?
        Decode,   ///< "decode": is it a sound image, too?
        Pictures, ///< "pictures": does what is seen in it go with the frames around, too?
    };
    Kind kind = Kind::None;
    /// "AutoRequeue": how often bad frames are rendered again; 0 only tells of them.
    unsigned rounds = 0;
    /// "QuietSeconds": how long the files must stay as they are before they are judged.
    unsigned quietSeconds = k_QuietSeconds;
    /// "SizeRule": how sizes are held against each other.
    SizeRule sizeRule = SizeRule::Neighbours;

    static constexpr unsigned k_MostRounds = 10;
    static constexpr unsigned k_QuietSeconds = 10;
    static constexpr unsigned k_MostQuietSeconds = 86'400;

    friend bool operator==(const FrameChecking &, const FrameChecking &) = default;
};

/// True for the names of the four parameters.
bool IsFrameChecking(const String &name);

/// Why a text is no value of one of them, as a sentence that names it; empty where it is one. An
/// empty text is: the parameter counts as not set.
String CheckFrameChecking(const String &name, const String &text);

/// What holds for a job. A type that renders no frames has none to look at.
FrameChecking FrameCheckingOf(const Job &job);

/// Whether this parameter decides which files a job should have, or what is done about them.
bool SaysWhatToLookFor(const String &name);

} // namespace corvan
