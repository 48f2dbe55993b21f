#include "analysis/FileCheck.h"

namespace analysis
{

bool IsNews(const _FileInfo &file, const FileLook &look)
{
    if (!look.exists)
        return file.exists;
    return !file.exists || look.modified.First() != file.modified.First() || look.size != file.size;
}

void StoreLook(_FileInfo &file, const FileLook &look)
{
    file.exists = look.exists;
    file.size = look.exists ? look.size : 0;
    if (!look.exists)
        file.modified = Time();
    else if (look.modified.First() != file.modified.First())
        file.modified = look.modified;
}

void CountLook(const FileLook &look, unsigned minSize, ScanCounts &counts)
{
    if (!look.exists)
        ++counts.missing;
    else if (look.size < minSize)
        ++counts.tooSmall;
}

} // namespace analysis
