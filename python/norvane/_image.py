"""Error type, pixel formats, and the image record as Python values."""
import ctypes as C
from dataclasses import dataclass
from typing import Optional, Tuple

from . import _native

try:
    import numpy
except ImportError:  # NumPy is optional
    numpy = None


def error_string(code):
    """The library's message of an error code ("Unknown error." for unknown codes)."""
    return _native.library().TC_GetErrorString(int(code)).decode()


def library_version():
    """The loaded library's version, "major.minor.patch.build"."""
    return _native.library().TQ_GetLibVersion().decode()


class NorvaneError(Exception):
    """A failure reported by the library: `code` (negative) and its `message`."""

    def __init__(self, code, message=None):
        self.code = int(code)
        self.message = message if message is not None else error_string(self.code)
        super().__init__("%s (%d)" % (self.message, self.code))


def check(code):
    """Raises NorvaneError for a negative code; returns the code otherwise."""
    if code < 0:
        raise NorvaneError(code)
    return code


class PixelFormat:
    """ImagePixelFormat values. Colour bytes are in memory order: RGB_888 is B, G, R."""
    BINARY, BINARY_INVERTED, GRAYSCALE, NV21, RGB_565, RGB_555, RGB_888, ARGB_8888 = range(8)
    RGB_161616, ARGB_16161616, ABGR_8888, ABGR_16161616, BGR_888, BINARY_8 = range(8, 14)
    NV12, BINARY_8_INVERTED = 14, 15


class ColourChannelUsage:
    """What the adapter converts images to when they are taken out."""
    AUTO, FULL_COLOUR, LUMINANCE_ONLY = 0, 1, 2


_BITS = [1, 1, 8, 8, 16, 16, 24, 32, 48, 64, 32, 64, 24, 8, 8, 8]
_YUV = (PixelFormat.NV21, PixelFormat.NV12)
_CHANNELS = {1: PixelFormat.GRAYSCALE, 3: PixelFormat.RGB_888, 4: PixelFormat.ARGB_8888}


def validate(width, height, stride, fmt, length):
    """Raises NorvaneError with the code the library gives an image of this geometry."""
    if not 0 <= fmt < len(_BITS):
        raise NorvaneError(-10071)
    row = width + (width & 1) if fmt in _YUV else (width * _BITS[fmt] + 7) // 8
    if width < 1 or height < 1 or stride < row:
        raise NorvaneError(-10069)
    rows = height + (height + 1) // 2 if fmt in _YUV else height
    if length < stride * rows:
        raise NorvaneError(-10070)


@dataclass
class ImageTag:
    """Where an image came from: type 0 a file page, type 1 a video frame."""
    type: int = 0
    image_id: int = -1
    capture_distance_mode: int = 0
    file_path: Optional[str] = None
    page_number: int = 0
    total_pages: int = 0
    video_frame_quality: int = 0
    is_cropped: bool = False
    crop_region: Optional[Tuple[int, int, int, int]] = None  # left, top, right, bottom
    original_width: int = 0
    original_height: int = 0

    def to_record(self, keep):
        """A C tag record; what it points at is appended to `keep`."""
        rect = None
        if self.crop_region is not None:
            rect = _native.TXP_Rect(*self.crop_region)
            keep.append(rect)
        path = self.file_path.encode() if self.file_path is not None else None
        record = _native.TXP_ImageTag(
            self.type, self.image_id, self.capture_distance_mode, path, self.page_number,
            self.total_pages, self.video_frame_quality, int(self.is_cropped),
            C.pointer(rect) if rect is not None else None, self.original_width,
            self.original_height)
        keep.append(record)
        return record

    @classmethod
    def from_record(cls, r):
        crop = r.cropRegion.contents if r.cropRegion else None
        return cls(r.type, r.imageId, r.imageCaptureDistanceMode,
                   r.filePath.decode() if r.filePath is not None else None, r.pageNumber,
                   r.totalPages, r.videoFrameQuality, bool(r.isCropped),
                   (crop.left, crop.top, crop.right, crop.bottom) if crop else None,
                   r.originalWidth, r.originalHeight)


@dataclass
class Image:
    """An image the Python way: its pixel bytes (copied out of the library), geometry,
    format and tag. `data` may be bytes, a memoryview or anything with the buffer
    protocol; `Image.from_array` builds one from a NumPy array."""
    data: object
    width: int
    height: int
    stride: int
    format: int = PixelFormat.GRAYSCALE
    orientation: int = 0
    tag: Optional[ImageTag] = None

    @classmethod
    def from_array(cls, array, fmt=None, tag=None):
        """From a 2-D (grey) or 3-D (h, w, 3 or 4 channels of bytes) NumPy array."""
        array = numpy.ascontiguousarray(array, dtype=numpy.uint8)
        channels = 1 if array.ndim == 2 else array.shape[2]
        if fmt is None:
            fmt = _CHANNELS[channels]
        height, width = array.shape[:2]
        return cls(array, width, height, width * channels, fmt, 0, tag)

    def to_array(self):
        """The pixels as a (height, width[, channels]) NumPy array of bytes, for formats
        of whole bytes per pixel."""
        bits = _BITS[self.format]
        if numpy is None or bits % 8 or self.format in _YUV:
            raise ValueError("no array form for pixel format %d" % self.format)
        rows = numpy.frombuffer(self.data, dtype=numpy.uint8)[:self.stride * self.height]
        rows = rows.reshape(self.height, self.stride)[:, :self.width * bits // 8]
        pixels = rows.reshape(self.height, self.width, bits // 8)
        return pixels[:, :, 0] if bits == 8 else pixels

    def to_record(self, keep):
        """A C record without a release function (the library frees the record itself);
        the buffers it points at are appended to `keep`, which must outlive it."""
        view = memoryview(self.data).cast("B")
        if view.readonly:
            buffer = (C.c_ubyte * len(view)).from_buffer_copy(view)
        else:
            buffer = (C.c_ubyte * len(view)).from_buffer(view)
        keep.append(buffer)
        tag = C.pointer(self.tag.to_record(keep)) if self.tag is not None else None
        record = _native.library().TXP_CreateImageData(
            len(view), C.cast(buffer, C.c_void_p), self.width, self.height, self.stride,
            self.format, self.orientation, tag, None, _native.RELEASE_FUNC())
        if not record:
            raise NorvaneError(-10001)
        return record

    @classmethod
    def from_record(cls, record):
        """A copy of what a C record holds; the record is not released here."""
        r = record.contents
        data = C.string_at(r.bytes, r.bytesLength) if r.bytes else b""
        tag = ImageTag.from_record(r.tag.contents) if r.tag else None
        return cls(data, r.width, r.height, r.stride, r.format, r.orientation, tag)
