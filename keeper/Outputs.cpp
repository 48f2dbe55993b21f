#include "keeper/Outputs.h"

#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <sys/stat.h>
#include <unistd.h>

#include "keeper/CopyFile.h"

namespace keeper
{

namespace
{

std::string FolderOf(const std::string &file)
{
    const std::size_t slash = file.rfind('/');
    if (slash == std::string::npos)
        return ".";
    return slash == 0 ? "/" : file.substr(0, slash);
}

std::string CopyNameOf(const std::string &file)
{
    const std::size_t slash = file.rfind('/');
    const std::size_t leaf = slash == std::string::npos ? 0 : slash + 1;
    return file.substr(0, leaf) + "." + file.substr(leaf) + ".corvan-kept";
}

// Follows links; the name itself where there is no file yet.
std::string RealName(const std::string &file)
{
    char *const found = ::realpath(file.c_str(), nullptr);
    const std::string name = found ? found : file;
    std::free(found);
    return name;
}

bool MakeFolders(const std::string &folder)
{
    if (::mkdir(folder.c_str(), 0777) == 0 || errno == EEXIST)
        return true;
    if (errno != ENOENT)
        return false;
    const std::string parent = FolderOf(folder);
    if (parent == folder || !MakeFolders(parent))
        return false;
    return ::mkdir(folder.c_str(), 0777) == 0 || errno == EEXIST;
}

} // namespace

bool MakeFolderOf(const std::string &file, std::string *reason)
{
    const std::string folder = FolderOf(file);
    struct stat found
    {
    };
    const bool isThere = ::stat(folder.c_str(), &found) == 0;
    if (isThere ? !S_ISDIR(found.st_mode) : !MakeFolders(folder))
    {
        *reason = "cannot make folder " + folder + ": " + std::strerror(isThere ? ENOTDIR : errno);
        return false;
    }
    if (::access(folder.c_str(), W_OK | X_OK) != 0)
    {
        *reason = "cannot write to folder " + folder + ": " + std::strerror(errno);
        return false;
    }
    return true;
}

Outputs::Outputs(const std::vector<std::string> &files, bool keepsOld) : m_keepsOld(keepsOld)
{
    for (const std::string &file : files)
        m_outputs.push_back({.file = file});
}

bool Outputs::Prepare(const std::function<bool()> &isOver, std::string *reason)
{
    std::string lastFolder;
    for (Output &output : m_outputs)
    {
        if (isOver())
        {
            *reason = "it was ended before it began";
            return false;
        }
        const std::string folder = FolderOf(output.file);
        if (folder != lastFolder && !MakeFolderOf(output.file, reason))
            return false;
        lastFolder = folder;
        if (!PrepareOne(output, isOver, reason))
            return false;
    }
    return true;
}

bool Outputs::PrepareOne(Output &output, const std::function<bool()> &isOver,
                         std::string *reason) const
{
    const std::string file = RealName(output.file);
    const std::string copy = CopyNameOf(file);
    // One that was left behind is of use where what it is of is not.
    if (HoldsNothing(file) && !HoldsNothing(copy) && ::rename(copy.c_str(), file.c_str()) != 0)
    {
        *reason = "cannot put back " + copy + ": " + std::strerror(errno);
        return false;
    }
    if (m_keepsOld && !HoldsNothing(file) && StampOf(file).isFile)
    {
        if (!CopyFile(file, copy, isOver, reason))
            return false;
        output.copied = file;
        output.copy = copy;
    }
    output.before = StampOf(output.file);
    return true;
}

std::string Outputs::FindFault() const
{
    for (const Output &output : m_outputs)
    {
        const Stamp now = StampOf(output.file);
        if (!now.isThere)
            return "it wrote no " + output.file;
        if (!now.isFile)
            return output.file + " is no file";
        if (now.size == 0)
            return "it left " + output.file + " empty";
        if (IsSame(now, output.before))
            return "it left " + output.file + " as it was before";
    }
    return {};
}

std::string Outputs::PutBack()
{
    std::string told;
    for (Output &output : m_outputs)
    {
        if (output.copy.empty())
            continue;
        if (!HoldsNothing(output.copied))
            ::unlink(output.copy.c_str());
        else if (::rename(output.copy.c_str(), output.copied.c_str()) == 0)
            told += output.copied + " is again what it was before\n";
        else
            told += "cannot put back " + output.copied + ": " + std::strerror(errno) +
                    "; what it was before is in " + output.copy + "\n";
        output.copy.clear();
    }
    return told;
}

Outputs::Stamp Outputs::StampOf(const std::string &file)
{
    struct stat found
    {
    };
    if (::stat(file.c_str(), &found) != 0)
        return {};
    return {true,          S_ISREG(found.st_mode), found.st_dev, found.st_ino,
            found.st_size, found.st_mtim,          found.st_ctim};
}

bool Outputs::IsSame(const Stamp &a, const Stamp &b)
{
    return a.isThere == b.isThere && a.device == b.device && a.number == b.number &&
           a.size == b.size && a.written.tv_sec == b.written.tv_sec &&
           a.written.tv_nsec == b.written.tv_nsec && a.changed.tv_sec == b.changed.tv_sec &&
           a.changed.tv_nsec == b.changed.tv_nsec;
}

// An error other than that it is not there says nothing of what the file holds.
bool Outputs::HoldsNothing(const std::string &file)
{
    struct stat found
    {
    };
    if (::stat(file.c_str(), &found) != 0)
        return errno == ENOENT;
    return S_ISREG(found.st_mode) && found.st_size == 0;
}

} // namespace keeper
