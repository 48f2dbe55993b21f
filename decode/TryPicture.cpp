#include "decode/TryPicture.h"

#include <stdexcept>
#include <system_error>

#include "decode/ImageFile.h"

namespace decode
{

Picture TryPicture(const std::vector<Path> &files, const std::function<std::string()> &make)
{
    UseOneThread();

    Picture picture;
    try
    {
        picture.jpeg = make();
        return picture;
    }
    catch (const std::system_error &)
    {
        throw; // What the system refuses is no fault of the file's.
    }
    catch (const std::runtime_error &error)
    {
        picture.reason = error.what();
    }
    for (const Path &file : files)
    {
        if (!file.IsEmpty() && picture.trouble.empty())
            picture.trouble = FindReadTrouble(file);
    }
    if (!picture.trouble.empty())
        picture.reason.clear();
    return picture;
}

} // namespace decode
