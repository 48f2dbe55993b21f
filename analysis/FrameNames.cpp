#include "analysis/FrameNames.h"

namespace analysis
{

FrameNames::FrameNames(const FramePattern &pattern) : m_pattern(pattern)
{
    const std::string &before = pattern.Before();
    const std::size_t leaf = before.rfind('/') + 1; // 0 where there is none.
    m_folder = leaf > 0 ? ostrel::Path(before.substr(0, leaf)) : ostrel::Path(".");
    m_before = before.substr(leaf);
}

void FrameNames::Write(int number, std::string &name) const
{
    name.assign(m_before);
    m_pattern.AppendNumber(name, number);
    name.append(m_pattern.After());
}

} // namespace analysis
