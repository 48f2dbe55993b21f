#include "check/SeenImages.h"

#include <algorithm>
#include <vector>

namespace check
{

void SeenImages::BeginPass()
{
    if (m_files.size() > m_most)
    {
        std::vector<decltype(m_files)::const_iterator> byUse;
        byUse.reserve(m_files.size());
        for (auto file = m_files.cbegin(); file != m_files.cend(); ++file)
            byUse.push_back(file);
        const auto stays = byUse.begin() + std::ptrdiff_t(m_most);
        std::ranges::nth_element(byUse, stays, std::greater<>(),
                                 [](const auto &file) { return file->second.pass; });
        for (auto file = stays; file != byUse.end(); ++file)
            m_files.erase(*file);
    }
    ++m_pass;
}

bool SeenImages::IsKnown(const ostrel::Path &path, const analysis::FrameRecord &frame,
                         CheckDepth depth)
{
    const auto found = m_files.find(path);
    if (found == m_files.end())
        return false;
    Seen &seen = found->second;
    const bool isKnown = seen.report.trouble.empty() && seen.depth >= depth &&
                         seen.size == frame.size && seen.modifiedNs == frame.modified.First();
    if (isKnown)
        seen.pass = m_pass;
    return isKnown;
}

void SeenImages::Keep(const ostrel::Path &path, const analysis::FrameRecord &frame,
                      CheckDepth depth, const decode::ImageReport &report)
{
    m_files[path] = {frame.size, frame.modified.First(), depth, m_pass, report};
}

} // namespace check
