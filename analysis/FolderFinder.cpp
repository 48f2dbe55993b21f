#include "analysis/FolderFinder.h"

#include <cerrno>
#include <fcntl.h>

namespace analysis
{

namespace
{

/// Whether an error of looking a name up in a folder that was entered says that no such file can
/// be there. A link that leads back to itself is a broken link.
bool MeansMissing(int error, const std::string &name)
{
    if (error == ENOENT || error == ENAMETOOLONG)
        return true;
    return error == ELOOP && name.find('/') == std::string::npos;
}

} // namespace

FolderFinder::FolderFinder(const Path &folder)
    : m_folder(open(folder.Text().c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC))
{
    if (!m_folder.IsOpen())
        m_error = errno;
}

int FolderFinder::Look(const std::string &name, FileLook &look)
{
    look = {};
    if (m_error != 0)
        return m_error == ENOENT ? 0 : m_error;

    ostrel::FileFinder finder;
    int error = 0;
    do
        error = finder.FindAt(m_folder.Number(), name.c_str());
    while (error == EINTR);

    if (error == 0)
        look = {true, finder.Size(), finder.Modified()};
    return MeansMissing(error, name) ? 0 : error;
}

MakeNameFinder FolderFinder::MakerFor(const Path &folder)
{
    return [folder] { return std::make_unique<FolderFinder>(folder); };
}

} // namespace analysis
