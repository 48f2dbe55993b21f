#pragma once

#include <array>
#include <limits>
#include <variant>

#include "ostrel/String.h"

namespace ostrel
{
class IniFile;
}

namespace corvan
{

using ostrel::String;

/// Section of the options file that holds them.
inline constexpr const char *k_Analysis = "Analysis";

/// The analysis settings with their defaults: when a frame is bad, and how frames are looked at.
struct AnalysisOptions
{
    unsigned minSize = 500;             ///< Smallest acceptable size, in bytes.
    int frameOffset = 5;                ///< Rows on each side that form a row's neighbourhood.
    float sizeVariationPercent = 15.0f; ///< Allowed deviation from their mean.
    int refreshMs = 5000;               ///< From the end of a pass to the next.
    bool showProgress = true;           ///< Whether the window has a gauge.
};

/// What is to be known of one setting wherever it is read, edited, given or described.
struct AnalysisOption
{
    /// Where its value is; of which type it is.
    using Field = std::variant<unsigned AnalysisOptions::*, int AnalysisOptions::*,
                               float AnalysisOptions::*, bool AnalysisOptions::*>;

    const char *key; ///< In the options file.
    Field field;

    // For the command line; the options file takes whatever its type holds.
    const char *option = ""; ///< "--min-size"; empty where a command has no use for it.
    double least = 0;
    double most = 0;
    const char *help = ""; ///< What the number says, without the default.
};

/// All of them, in the order in which they are shown and written.
inline constexpr std::array k_AnalysisOptions = {
    AnalysisOption{"MinSize", &AnalysisOptions::minSize, "--min-size", 0,
                   std::numeric_limits<unsigned>::max(), "bytes; a smaller file is bad"},
    AnalysisOption{"FrameOffset", &AnalysisOptions::frameOffset, "--offset", 0,
                   std::numeric_limits<int>::max(),
                   "rows on each side that a file's size is held against"},
    AnalysisOption{"SizeVariation", &AnalysisOptions::sizeVariationPercent, "--variation", 0,
                   std::numeric_limits<float>::max(),
                   "percent by which a size may differ from the mean of those"},
    AnalysisOption{"Refresh", &AnalysisOptions::refreshMs},
    AnalysisOption{"ShowProgress", &AnalysisOptions::showProgress},
};

/// One value as people read and write it: "500", "12.5" (as "%g" prints it), "Yes".
String AnalysisText(const AnalysisOption &option, const AnalysisOptions &options);

/// Reads the section "Analysis"; what is not there, or does not convert, takes its default.
AnalysisOptions ReadAnalysisOptions(const ostrel::IniFile &options);

} // namespace corvan
