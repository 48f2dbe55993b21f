#pragma once

#include <string>

#include "analysis/FramePattern.h"
#include "ostrel/Path.h"

namespace analysis
{

/// The paths of a pattern taken apart: the folder that all of them have, and what follows it, so
/// that the folder is looked up once. The number may stand in the name of a further folder.
class FrameNames
{
public:
    /// `pattern` must outlive the names.
    explicit FrameNames(const FramePattern &pattern);

    /// "." for a pattern without a folder.
    const ostrel::Path &Folder() const
    {
        return m_folder;
    }

    /// The path of one output number from the folder on, into `name`.
    void Write(int number, std::string &name) const;

private:
    const FramePattern &m_pattern;
    ostrel::Path m_folder;
    std::string m_before; ///< The number, within what follows the folder.
};

} // namespace analysis
