#pragma once

#include <OpenImageIO/imageio.h>
#include <functional>
#include <vector>

#include "ostrel/Path.h"

/// The value of a channel at a place of an image.
using PixelValue = std::function<float(int x, int y, int channel)>;

/// Waves with a little noise, so that no compression finds much to leave out. The same each time.
float WavyPixel(int x, int y, int channel);

/// The same values everywhere, one a channel.
PixelValue Constant(std::vector<float> values);

/// The same image in tiles of 64 by 64 pixels.
OIIO::ImageSpec Tiled(OIIO::ImageSpec spec);

/// Writes an image in the format of the file's extension; fails the test when that cannot be.
void WriteImage(const ostrel::Path &path, const OIIO::ImageSpec &spec,
                const PixelValue &value = WavyPixel);

/// The same with several parts.
void WriteParts(const ostrel::Path &path, const std::vector<OIIO::ImageSpec> &parts,
                const PixelValue &value = WavyPixel);
