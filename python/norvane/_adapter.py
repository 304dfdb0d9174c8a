"""The image-source adapter of the C interface as a Python class."""
import ctypes as C
import threading

from . import _native
from ._image import ColourChannelUsage, Image, NorvaneError, check, validate


class ImageSourceAdapter:
    """A bounded, thread-safe image buffer owned by the library. Producers call
    add_image from any thread; a consumer calls get_image (newest first).

    The four callbacks stand for the C callbacks: `has_next()` -> bool answers
    has_next_image_to_fetch (True when not given); `on_start()` and `on_stop()` replace
    start_fetching and stop_fetching, and `get_image()` -> Image or None replaces
    taking images from the buffer (when not given, the buffer's own behaviour
    applies). An exception in a callback is raised again by the adapter call that ran
    it. The native_* methods bypass the callbacks.

    Use it as a context manager, or call close(); a closed adapter raises
    NorvaneError (-10002) on every call.

    Every method may be called from any thread, close() too: it refuses new calls,
    stops fetching (so that producers waiting for room return), waits for the calls
    in flight to return and then destroys the adapter, once. Called from inside a
    call on the same adapter (from one of its callbacks), close() cannot wait for that
    call: it returns at once, and the adapter is destroyed when the last call in
    flight returns."""

    def __init__(self, has_next=None, on_start=None, on_stop=None, get_image=None):
        self._lib = _native.library()
        # Guards _handle, _adapter, _closing and _in_flight; reentrant, so that a
        # callback may call the adapter again.
        self._state = threading.Condition(threading.RLock())
        self._in_flight = 0  # calls between _enter and _leave, on all threads
        self._closing = False
        self._handle, self._adapter = None, None
        self._errors = threading.local()  # per thread: pending callback error, call depth
        self._keep = {}  # records handed to the get_image callback's caller, by address
        self._keep_lock = threading.Lock()
        answer = has_next if has_next is not None else (lambda: True)
        self._has_next = _native.HAS_NEXT_FUNC(self._guard(lambda _: bool(answer()), False))
        self._handle = self._lib.TXP_ISA_CreateBaseImageSourceAdapter(self._has_next, None)
        if not self._handle:
            raise NorvaneError(-10001)
        self._adapter = self._handle.contents.adapter
        wrap = _native.FETCHING_FUNC
        self._start = wrap(self._guard(lambda _: on_start(), None)) if on_start else wrap()
        self._stop = wrap(self._guard(lambda _: on_stop(), None)) if on_stop else wrap()
        self._get = _native.GET_IMAGE_FUNC(self._guard(lambda _: self._produce(get_image()),
                                                       None)) if get_image else \
            _native.GET_IMAGE_FUNC()
        self._release = _native.RELEASE_FUNC(self._released)
        self._lib.TXP_ISA_SetBaseImageSourceAdapterFunc(
            self._adapter, self._start, None, self._stop, None, None, None, self._get, None,
            self._has_next, None)

    # Callbacks run inside library calls: their exceptions wait for the call to return.
    def _guard(self, function, failed):
        def call(user_data):
            try:
                return function(user_data)
            except BaseException as error:  # noqa: B036 - raised again after the call
                self._errors.pending = error
                return failed
        return call

    def _enter(self):
        """Counts a call in flight and returns the adapter; NorvaneError once closing."""
        with self._state:
            if self._closing or self._adapter is None:
                raise NorvaneError(-10002)
            self._in_flight += 1
            self._errors.depth = getattr(self._errors, "depth", 0) + 1
            return self._adapter

    def _leave(self):
        self._errors.depth -= 1
        self._finish_call()

    def _finish_call(self):
        with self._state:
            self._in_flight -= 1
            if self._in_flight == 0 and self._closing:
                self._destroy()

    def _destroy(self):
        """Destroys the adapter unless done; with _state held and no call in flight."""
        if self._handle:
            self._lib.TXP_ISA_DestroyBaseImageSourceAdapter(self._handle)
        self._handle, self._adapter = None, None
        self._state.notify_all()

    def _call(self, name, *args):
        adapter = self._enter()
        try:
            self._errors.pending = None
            result = getattr(self._lib, "TXP_ISA_" + name)(adapter, *args)
            error, self._errors.pending = self._errors.pending, None
        finally:
            self._leave()
        if error is not None:
            raise error
        return check(result) if isinstance(result, int) and not isinstance(result, bool) \
            else result

    def _produce(self, image):
        if image is None:
            return None
        keep = []
        record = image.to_record(keep)
        record.contents.release = self._release
        address = C.addressof(record.contents)
        with self._keep_lock:
            self._keep[address] = keep
        return address

    def _released(self, record, _user_data):
        with self._keep_lock:
            self._keep.pop(C.addressof(record.contents), None)
        self._lib.TXP_DestoryImageData(record)

    def _taken(self, record):
        if not record:
            return None
        try:
            return Image.from_record(record)
        finally:
            record.contents.release(record, record.contents.userData)

    def close(self):
        """Destroys the adapter with its buffered images, once, after the calls in
        flight on other threads have returned. Safe to call twice, from any thread."""
        state = getattr(self, "_state", None)
        if state is None:  # __init__ failed before there was anything to close
            return
        with state:
            if self._adapter is None:
                return
            inside = getattr(self._errors, "depth", 0) > 0
            first, self._closing = not self._closing, True
            adapter = self._adapter
            if first:
                self._in_flight += 1  # the stop below is a call in flight too
        if first:
            # Producers waiting for room would otherwise never return. Called without
            # the state lock: a callback running meanwhile may need it.
            try:
                self._lib.TXP_ISA_NativeStopFetching(adapter)
            finally:
                self._finish_call()
        if inside:
            return  # the last call to return destroys it
        with state:
            while self._in_flight > 0:
                state.wait()
            self._destroy()

    def __enter__(self):
        return self

    def __exit__(self, *exc):
        self.close()

    def __del__(self):
        self.close()

    def add_image(self, image):
        """Buffers a copy of `image` (an Image; the caller's data is not kept)."""
        adapter = self._enter()
        try:
            keep = []
            record = image.to_record(keep)
            code = self._lib.TXP_ISA_AddImageToBuffer(adapter, record)
        finally:
            self._leave()
        if code < 0:
            self._lib.TXP_DestoryImageData(record)  # a refused record stays with the caller
            raise NorvaneError(code)

    def get_image(self):
        """The next image (newest first, or from the get_image callback), or None."""
        return self._taken(self._call("GetImage"))

    def native_get_image(self):
        return self._taken(self._call("NativeGetImage"))

    def start_fetching(self):
        self._call("StartFetching")

    def stop_fetching(self):
        """Stops fetching and releases producers waiting for room."""
        self._call("StopFetching")

    def native_start_fetching(self):
        self._call("NativeStartFetching")

    def native_stop_fetching(self):
        self._call("NativeStopFetching")

    def has_next_image_to_fetch(self):
        return self._call("HasNextImageToFetch")

    def has_image(self, image_id):
        return self._call("HasImage", image_id)

    def set_next_image_to_return(self, image_id, keep_in_buffer=True):
        return self._call("SetNextImageToReturn", image_id, int(keep_in_buffer))

    def clear_buffer(self):
        self._call("ClearBuffer")

    @property
    def image_count(self):
        return self._call("GetImageCount")

    @property
    def is_buffer_empty(self):
        return self._call("IsBufferEmpty")

    @property
    def max_image_count(self):
        return self._call("GetMaxImageCount")

    @max_image_count.setter
    def max_image_count(self, count):
        self._call("SetMaxImageCount", count)

    @property
    def colour_channel_usage(self):
        return self._call("GetColourChannelUsageType")

    @colour_channel_usage.setter
    def colour_channel_usage(self, usage):
        self._call("SetColourChannelUsageType", usage)

    @property
    def overflow_mode(self):
        """0: producers wait while the buffer is full; 1: the oldest image is dropped."""
        return self._call("GetBufferOverflowProtectionMode")

    @overflow_mode.setter
    def overflow_mode(self, mode):
        self._call("SetBufferOverflowProtectionMode", mode)


def convert(image, usage):
    """`image` converted by the library for a ColourChannelUsage (LUMINANCE_ONLY gives
    8-bit grey, FULL_COLOUR 24-bit colour with bytes B, G, R), through an adapter as
    any consumer gets it. NorvaneError for an invalid image."""
    length = len(memoryview(image.data).cast("B"))
    validate(image.width, image.height, image.stride, image.format, length)
    with ImageSourceAdapter() as adapter:
        adapter.colour_channel_usage = usage
        adapter.start_fetching()
        adapter.add_image(image)
        return adapter.get_image()


__all__ = ["ImageSourceAdapter", "convert", "ColourChannelUsage"]
