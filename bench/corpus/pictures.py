"""Pictures as arrays of numbers, and as files of the corpus' formats.

An array is height x width x channels, 32 bits of floating point, linear light, channels R, G, B and for a
shot with depth Z.
"""

import dataclasses

import numpy
import OpenImageIO as oiio

from corpus.trouble import Trouble

# Where a picture holds nothing, as some renderers write it.
NOTHING_THERE = 10000.0
# What is told apart: this much more or less of a value, in stops, above a level that is nearly black.
VISIBLE_STOPS = 0.1
NEARLY_BLACK = 0.03


@dataclasses.dataclass(frozen=True)
class Format:
    """`compression` as OpenImageIO names it. `is_linear`: floating point, which holds any number.
    `shows_holes`, `shows_flips`: whether docs/decode.md says that zeros, or another byte, are found."""

    extension: str
    type: object
    compression: str
    channels: str
    is_linear: bool
    shows_holes: bool
    shows_flips: bool


FORMATS = {
    "exr-half-zip": Format("exr", oiio.HALF, "zip", "RGB", True, True, True),
    "exr-half-zips": Format("exr", oiio.HALF, "zips", "RGB", True, True, True),
    "exr-half-piz": Format("exr", oiio.HALF, "piz", "RGB", True, False, False),
    "exr-half-none": Format("exr", oiio.HALF, "none", "RGB", True, True, False),
    "exr-half-dwaa": Format("exr", oiio.HALF, "dwaa", "RGB", True, True, False),
    "exr-float-zip": Format("exr", oiio.FLOAT, "zip", "RGB", True, True, True),
    "exr-float-z": Format("exr", oiio.FLOAT, "zip", "RGBZ", True, True, True),
    "png8": Format("png", oiio.UINT8, "", "RGB", False, True, True),
    "png16": Format("png", oiio.UINT16, "", "RGB", False, True, True),
    "jpeg90": Format("jpg", oiio.UINT8, "jpeg:90", "RGB", False, True, False),
}


def read(path):
    """The first part of a file as it is stored: no curve is taken away. Raises Trouble."""
    image = oiio.ImageInput.open(str(path))
    if image is None:
        raise Trouble(f"{path} cannot be read: {oiio.geterror()}")
    pixels = image.read_image(oiio.FLOAT)
    error = image.geterror()
    image.close()
    if pixels is None or error:
        raise Trouble(f"{path} cannot be read: {error}")
    return numpy.asarray(pixels, dtype=numpy.float32)


def to_srgb(linear):
    clipped = numpy.clip(linear, 0, 1)
    return numpy.where(clipped <= 0.0031308, 12.92 * clipped, 1.055 * clipped ** (1 / 2.4) - 0.055)


def write(path, pixels, form):
    """Raises Trouble where the disk, or the library, refuses."""
    height, width, channels = pixels.shape
    spec = oiio.ImageSpec(width, height, channels, form.type)
    spec.channelnames = tuple(form.channels)
    if form.compression:
        spec.attribute("compression", form.compression)
    if not form.is_linear:
        pixels = to_srgb(pixels)
        spec.attribute("oiio:ColorSpace", "sRGB")
    output = oiio.ImageOutput.create(str(path))
    if output is None or not output.open(str(path), spec):
        raise Trouble(f"{path} cannot be written: {output.geterror() if output else oiio.geterror()}")
    is_written = output.write_image(numpy.ascontiguousarray(pixels, dtype=numpy.float32))
    # The end of a file is written when it is closed.
    if not output.close() or not is_written:
        raise Trouble(f"{path} cannot be written: {output.geterror()}")


def changed(before, after, form):
    """Which pixels somebody could tell apart: a map of yes and no. Not a number is another one."""
    if not form.is_linear:
        before, after = numpy.clip(before, 0, 1), numpy.clip(after, 0, 1)
    with numpy.errstate(all="ignore"):
        stops = [numpy.log2(numpy.maximum(pixels, 0) + NEARLY_BLACK) for pixels in (before, after)]
        is_same = numpy.abs(stops[0] - stops[1]) <= VISIBLE_STOPS
        # Below zero nothing is seen, and yet it is another number.
        is_same &= (before < 0) == (after < 0)
    return ~is_same.all(axis=2)
