#pragma once

#include <OpenImageIO/imageio.h>
#include <memory>

#include "ostrel/Path.h"

namespace decode
{

using ostrel::Path;
using ostrel::String;

/// An image file that was opened, or why there is none.
struct ImageFile
{
    std::unique_ptr<OIIO::ImageInput> image; ///< Null where there is a reason.
    String format;                           ///< By its content.
    String formatByName;
    String reason;
};

/// Opens a file by its name first and by its content then. One that lacks its end by its own
/// structure is not opened. `wishes` are given to the library's reader.
ImageFile OpenImage(const Path &path, const OIIO::ImageSpec &wishes = {});

/// What the library has to say of a failure.
String ErrorOf(OIIO::ImageInput &image);

/// Rows read at a time: a whole number of the blocks that every compression has, within reason. Of
/// an image without tiles.
int RowsAtOnce(const OIIO::ImageSpec &spec);

/// Why the system does not give the file's bytes; empty where it does. The libraries tell a disk
/// that fails and a picture that ends early in the same words.
String FindReadTrouble(const Path &path);

/// Has the libraries read with the calling thread alone.
void UseOneThread();

} // namespace decode
