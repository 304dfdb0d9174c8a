#!/usr/bin/python3
"""One call per image, norvane.read_barcodes against zxingcpp.read_barcodes (Debian's
python3-zxing-cpp), on the same images in the same run: files read by the samples'
scoring rule, and wall and CPU time per image of each.

usage: scripts/python-compare.py [DIR]   (default ../shared/barcode-samples)

Both get the same input, a NumPy array decoded once with PIL (grey for both: the
decoders work on luminance). zxingcpp runs its single-symbol read_barcode (its
several-symbol read_barcodes aborts on many of these images) with its defaults (try
harder, rotations, all formats), in a child process that is restarted after a file
that aborts it (counted as not read); norvane with its defaults. Run it with Debian's
/usr/bin/python3 and the library built in build/ (or NORVANE_LIBRARY)."""
import os
import json
import re
import subprocess
import sys
import time

import numpy
from PIL import Image

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "python"))
sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
import norvane  # noqa: E402
import zxingcpp  # noqa: E402
from sample_scoring import read_ok  # noqa: E402


def load(path):
    return numpy.asarray(Image.open(path).convert("L"))


def zxing_worker(paths):
    """Child process: one JSON line per path, with the codes and the CPU time spent."""
    for path in paths:
        array = load(path)
        cpu = time.process_time()
        result = zxingcpp.read_barcode(array)
        cpu = time.process_time() - cpu
        codes = [(str(result.format).split(".")[-1], result.text)] if result is not None else []
        print(json.dumps({"codes": codes, "cpu": cpu}), flush=True)


def read_with_zxing(images):
    """The codes of each image and the summed CPU seconds, restarting the child after
    an abort."""
    results, cpu, at = [], 0.0, 0
    while at < len(images):
        child = subprocess.run([sys.executable, __file__, "--zxing-worker"] +
                               [path for path, _, _ in images[at:]],
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               universal_newlines=True)
        lines = child.stdout.splitlines()
        for line in lines:
            entry = json.loads(line)
            results.append([tuple(c) for c in entry["codes"]])
            cpu += entry["cpu"]
        at += len(lines)
        if child.returncode != 0 and at < len(images):
            print("zxingcpp aborted on " + images[at][0])
            results.append([])
            at += 1
    return results, cpu


def main():
    if sys.argv[1:2] == ["--zxing-worker"]:
        zxing_worker(sys.argv[2:])
        return
    root = sys.argv[1] if len(sys.argv) > 1 else os.path.join(
        os.path.dirname(os.path.abspath(__file__)), "..", "..", "shared", "barcode-samples")
    images = []
    for folder, _, names in sorted(os.walk(root)):
        for name in sorted(names):
            if name.lower().endswith((".png", ".jpg", ".jpeg", ".pgm", ".webp")):
                path = os.path.join(folder, name)
                txt = os.path.splitext(path)[0] + ".txt"
                expected = open(txt, encoding="utf-8", errors="replace").read() \
                    if os.path.exists(txt) else None
                images.append((path, load(path), expected))
    print("%d images from %s" % (len(images), root))
    wall = time.perf_counter()
    results, cpu = read_with_zxing(images)
    wall = time.perf_counter() - wall  # includes starting the child and decoding PNGs
    ok = sum(read_ok(expected, codes) for (_, _, expected), codes in zip(images, results))
    print("%-24s %3d of %d files read, %.2f ms CPU per image in the call (%.2f ms wall "
          "per image with the child's start and its own PNG decoding)" %
          ("zxingcpp.read_barcode", ok, len(images), 1000 * cpu / len(images),
           1000 * wall / len(images)))
    for fast in (False, True):
        norvane.read_barcodes(images[0][1], fast=fast)  # loads the module outside the clock
        ok, wall, cpu = 0, time.perf_counter(), time.process_time()
        for _, array, expected in images:
            codes = norvane.read_barcodes(array, fast=fast)
            ok += read_ok(expected, [(c.format, c.text) for c in codes])
        wall, cpu = time.perf_counter() - wall, time.process_time() - cpu
        print("%-24s %3d of %d files read, %.2f ms CPU per image in the call, %.2f ms wall "
              "(2 workers)" % ("norvane.read_barcodes" + (", fast" if fast else ""), ok,
                               len(images), 1000 * cpu / len(images), 1000 * wall / len(images)))


if __name__ == "__main__":
    main()
