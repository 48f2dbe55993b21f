#include "analysis/AnalysisOptions.h"

#include "ostrel/IniFile.h"

namespace analysis
{

AnalysisOptions ReadAnalysisOptions(const ostrel::IniFile &options)
{
    AnalysisOptions read;
    read.minSize = options.GetValue(k_Analysis, k_MinSize, read.minSize);
    read.frameOffset = options.GetValue(k_Analysis, k_FrameOffset, read.frameOffset);
    read.sizeVariationPercent =
        options.GetValue(k_Analysis, k_SizeVariation, read.sizeVariationPercent);
    read.refreshMs = options.GetValue(k_Analysis, k_Refresh, read.refreshMs);
    read.showProgress = options.GetValue(k_Analysis, k_ShowProgress, read.showProgress);
    return read;
}

} // namespace analysis
