"""The norvane Python package against the shared library: version, errors, callbacks,
producer threads, pixel conversion (checked against a plain-Python oracle)."""
import os
import random
import threading
import unittest

import norvane
from norvane import ColourChannelUsage, Image, ImageTag, NorvaneError, PixelFormat

try:
    import numpy
except ImportError:
    numpy = None


def grey_of(b, g, r):  # the library's weights, computed independently
    return (19562 * r + 38550 * g + 7424 * b) >> 16


class VersionAndErrors(unittest.TestCase):
    def test_versions_agree(self):
        self.assertEqual(norvane.__version__, norvane.library_version())
        self.assertEqual(norvane.__version__, os.environ["NORVANE_EXPECTED_VERSION"])

    def test_errors_carry_code_and_message(self):
        self.assertEqual(norvane.error_string(-10026), "Operation timeout.")
        self.assertEqual(norvane.error_string(12345), "Unknown error.")
        adapter = norvane.ImageSourceAdapter()
        adapter.close()
        adapter.close()
        for action in (lambda: adapter.image_count, adapter.start_fetching,
                       lambda: adapter.add_image(Image(b"\0", 1, 1, 1))):
            with self.assertRaises(NorvaneError) as caught:
                action()
            self.assertEqual((caught.exception.code, caught.exception.message),
                             (-10002, "Null pointer."))
        for fmt, stride, size, code in ((16, 4, 16, -10071), (2, 3, 16, -10069),
                                        (2, 4, 15, -10070), (PixelFormat.NV21, 4, 23, -10070)):
            with self.assertRaises(NorvaneError) as caught:
                norvane.convert(Image(bytes(size), 4, 4, stride, fmt), ColourChannelUsage.AUTO)
            self.assertEqual(caught.exception.code, code)


class Callbacks(unittest.TestCase):
    def test_callbacks_replace_and_native_calls_bypass(self):
        calls, queue = [], [Image(b"\x10\x20\x30\x40", 2, 2, 2, tag=ImageTag(image_id=7))]
        adapter = norvane.ImageSourceAdapter(
            has_next=lambda: bool(queue), on_start=lambda: calls.append("start"),
            on_stop=lambda: calls.append("stop"), get_image=lambda: queue.pop() if queue else None)
        with adapter:
            self.assertTrue(adapter.has_next_image_to_fetch())
            adapter.start_fetching()
            got = adapter.get_image()
            self.assertEqual((got.data, got.tag.image_id), (b"\x10\x20\x30\x40", 7))
            self.assertIsNone(adapter.get_image())
            self.assertFalse(adapter.has_next_image_to_fetch())
            adapter.native_start_fetching()  # the buffer behind the callbacks
            adapter.add_image(Image(b"zw", 2, 1, 2, tag=ImageTag(image_id=3, file_path="a.png")))
            self.assertTrue(adapter.has_image(3))
            self.assertIsNone(adapter.get_image())  # the callback answers, not the buffer
            got = adapter.native_get_image()
            self.assertEqual((got.data, got.tag.file_path), (b"zw", "a.png"))
            adapter.stop_fetching()
            self.assertEqual(calls, ["start", "stop"])

    def test_callback_exception_reaches_the_caller(self):
        def broken():
            raise KeyError("camera")
        with norvane.ImageSourceAdapter(get_image=broken) as adapter:
            with self.assertRaises(KeyError):
                adapter.get_image()
            self.assertIsNone(adapter.native_get_image())


class ProducerThreads(unittest.TestCase):
    def test_blocking_producers_lose_nothing(self):
        producers, per_producer = 4, 50
        received = []
        with norvane.ImageSourceAdapter() as adapter:
            adapter.max_image_count = 3
            adapter.overflow_mode = 0  # producers wait for room
            adapter.start_fetching()

            def produce(first):
                for image_id in range(first, first + per_producer):
                    pixels = bytes((image_id * 7 + i) % 256 for i in range(12))
                    adapter.add_image(Image(memoryview(pixels), 4, 3, 4,
                                            tag=ImageTag(image_id=image_id)))
            threads = [threading.Thread(target=produce, args=(p * per_producer,))
                       for p in range(producers)]
            for thread in threads:
                thread.start()
            while len(received) < producers * per_producer:
                image = adapter.get_image()
                if image is not None:
                    received.append(image)
            for thread in threads:
                thread.join()
            self.assertTrue(adapter.is_buffer_empty)
        self.assertEqual(sorted(i.tag.image_id for i in received),
                         list(range(producers * per_producer)))
        for image in received:
            self.assertEqual(image.data, bytes((image.tag.image_id * 7 + i) % 256
                                               for i in range(12)))


class CountingLibrary:
    """The library with its adapter destructions counted, as an adapter's _lib."""

    def __init__(self, lib):
        self._lib, self.destroyed = lib, 0

    def __getattr__(self, name):
        if name == "TXP_ISA_DestroyBaseImageSourceAdapter":
            self.destroyed += 1
        return getattr(self._lib, name)


class ThreadedClose(unittest.TestCase):
    """close() against calls on other threads, other closes, producers waiting for room
    and callbacks; run under AddressSanitizer too (CTest python_threaded_close_asan)."""

    def _race(self, workers, rounds):
        """Closes each of `rounds` adapters while `workers` threads call it and as many
        close it too. Every call made after the close raises NorvaneError(-10002);
        nothing else is raised, and each adapter is destroyed once."""
        for _ in range(rounds):
            adapter = norvane.ImageSourceAdapter()
            counted = adapter._lib = CountingLibrary(adapter._lib)
            adapter.max_image_count = 2
            adapter.overflow_mode = 0  # producers may be waiting for room at the close
            adapter.start_fetching()
            calling = threading.Event()  # set once the workers are well under way
            outcomes = []

            def call_until_closed(index):
                calls = [lambda: adapter.add_image(Image(bytes(12), 4, 3, 4)),
                         adapter.get_image, lambda: adapter.image_count]
                try:
                    for turn in range(1000000):
                        calls[(index + turn) % len(calls)]()
                        if turn == 200:
                            calling.set()
                except NorvaneError as error:
                    outcomes.append(error.code)

            def close():
                calling.wait()
                adapter.close()

            threads = ([threading.Thread(target=call_until_closed, args=(i,))
                        for i in range(workers)] +
                       [threading.Thread(target=close) for _ in range(workers)])
            for thread in threads:
                thread.start()
            calling.wait()
            adapter.close()
            for thread in threads:
                thread.join()
            self.assertEqual(outcomes, [-10002] * workers)
            self.assertEqual(counted.destroyed, 1)

    def test_close_waits_for_calls_on_other_threads_and_runs_once(self):
        self._race(workers=3, rounds=30)

    def test_close_from_a_callback_is_done_when_the_call_returns(self):
        adapter = None

        def closing_callback():
            adapter.close()  # cannot wait for the call it runs in
            with self.assertRaises(NorvaneError):
                adapter.image_count  # refused from the moment of the close
            return Image(b"\x01", 1, 1, 1)

        adapter = norvane.ImageSourceAdapter(get_image=closing_callback)
        counted = adapter._lib = CountingLibrary(adapter._lib)
        self.assertEqual(adapter.get_image().data, b"\x01")
        self.assertEqual(counted.destroyed, 1)
        with self.assertRaises(NorvaneError) as caught:
            adapter.get_image()
        self.assertEqual(caught.exception.code, -10002)
        adapter.close()
        self.assertEqual(counted.destroyed, 1)


class Conversion(unittest.TestCase):
    def test_grey_and_colour_against_oracle(self):
        rng = random.Random(18)
        for width, height in ((1, 1), (3, 2), (17, 5)):
            stride = width * 3 + rng.randrange(3)
            data = bytes(rng.randrange(256) for _ in range(stride * height))
            grey = norvane.convert(Image(data, width, height, stride, PixelFormat.RGB_888),
                                   ColourChannelUsage.LUMINANCE_ONLY)
            expected = bytes(grey_of(*data[y * stride + 3 * x:y * stride + 3 * x + 3])
                             for y in range(height) for x in range(width))
            self.assertEqual((grey.format, grey.stride, grey.data),
                             (PixelFormat.GRAYSCALE, width, expected))
            colour = norvane.convert(grey, ColourChannelUsage.FULL_COLOUR)
            self.assertEqual(colour.data, bytes(v for v in expected for _ in range(3)))

    @unittest.skipIf(numpy is None, "python3-numpy is not installed")
    def test_numpy_in_and_out(self):
        pixels = numpy.random.default_rng(18).integers(0, 256, (6, 5, 3), dtype=numpy.uint8)
        grey = norvane.convert(Image.from_array(pixels[:, ::-1]),
                               ColourChannelUsage.LUMINANCE_ONLY).to_array()
        b, g, r = (pixels[:, ::-1, c].astype(numpy.int64) for c in range(3))
        numpy.testing.assert_array_equal(grey, grey_of(b, g, r))


if __name__ == "__main__":
    unittest.main()
