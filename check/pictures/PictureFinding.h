#pragma once

#include <map>

#include "check/CheckState.h"
#include "check/PicturePlace.h"
#include "ostrel/String.h"

namespace check
{

/// What holding a picture against those around it has shown.
struct PictureFinding
{
    CheckState state = CheckState::Ok;
    ostrel::String detail; ///< What, how far and where, one line.
    PicturePlace place;

    bool operator==(const PictureFinding &) const = default;
};

/// By position in a sequence.
using PictureFindings = std::map<std::size_t, PictureFinding>;

} // namespace check
