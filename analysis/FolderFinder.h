#pragma once

#include "analysis/NameFinder.h"
#include "ostrel/Descriptor.h"

namespace analysis
{

/// The disk's files below one folder, which is looked up once.
///
/// A folder that does not exist has no files. One that cannot be entered, or is none, is an error
/// of each look: whoever takes its files for missing would render them all again.
class FolderFinder : public NameFinder
{
public:
    explicit FolderFinder(const Path &folder);

    int Look(const std::string &name, FileLook &look) override;

    /// Makes such finders.
    static MakeNameFinder MakerFor(const Path &folder);

private:
    ostrel::Descriptor m_folder;
    int m_error = 0; ///< Of opening it.
};

} // namespace analysis
