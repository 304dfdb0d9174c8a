"""norvane.read_barcodes and norvane.Reader on the project's own samples: every kind
of input gives the expected text, bad input raises NorvaneError with the library's
code, and a Reader shared by threads survives being closed under them."""
import os
import threading
import unittest

import numpy

import norvane

DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "barcodes")
SAMPLES = ["qrcode-2/4", "ean13-1/10", "code128-1/5", "datamatrix-1/readerinit",
           "pdf417-1/13-readerinit"]


def reduced(text):
    return "".join(c for c in text.upper() if c.isascii() and c.isalnum())


def inputs(path):
    """The same image in every form read_barcodes takes."""
    from PIL import Image
    picture = Image.open(path)
    with open(path, "rb") as f:
        encoded = f.read()
    rgb = numpy.asarray(picture.convert("RGB"))
    padded = numpy.zeros((rgb.shape[0], rgb.shape[1] + 3, 3), numpy.uint8)
    padded[:, :rgb.shape[1]] = rgb
    return {"path": path, "bytes": encoded, "memoryview": memoryview(encoded), "PIL": picture,
            "grey": numpy.asarray(picture.convert("L")), "RGB": rgb,
            "RGBA": numpy.asarray(picture.convert("RGBA")),
            "rows with padding": padded[:, :rgb.shape[1]]}


class ReadBarcodesTest(unittest.TestCase):
    def test_every_input_kind_reads_the_expected_text(self):
        for sample in SAMPLES:
            with open(os.path.join(DATA, sample + ".txt"), encoding="utf-8") as f:
                want = reduced(f.read())
            for kind, image in inputs(os.path.join(DATA, sample + ".png")).items():
                with self.subTest(sample=sample, kind=kind):
                    codes = norvane.read_barcodes(image)
                    self.assertIn(want, [reduced(code.text) for code in codes])
                    code = codes[0]
                    self.assertEqual(code.bytes, code.text.encode())
                    self.assertEqual(len(code.position), 4)
        false_positive = os.path.join(DATA, "falsepositives-1", "#570.png")
        self.assertEqual(norvane.read_barcodes(false_positive), [])
        # Only the formats asked for.
        ean = os.path.join(DATA, "ean13-1", "10.png")
        self.assertEqual(norvane.read_barcodes(ean, formats=["QRCode"]), [])
        self.assertEqual([c.format for c in norvane.read_barcodes(ean, formats="ean_13")],
                         ["EAN-13"])

    def test_bad_input_raises_the_library_code(self):
        cases = [(numpy.zeros((8, 8), numpy.float32), -10069),
                 (numpy.zeros((8, 8, 2), numpy.uint8), -10069),
                 (numpy.zeros((0, 8), numpy.uint8), -10069),
                 (object(), -10069),
                 (b"not an image", -10012),
                 (os.path.join(DATA, "missing.png"), -10005)]
        for image, code in cases:
            with self.subTest(code=code):
                with self.assertRaises(norvane.NorvaneError) as caught:
                    norvane.read_barcodes(image)
                self.assertEqual(caught.exception.code, code)
        for kwargs, code in (({"formats": ["NoSuchCode"]}, -30009),
                             ({"module": "nothere"}, -10065),
                             ({"workers": 65}, -10038)):
            with self.subTest(**{k: str(v) for k, v in kwargs.items()}):
                with self.assertRaises(norvane.NorvaneError) as caught:
                    norvane.Reader(**kwargs)
                self.assertEqual(caught.exception.code, code)

    def test_reader_closed_under_reading_threads(self):
        path = os.path.join(DATA, "qrcode-2", "4.png")
        reader = norvane.Reader(formats=["QRCode"])
        outcomes, started = [], threading.Barrier(5)

        def read():
            started.wait()
            for _ in range(20):
                try:
                    outcomes.append(reader.read(path)[0].text)
                except norvane.NorvaneError as error:
                    outcomes.append(error.code)
                    return

        threads = [threading.Thread(target=read) for _ in range(4)]
        for thread in threads:
            thread.start()
        started.wait()
        reader.close()
        reader.close()
        for thread in threads:
            thread.join()
        self.assertTrue(all(o == -10002 or reduced(o).startswith("HTTP") for o in outcomes))
        with self.assertRaises(norvane.NorvaneError):
            reader.read(path)


if __name__ == "__main__":
    unittest.main()
