#pragma once

#include <OpenImageIO/imageio.h>
#include <vector>

#include "decode/PictureMeasures.h"

/// The light of the display window, row by row: `values` are those of the data window, all channels
/// of a pixel side by side, as they are meant (whole numbers without a sign are shares of 1).
std::vector<double> LightOfWindow(const OIIO::ImageSpec &spec, const std::vector<double> &values);

/// The measures of a picture as they are defined, pixel by pixel over the whole of it. All of its
/// peaks are there, however many.
decode::PictureMeasures MeasureSlowly(const OIIO::ImageSpec &spec,
                                      const std::vector<double> &values);
