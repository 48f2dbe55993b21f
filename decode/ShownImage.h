#pragma once

#include "decode/ImageFile.h"
#include "decode/ShownRows.h"

namespace decode
{

/// An image file that is open, and the rows that are shown of it.
class ShownImage
{
public:
    /// Throws std::runtime_error with the reason where it cannot be opened, or nothing of it can be
    /// shown.
    ShownImage(const Path &path, PictureChannels channels)
        : m_file(Open(path)), m_rows(*m_file.image, channels)
    {
    }

    ShownRows &Rows()
    {
        return m_rows;
    }

private:
    static ImageFile Open(const Path &path);

    ImageFile m_file;
    ShownRows m_rows;
};

} // namespace decode
