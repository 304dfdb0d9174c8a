"""Python access to libNorvaneCore and its router through their C interfaces.

    import norvane
    for code in norvane.read_barcodes("photo.jpg"):   # or a NumPy array, PIL image, bytes
        print(code.format, code.text, code.position.top_left)
    norvane.library_version()            # "1.0.0.10001"
    norvane.error_string(-10002)         # "Null pointer."
    with norvane.ImageSourceAdapter() as adapter:
        adapter.max_image_count = 4
        adapter.start_fetching()
        adapter.add_image(norvane.Image(b"\\x00" * 12, 4, 3, 4))
        image = adapter.get_image()      # a norvane.Image, or None

Failures raise NorvaneError(code, message). The library is found through the
environment variable NORVANE_LIBRARY, else as an installed system library, else in a
build tree of the source tree."""
from ._adapter import ImageSourceAdapter, convert
from ._image import (ColourChannelUsage, Image, ImageTag, NorvaneError, PixelFormat,
                     error_string, library_version)
from ._native import library
from ._reader import Barcode, Position, Reader, read_barcodes

# The library's version this package belongs to (four numbers).
__version__ = "1.0.0.10001"

__all__ = ["Barcode", "ColourChannelUsage", "Image", "ImageSourceAdapter", "ImageTag",
           "NorvaneError", "PixelFormat", "Position", "Reader", "convert", "error_string",
           "library", "library_version", "read_barcodes", "__version__"]
