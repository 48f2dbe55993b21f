#include "analysis/FileCheck.h"

namespace analysis
{

void CountLook(const FileLook &look, unsigned minSize, ScanCounts &counts)
{
    if (!look.exists)
        ++counts.missing;
    else if (look.size < minSize)
        ++counts.tooSmall;
}

} // namespace analysis
