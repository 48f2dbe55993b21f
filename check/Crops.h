#pragma once

#include <span>
#include <vector>

#include "check/CheckTable.h"
#include "decode/DecodeRequest.h"

namespace check
{

/// A picture that shows the place of a frame where something was found, between the same place of
/// the frame before and of the one after.
struct Crop
{
    String name; ///< Of its file, without a folder: "beauty.0017.patch.jpg".
    decode::DecodeRequest request;
    ostrel::Time modified; ///< When the frame was.

    bool operator==(const Crop &) const = default;
};

/// What the names of each table's crops begin with: the last component of its pattern without the
/// number, the extension and what separates them ("beauty" of "/renders/beauty.%04d.exr"); empty
/// where nothing else is there. Where two are the same, the later one has "-2" after it, or the
/// next number that is free, so that no two crops have one name. Cut where a file's name would be
/// too long.
std::vector<String> CropStems(std::span<const CheckTable> tables);

/// The crops of a judged table, by their frames' numbers: of the frames in a state that pictures
/// show and of which the place is known. Before and after a frame are those with the next lower and
/// the next higher number; none where the file is not there, or could not be read.
std::vector<Crop> ListCrops(const CheckTable &table, const String &stem);

} // namespace check
