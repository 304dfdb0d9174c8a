"""Reading codes through the router: norvane.read_barcodes and norvane.Reader.

An image is a NumPy array (uint8: H x W grey, H x W x 3 RGB or H x W x 4 RGBA), a PIL
image, the bytes of a PNG, JPEG, PGM/PPM or WebP file, or a path to one. A Reader
may be shared between threads; close() waits for the reads in flight, and every call
after it raises NorvaneError."""
import atexit
import ctypes as C
import os
import threading
from collections import namedtuple

from ._image import NorvaneError
from ._native import TXP_ImageData, TXP_RTR_ReaderOptions, TXP_RTR_Result, router

# ImagePixelFormat values of the layouts an array or a PIL image brings.
_GREY, _RGB, _RGBA = 2, 12, 10  # IPF_GRAYSCALE, IPF_BGR_888 (R, G, B), IPF_ABGR_8888
_INVALID_IMAGE = -10069

Point = namedtuple("Point", "x y")


class Position(namedtuple("Position", "top_left top_right bottom_right bottom_left")):
    """The four corners of a code, clockwise on screen, in pixels."""


class Barcode(namedtuple("Barcode", "format text bytes position")):
    """One code read: its symbology, its text, its bytes and where it lies."""


def _layout(image):
    """(bytes-like, width, height, stride, pixel format) of an array or a PIL image;
    None for anything else."""
    if hasattr(image, "__array_interface__") and hasattr(image, "dtype"):  # NumPy
        import numpy
        if image.dtype != numpy.uint8 or image.ndim not in (2, 3) or (
                image.ndim == 3 and image.shape[2] not in (1, 3, 4)):
            raise NorvaneError(_INVALID_IMAGE, "expected a uint8 array of H x W, H x W x 3 "
                               "(RGB) or H x W x 4 (RGBA), not %s %s" % (image.dtype, image.shape))
        array = numpy.ascontiguousarray(image)
        channels = 1 if array.ndim == 2 else array.shape[2]
        kind = {1: _GREY, 3: _RGB, 4: _RGBA}[channels]
        return array, array.shape[1], array.shape[0], array.shape[1] * channels, kind
    if hasattr(image, "mode") and hasattr(image, "tobytes") and hasattr(image, "size"):  # PIL
        if image.mode not in ("L", "RGB", "RGBA"):
            image = image.convert("RGBA" if "A" in image.mode else "RGB")
        channels = {"L": 1, "RGB": 3, "RGBA": 4}[image.mode]
        width, height = image.size
        return (image.tobytes(), width, height, width * channels,
                {1: _GREY, 3: _RGB, 4: _RGBA}[channels])
    return None


def _barcodes(result):
    barcodes = []
    for i in range(result.findingCount):
        finding = result.findings[i]
        data = C.string_at(finding.bytes, finding.bytesLength) if finding.bytesLength else b""
        corners = [Point(finding.x[c], finding.y[c]) for c in range(4)]
        barcodes.append(Barcode(finding.format.decode("utf-8", "replace"),
                                finding.text.decode("utf-8", "replace"), data,
                                Position(*corners)))
    return barcodes


class Reader:
    """A recognition module loaded once for many images.

        with norvane.Reader(formats=["QRCode"]) as reader:
            for path in paths:
                print(reader.read(path))
    """

    def __init__(self, module="barcode", formats=None, fast=False, workers=2, module_options=None):
        lib = router()
        if isinstance(formats, str):
            formats = [formats]
        options = TXP_RTR_ReaderOptions(
            ",".join(formats or []).encode(), int(bool(fast)), int(workers),
            module_options.encode() if module_options else None, 0)
        handle, message = C.c_void_p(), C.c_void_p()
        code = lib.TXP_RTR_CreateReader(str(module).encode(), C.byref(options), C.byref(handle),
                                        C.byref(message))
        if code != 0:
            text = C.string_at(message.value).decode("utf-8", "replace") if message else None
            if message:
                lib.TQ_DeleteCharArray(C.byref(message))
            raise NorvaneError(code, text)
        self._lib = lib
        self._handle = handle
        self._state = threading.Condition()
        self._calls = 0

    def read(self, image):
        """The codes in `image`, as a list of Barcode."""
        with self._state:
            if self._handle is None:
                raise NorvaneError(-10002, "the reader is closed")
            self._calls += 1
            handle = self._handle
        try:
            return self._read(handle, image)
        finally:
            with self._state:
                self._calls -= 1
                self._state.notify_all()

    def _read(self, handle, image):
        lib, result = self._lib, C.POINTER(TXP_RTR_Result)()
        if isinstance(image, (str, os.PathLike)):
            code = lib.TXP_RTR_ReadFile(handle, os.fsencode(image), C.byref(result))
        elif isinstance(image, (bytes, bytearray, memoryview)):
            data = bytes(image)
            code = lib.TXP_RTR_ReadEncoded(handle, data, len(data), C.byref(result))
        else:
            layout = _layout(image)
            if layout is None:
                raise NorvaneError(_INVALID_IMAGE, "cannot read a %s: give a NumPy array, a PIL "
                                   "image, encoded bytes or a path" % type(image).__name__)
            pixels, width, height, stride, kind = layout
            buffer = (C.c_ubyte * len(memoryview(pixels).cast("B"))).from_buffer_copy(pixels) \
                if isinstance(pixels, bytes) else pixels.ctypes.data_as(C.POINTER(C.c_ubyte))
            record = TXP_ImageData()
            record.bytesLength = stride * height
            record.bytes = C.cast(buffer, C.POINTER(C.c_ubyte))
            record.width, record.height, record.stride, record.format = width, height, stride, kind
            code = lib.TXP_RTR_ReadImage(handle, C.byref(record), C.byref(result))
        if code != 0:
            raise NorvaneError(code)
        try:
            return _barcodes(result.contents)
        finally:
            lib.TXP_RTR_FreeResult(result)

    def close(self):
        """Waits for the reads in flight, then frees the module; safe to call twice."""
        with self._state:
            handle, self._handle = self._handle, None
            while self._calls > 0:
                self._state.wait()
        if handle is not None:
            self._lib.TXP_RTR_DestroyReader(handle)

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        if getattr(self, "_handle", None) is not None:
            self.close()


_readers = {}
_readers_lock = threading.Lock()


def read_barcodes(image, formats=None, fast=False, module="barcode"):
    """The codes in one image, as a list of Barcode (format, text, bytes, position).

    `image`: a NumPy array (uint8; grey, RGB or RGBA), a PIL image, encoded PNG/JPEG/
    WebP bytes or a path. `formats`: symbology names to report (e.g. ["QRCode",
    "EAN-13"]), all by default. The module is loaded on first use and kept."""
    if isinstance(formats, str):
        formats = [formats]
    key = (module, tuple(formats or ()), bool(fast))
    with _readers_lock:
        reader = _readers.get(key)
        if reader is None:
            reader = _readers[key] = Reader(module, list(key[1]), fast)
    return reader.read(image)


@atexit.register
def _close_readers():
    with _readers_lock:
        readers = list(_readers.values())
        _readers.clear()
    for reader in readers:
        reader.close()
