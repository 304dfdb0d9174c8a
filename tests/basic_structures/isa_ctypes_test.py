#!/usr/bin/env python3
"""Drives the image-source adapter's C interface from Python through ctypes, as a
language binding would: null handles, callbacks, ownership of records, pixels."""
import ctypes as C
import sys
import unittest

LIB = None
NULL_POINTER = -10002


class ImageTag(C.Structure):
    _pack_ = 1
    _fields_ = [("type", C.c_int), ("imageId", C.c_int), ("imageCaptureDistanceMode", C.c_int),
                ("filePath", C.c_char_p), ("pageNumber", C.c_int), ("totalPages", C.c_int),
                ("videoFrameQuality", C.c_int), ("isCropped", C.c_int),
                ("cropRegion", C.c_void_p), ("originalWidth", C.c_int),
                ("originalHeight", C.c_int)]


class ImageData(C.Structure):
    _pack_ = 1


RELEASE = C.CFUNCTYPE(None, C.POINTER(ImageData), C.c_void_p)
ImageData._fields_ = [("bytesLength", C.c_ulonglong), ("bytes", C.POINTER(C.c_ubyte)),
                      ("width", C.c_int), ("height", C.c_int), ("stride", C.c_int),
                      ("format", C.c_int), ("orientation", C.c_int),
                      ("tag", C.POINTER(ImageTag)), ("userData", C.c_void_p),
                      ("release", RELEASE)]


class Handle(C.Structure):
    _pack_ = 1
    _fields_ = [("reserved", C.c_int), ("adapter", C.c_void_p)]


HAS_NEXT = C.CFUNCTYPE(C.c_bool, C.c_void_p)
FETCHING = C.CFUNCTYPE(None, C.c_void_p)
GET_IMAGE = C.CFUNCTYPE(C.c_void_p, C.c_void_p)  # returns the record's address

INT_FUNCS = ["GetMaxImageCount", "GetImageCount", "ClearBuffer", "GetColourChannelUsageType",
             "GetBufferOverflowProtectionMode", "StartFetching", "StopFetching",
             "NativeStartFetching", "NativeStopFetching"]
INT_SETTERS = ["SetMaxImageCount", "SetColourChannelUsageType",
               "SetBufferOverflowProtectionMode"]
BOOL_FUNCS = ["IsBufferEmpty", "HasNextImageToFetch"]


def declare(lib):
    def fn(name, restype, *argtypes):
        f = getattr(lib, name)
        f.restype = restype
        f.argtypes = list(argtypes)
    P = C.c_void_p
    fn("TXP_CreateImageData", C.POINTER(ImageData), C.c_ulonglong, C.c_void_p, C.c_int, C.c_int,
       C.c_int, C.c_int, C.c_int, C.POINTER(ImageTag), C.c_void_p, RELEASE)
    fn("TXP_ISA_CreateBaseImageSourceAdapter", C.POINTER(Handle), HAS_NEXT, P)
    fn("TXP_ISA_DestroyBaseImageSourceAdapter", None, C.POINTER(Handle))
    fn("TXP_ISA_SetBaseImageSourceAdapterFunc", None, P, FETCHING, P, FETCHING, P, P, P,
       GET_IMAGE, P, HAS_NEXT, P)
    for name in INT_FUNCS:
        fn("TXP_ISA_" + name, C.c_int, P)
    for name in INT_SETTERS:
        fn("TXP_ISA_" + name, C.c_int, P, C.c_int)
    for name in BOOL_FUNCS:
        fn("TXP_ISA_" + name, C.c_bool, P)
    fn("TXP_ISA_HasImage", C.c_bool, P, C.c_int)
    fn("TXP_ISA_SetNextImageToReturn", C.c_bool, P, C.c_int, C.c_int)
    fn("TXP_ISA_GetImage", C.POINTER(ImageData), P)
    fn("TXP_ISA_NativeGetImage", C.POINTER(ImageData), P)
    fn("TXP_ISA_AddImageToBuffer", C.c_int, P, C.POINTER(ImageData))
    fn("TXP_ISA_NativeAddImageToBuffer", C.c_int, P, C.POINTER(ImageData))
    fn("TXP_ISA_SetErrorListener", None, P, P)


def pixels_of(record):
    r = record.contents
    return bytes(r.bytes[:r.bytesLength])


class Released:
    """A release callback that counts its calls per user-data value and frees the
    record with the library."""

    def __init__(self):
        self.calls = {}
        self.func = RELEASE(self._release)

    def _release(self, record, user_data):
        self.calls[user_data] = self.calls.get(user_data, 0) + 1
        LIB.TXP_DestoryImageData(record)


class IsaCtypesTest(unittest.TestCase):
    def setUp(self):
        self.has_next_cb = HAS_NEXT(lambda _: True)
        self.handle = LIB.TXP_ISA_CreateBaseImageSourceAdapter(self.has_next_cb, None)
        self.assertTrue(self.handle)
        self.assertEqual(self.handle.contents.reserved, 0)
        self.adapter = self.handle.contents.adapter
        self.keep = []  # buffers and tags that must outlive their records

    def tearDown(self):
        LIB.TXP_ISA_DestroyBaseImageSourceAdapter(self.handle)

    def make_record(self, data, width, image_id, release=None, user_data=None, tag=None):
        buf = (C.c_ubyte * len(data)).from_buffer_copy(data)
        if tag is None:
            tag = ImageTag(type=0, imageId=image_id, filePath=b"page.png", pageNumber=1,
                           totalPages=2)
        self.keep += [buf, tag]
        return LIB.TXP_CreateImageData(len(data), buf, width, len(data) // width, width, 2, 0,
                                       C.pointer(tag), user_data,
                                       release if release is not None else RELEASE())

    def test_null_adapter_answers(self):
        for name in INT_FUNCS:
            self.assertEqual(getattr(LIB, "TXP_ISA_" + name)(None), NULL_POINTER, name)
        for name in INT_SETTERS:
            self.assertEqual(getattr(LIB, "TXP_ISA_" + name)(None, 1), NULL_POINTER, name)
        for name in BOOL_FUNCS:
            self.assertFalse(getattr(LIB, "TXP_ISA_" + name)(None), name)
        self.assertFalse(LIB.TXP_ISA_HasImage(None, 1))
        self.assertFalse(LIB.TXP_ISA_SetNextImageToReturn(None, 1, 1))
        self.assertFalse(LIB.TXP_ISA_GetImage(None))
        self.assertFalse(LIB.TXP_ISA_NativeGetImage(None))
        released = Released()
        record = self.make_record(b"\x01\x02", 2, 1, released.func, 5)
        self.assertEqual(LIB.TXP_ISA_AddImageToBuffer(None, record), NULL_POINTER)
        self.assertEqual(LIB.TXP_ISA_NativeAddImageToBuffer(None, record), NULL_POINTER)
        self.assertEqual(LIB.TXP_ISA_AddImageToBuffer(self.adapter, None), NULL_POINTER)
        self.assertEqual(released.calls, {})  # a refused record stays with the caller
        record.contents.release(record, record.contents.userData)
        LIB.TXP_ISA_SetBaseImageSourceAdapterFunc(None, FETCHING(), None, FETCHING(), None, None,
                                                  None, GET_IMAGE(), None, HAS_NEXT(), None)
        LIB.TXP_ISA_SetErrorListener(None, None)
        LIB.TXP_ISA_DestroyBaseImageSourceAdapter(None)
        self.assertFalse(LIB.TXP_ISA_CreateBaseImageSourceAdapter(HAS_NEXT(), None))

    def test_buffer_round_trip_keeps_pixels_and_releases_once(self):
        a = self.adapter
        self.assertEqual(LIB.TXP_ISA_GetMaxImageCount(a), 1)
        self.assertEqual(LIB.TXP_ISA_GetBufferOverflowProtectionMode(a), 1)
        self.assertEqual(LIB.TXP_ISA_SetMaxImageCount(a, 5), 0)
        self.assertEqual(LIB.TXP_ISA_StartFetching(a), 0)
        self.assertTrue(LIB.TXP_ISA_IsBufferEmpty(a))
        released = Released()
        frames = {}
        for image_id in range(1, 4):
            data = bytes((image_id * 37 + i * 11) % 256 for i in range(6 * 4))
            frames[image_id] = data
            record = self.make_record(data, 6, image_id, released.func, 100 + image_id)
            add = LIB.TXP_ISA_NativeAddImageToBuffer if image_id == 2 else \
                LIB.TXP_ISA_AddImageToBuffer
            self.assertEqual(add(a, record), 0)
            self.assertEqual(released.calls.get(100 + image_id), 1)
        self.assertEqual(LIB.TXP_ISA_GetImageCount(a), 3)
        self.assertTrue(LIB.TXP_ISA_HasImage(a, 2))
        self.assertFalse(LIB.TXP_ISA_HasImage(a, 9))

        # A record with the default release function is freed by the library; its
        # bytes stay with the caller, untouched.
        data = bytes(range(8))
        record = self.make_record(data, 4, 4)
        self.assertEqual(LIB.TXP_ISA_AddImageToBuffer(a, record), 0)
        self.assertEqual(bytes(self.keep[-2]), data)
        frames[4] = data

        self.assertTrue(LIB.TXP_ISA_SetNextImageToReturn(a, 3, 0))
        got = []
        while True:
            record = LIB.TXP_ISA_GetImage(a)
            if not record:
                break
            r = record.contents
            image_id = r.tag.contents.imageId
            got.append(image_id)
            self.assertEqual(pixels_of(record), frames[image_id])
            self.assertEqual(r.width * r.height, len(frames[image_id]))
            self.assertEqual(r.tag.contents.filePath, b"page.png")
            r.release(record, r.userData)
        self.assertEqual(got, [4, 2, 1, 3])
        self.assertEqual(released.calls, {101: 1, 102: 1, 103: 1})

    def test_callbacks_replace_and_native_calls_bypass(self):
        a = self.adapter
        calls = {"start": 0, "stop": 0}
        released = Released()
        queue = []

        def get_image(_):
            if not queue:
                return None
            return C.cast(queue.pop(), C.c_void_p).value

        start = FETCHING(lambda _: calls.__setitem__("start", calls["start"] + 1))
        stop = FETCHING(lambda _: calls.__setitem__("stop", calls["stop"] + 1))
        get = GET_IMAGE(get_image)
        has_next = HAS_NEXT(lambda _: False)
        LIB.TXP_ISA_SetBaseImageSourceAdapterFunc(a, start, None, stop, None, None, None, get,
                                                  None, has_next, None)
        self.assertFalse(LIB.TXP_ISA_HasNextImageToFetch(a))
        self.assertEqual(LIB.TXP_ISA_StartFetching(a), 0)
        self.assertEqual(LIB.TXP_ISA_StopFetching(a), 0)
        self.assertEqual(calls, {"start": 1, "stop": 1})

        # The callbacks started nothing: the buffer still refuses images.
        self.assertEqual(LIB.TXP_ISA_AddImageToBuffer(a, self.make_record(b"xy", 2, 1)), 0)
        self.assertTrue(LIB.TXP_ISA_IsBufferEmpty(a))
        LIB.TXP_ISA_NativeStartFetching(a)
        self.assertEqual(LIB.TXP_ISA_AddImageToBuffer(a, self.make_record(b"zw", 2, 2)), 0)
        self.assertEqual(calls, {"start": 1, "stop": 1})

        # GetImage asks the callback; its record is copied and released once.
        queue.append(self.make_record(b"\x10\x20\x30\x40", 2, 7, released.func, 77))
        record = LIB.TXP_ISA_GetImage(a)
        self.assertEqual(pixels_of(record), b"\x10\x20\x30\x40")
        self.assertEqual(record.contents.tag.contents.imageId, 7)
        self.assertEqual(released.calls, {77: 1})
        record.contents.release(record, record.contents.userData)
        self.assertFalse(LIB.TXP_ISA_GetImage(a))

        # The native call reaches the buffer behind the callback.
        record = LIB.TXP_ISA_NativeGetImage(a)
        self.assertEqual(pixels_of(record), b"zw")
        record.contents.release(record, record.contents.userData)
        LIB.TXP_ISA_NativeStopFetching(a)
        self.assertEqual(calls, {"start": 1, "stop": 1})


if __name__ == "__main__":
    LIB = C.CDLL(sys.argv.pop(1))
    declare(LIB)
    LIB.TXP_DestoryImageData.restype = None
    LIB.TXP_DestoryImageData.argtypes = [C.POINTER(ImageData)]
    unittest.main()
