"""Finds libNorvaneCore and libNorvaneRouter and declares the C functions the package
calls.

The core library is loaded once, on first use, from (in this order) the path in the
environment variable NORVANE_LIBRARY, the installed system library, or a build tree
of the source tree this package is imported from. The router library, loaded after
it, comes from NORVANE_ROUTER_LIBRARY, else from beside the core library that was
named (in its folder or, in a build tree, its router/ folder), else the installed
one, else a build tree."""
import ctypes as C
import glob
import os
import threading

SONAME = "libNorvaneCore.so.1"

_lock = threading.Lock()
_library = None


class TXP_Rect(C.Structure):
    _pack_ = 1
    _fields_ = [("left", C.c_int), ("top", C.c_int), ("right", C.c_int), ("bottom", C.c_int)]


class TXP_ImageTag(C.Structure):
    _pack_ = 1
    _fields_ = [("type", C.c_int), ("imageId", C.c_int), ("imageCaptureDistanceMode", C.c_int),
                ("filePath", C.c_char_p), ("pageNumber", C.c_int), ("totalPages", C.c_int),
                ("videoFrameQuality", C.c_int), ("isCropped", C.c_int),
                ("cropRegion", C.POINTER(TXP_Rect)), ("originalWidth", C.c_int),
                ("originalHeight", C.c_int)]


class TXP_ImageData(C.Structure):
    _pack_ = 1


RELEASE_FUNC = C.CFUNCTYPE(None, C.POINTER(TXP_ImageData), C.c_void_p)
TXP_ImageData._fields_ = [("bytesLength", C.c_ulonglong), ("bytes", C.POINTER(C.c_ubyte)),
                          ("width", C.c_int), ("height", C.c_int), ("stride", C.c_int),
                          ("format", C.c_int), ("orientation", C.c_int),
                          ("tag", C.POINTER(TXP_ImageTag)), ("userData", C.c_void_p),
                          ("release", RELEASE_FUNC)]


class TXP_ImageSourceAdapterHandle(C.Structure):
    _pack_ = 1
    _fields_ = [("reserved", C.c_int), ("adapter", C.c_void_p)]


HAS_NEXT_FUNC = C.CFUNCTYPE(C.c_bool, C.c_void_p)
FETCHING_FUNC = C.CFUNCTYPE(None, C.c_void_p)
# Declared as returning an address: ctypes cannot return a structure pointer from a
# Python callback.
GET_IMAGE_FUNC = C.CFUNCTYPE(C.c_void_p, C.c_void_p)

_P = C.c_void_p
_RECORD = C.POINTER(TXP_ImageData)
_SIGNATURES = {
    "TQ_GetLibVersion": (C.c_char_p,),
    "TC_GetErrorString": (C.c_char_p, C.c_int),
    "TXP_CreateImageData": (_RECORD, C.c_ulonglong, _P, C.c_int, C.c_int, C.c_int, C.c_int,
                            C.c_int, C.POINTER(TXP_ImageTag), _P, RELEASE_FUNC),
    "TXP_DestoryImageData": (None, _RECORD),
    "TXP_ISA_CreateBaseImageSourceAdapter": (C.POINTER(TXP_ImageSourceAdapterHandle),
                                             HAS_NEXT_FUNC, _P),
    "TXP_ISA_DestroyBaseImageSourceAdapter": (None, C.POINTER(TXP_ImageSourceAdapterHandle)),
    "TXP_ISA_SetBaseImageSourceAdapterFunc": (None, _P, FETCHING_FUNC, _P, FETCHING_FUNC, _P, _P,
                                              _P, GET_IMAGE_FUNC, _P, HAS_NEXT_FUNC, _P),
    "TXP_ISA_HasImage": (C.c_bool, _P, C.c_int),
    "TXP_ISA_SetNextImageToReturn": (C.c_bool, _P, C.c_int, C.c_int),
    "TXP_ISA_IsBufferEmpty": (C.c_bool, _P),
    "TXP_ISA_HasNextImageToFetch": (C.c_bool, _P),
    "TXP_ISA_GetImage": (_RECORD, _P),
    "TXP_ISA_NativeGetImage": (_RECORD, _P),
    "TXP_ISA_AddImageToBuffer": (C.c_int, _P, _RECORD),
}
for _name in ("GetMaxImageCount", "GetImageCount", "ClearBuffer", "GetColourChannelUsageType",
              "GetBufferOverflowProtectionMode", "StartFetching", "StopFetching",
              "NativeStartFetching", "NativeStopFetching"):
    _SIGNATURES["TXP_ISA_" + _name] = (C.c_int, _P)
for _name in ("SetMaxImageCount", "SetColourChannelUsageType",
              "SetBufferOverflowProtectionMode"):
    _SIGNATURES["TXP_ISA_" + _name] = (C.c_int, _P, C.c_int)


def _candidates():
    path = os.environ.get("NORVANE_LIBRARY")
    if path:
        return [path]  # named explicitly: nothing else is tried
    found = [SONAME]
    source_tree = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    for tree in ["build"] + sorted(os.path.basename(p) for p in
                                   glob.glob(os.path.join(source_tree, "build-*"))):
        found.append(os.path.join(source_tree, tree, SONAME))
    return found


def _load(candidates, signatures, what):
    """The first of `candidates` that loads, with `signatures` declared."""
    errors = []
    for candidate in candidates:
        try:
            lib = C.CDLL(candidate)
            break
        except OSError as error:
            errors.append(str(error))
    else:
        raise OSError(what + " not found: " + "; ".join(errors))
    for name, (restype, *argtypes) in signatures.items():
        function = getattr(lib, name)
        function.restype = restype
        function.argtypes = argtypes
    return lib


def library():
    """The loaded library with its functions declared; OSError when it is not found."""
    global _library
    with _lock:
        if _library is None:
            _library = _load(_candidates(), _SIGNATURES,
                             "libNorvaneCore (set NORVANE_LIBRARY to its path)")
        return _library

ROUTER_SONAME = "libNorvaneRouter.so.1"
_router = None


class TXP_RTR_ReaderOptions(C.Structure):
    _pack_ = 1
    _fields_ = [("formats", C.c_char_p), ("fast", C.c_int), ("workers", C.c_int),
                ("moduleOptions", C.c_char_p), ("dropOldest", C.c_int)]


class TXP_RTR_Finding(C.Structure):
    _pack_ = 1
    _fields_ = [("format", C.c_char_p), ("text", C.c_char_p), ("bytes", C.POINTER(C.c_ubyte)),
                ("bytesLength", C.c_int), ("x", C.c_int * 4), ("y", C.c_int * 4)]


class TXP_RTR_Result(C.Structure):
    _pack_ = 1
    _fields_ = [("imageId", C.c_int), ("errorCode", C.c_int), ("milliseconds", C.c_double),
                ("findingCount", C.c_int), ("findings", C.POINTER(TXP_RTR_Finding))]


_RESULT = C.POINTER(C.POINTER(TXP_RTR_Result))
_ROUTER_SIGNATURES = {
    "TXP_RTR_CreateReader": (C.c_int, C.c_char_p, C.POINTER(TXP_RTR_ReaderOptions),
                             C.POINTER(_P), C.POINTER(C.c_void_p)),
    "TXP_RTR_DestroyReader": (None, _P),
    "TXP_RTR_ReadImage": (C.c_int, _P, _RECORD, _RESULT),
    "TXP_RTR_ReadFile": (C.c_int, _P, C.c_char_p, _RESULT),
    "TXP_RTR_ReadEncoded": (C.c_int, _P, _P, C.c_ulonglong, _RESULT),
    "TXP_RTR_FreeResult": (None, C.POINTER(TXP_RTR_Result)),
    "TXP_RTR_GetAvailableModules": (C.c_void_p,),
    "TQ_DeleteCharArray": (None, C.POINTER(C.c_void_p)),
}


def _router_candidates():
    path = os.environ.get("NORVANE_ROUTER_LIBRARY")
    if path:
        return [path]
    found = []
    core = os.environ.get("NORVANE_LIBRARY")
    if core:
        folder = os.path.dirname(os.path.abspath(core))
        found += [os.path.join(folder, ROUTER_SONAME),
                  os.path.join(folder, "router", ROUTER_SONAME)]
    found.append(ROUTER_SONAME)
    source_tree = os.path.dirname(os.path.dirname(os.path.dirname(os.path.abspath(__file__))))
    for tree in ["build"] + sorted(os.path.basename(p) for p in
                                   glob.glob(os.path.join(source_tree, "build-*"))):
        found.append(os.path.join(source_tree, tree, "router", ROUTER_SONAME))
    return found


def router():
    """The loaded router library with its functions declared; OSError when it is not
    found."""
    global _router
    library()  # the core first: the router uses the same one
    with _lock:
        if _router is None:
            candidates = [c for c in _router_candidates()
                          if os.path.sep not in c or os.path.exists(c)]
            _router = _load(candidates, _ROUTER_SIGNATURES,
                            "libNorvaneRouter (set NORVANE_ROUTER_LIBRARY to its path)")
        return _router
