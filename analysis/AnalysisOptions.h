#pragma once

#include "analysis/ScanRules.h"
#include "ostrel/String.h"

namespace ostrel
{
class IniFile;
}

namespace analysis
{

/// Names in the options file.
inline const String k_Analysis = "Analysis"; ///< The section.
inline const String k_MinSize = "MinSize";
inline const String k_FrameOffset = "FrameOffset";
inline const String k_SizeVariation = "SizeVariation";
inline const String k_Refresh = "Refresh";
inline const String k_ShowProgress = "ShowProgress";

/// The analysis settings with their defaults.
struct AnalysisOptions
{
    unsigned minSize = 500;             ///< "MinSize", bytes.
    int frameOffset = 5;                ///< "FrameOffset", rows on each side.
    float sizeVariationPercent = 15.0f; ///< "SizeVariation".
    int refreshMs = 5000;               ///< "Refresh": from the end of a pass to the next.
    bool showProgress = true;           ///< "ShowProgress".

    /// The part of them that judges files.
    ScanRules Rules() const
    {
        return {minSize, frameOffset, sizeVariationPercent / 100.0f};
    }
};

/// Reads the section "Analysis"; what is not there, or does not convert, takes its default.
AnalysisOptions ReadAnalysisOptions(const ostrel::IniFile &options);

} // namespace analysis
