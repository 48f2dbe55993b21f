#include "cli/PictureFile.h"

#include <cerrno>
#include <cstdio>
#include <cstring>
#include <memory>
#include <sys/stat.h>

#include "ostrel/Exception.h"
#include "ostrel/File.h"

namespace cli
{

namespace
{

enum class Kind
{
    None,
    Regular,
    Folder,
    Stream,
};

Kind KindOf(const ostrel::Path &path)
{
    struct stat status
    {
    };
    if (stat(path.Text().c_str(), &status) != 0)
        return Kind::None;
    if (S_ISDIR(status.st_mode))
        return Kind::Folder;
    return S_ISREG(status.st_mode) ? Kind::Regular : Kind::Stream;
}

void WriteInto(const ostrel::Path &file, const String &picture)
{
    const std::unique_ptr<std::FILE, int (*)(std::FILE *)> stream(
        std::fopen(file.Text().c_str(), "we"), &std::fclose);
    if (!stream || std::fwrite(picture.data(), 1, picture.size(), stream.get()) < picture.size() ||
        std::fflush(stream.get()) != 0)
        throw new ostrel::Exception("cannot write " + file.Text() + ": " + std::strerror(errno));
}

} // namespace

ostrel::Path PictureFile(const std::string &file, std::size_t number)
{
    if (number == 1)
        return ostrel::Path(file);
    const ostrel::Path path(file);
    const String leaf = path.Leaf(true);
    const String stem = path.Leaf(false);
    const String folder = file.substr(0, file.size() - leaf.size());
    return folder + stem + "-" + std::to_string(number) + leaf.substr(stem.size());
}

bool IsStandardOutput(const std::string &file)
{
    return file == "-";
}

bool WritePicture(const ostrel::Path &file, const String &picture)
{
    if (IsStandardOutput(file.Text()))
    {
        // What does not go out is told where the program ends.
        std::fwrite(picture.data(), 1, picture.size(), stdout);
        return false;
    }
    if (KindOf(file) == Kind::Stream)
    {
        WriteInto(file, picture);
        return false;
    }
    const ostrel::Path folder = file.Parent();
    if (!folder.IsEmpty() && KindOf(folder) != Kind::Folder)
        throw new ostrel::Exception("cannot write " + file.Text() + ": there is no folder " +
                                    folder.Text());
    ostrel::File::WriteWhole(file, picture);
    return true;
}

} // namespace cli
