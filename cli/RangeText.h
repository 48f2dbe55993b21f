#pragma once

#include "corvan/SequenceDistributor.h"

namespace cli
{

using ostrel::String;

/// A set of frames for people to read: "1-3,7". A step is written only where five frames or more
/// that stand alone follow each other by it ("1-9x2"), so that 2, 3, 7 and 11 are "2,3,7,11", where
/// the shortest text would be "2,3-11x4". It is a range like any other.
String RangeText(const corvan::SequenceDistributor::Items &frames);

} // namespace cli
