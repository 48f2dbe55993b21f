"""Reads each file that it is given with OpenImageIO, as a script of somebody's would: a word a file, "ok" or
"bad"."""

import sys

import OpenImageIO as oiio

for path in sys.argv[1:]:
    image = oiio.ImageInput.open(path)
    is_read = image is not None and image.read_image(oiio.FLOAT) is not None and not image.geterror()
    if image is None:
        oiio.geterror()
    else:
        image.close()
    print("ok" if is_read else "bad", flush=True)
