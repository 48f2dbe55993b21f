#include "decode/ShownImage.h"

#include <stdexcept>

namespace decode
{

ImageFile ShownImage::Open(const Path &path)
{
    OIIO::ImageSpec wishes;
    wishes.attribute("oiio:UnassociatedAlpha", 1); // Else it is multiplied in no linear light.
    ImageFile file = OpenImage(path, wishes);
    if (!file.image)
        throw std::runtime_error(file.reason);
    return file;
}

} // namespace decode
