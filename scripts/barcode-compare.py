#!/usr/bin/python3
"""The barcode module against the decoders alone, on the same image files, scored by
one rule (sample_scoring.py): files read, CPU seconds (user + system, image file
decoding included) and wall seconds of

  - the decoder alone (build/bench/barcode/decoder_alone: its single-symbol call with
    its default hints, in one process, started again only after a file it aborts on);
  - zbarimg alone (Debian's zbar-tools, its defaults, all files in one process);
  - norvane-capture --module barcode with 1 and 2 workers;

each over RUNS runs (figures of each run, files read once), then per folder the files
each reads that the others do not.

usage: scripts/barcode-compare.py DIR [RUNS]   (scripts/barcode-compare.sh builds first)"""
import collections
import json
import os
import re
import resource
import subprocess
import sys
import time
import xml.etree.ElementTree as ET

sys.path.insert(0, os.path.dirname(os.path.abspath(__file__)))
from sample_scoring import read_ok  # noqa: E402

ROOT = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..")
DECODER = os.path.join(ROOT, "build", "bench", "barcode", "decoder_alone")
CAPTURE = os.path.join(ROOT, "build", "apps", "norvane-capture", "norvane-capture")
IMAGE = re.compile(r"\.(png|jpe?g|pgm|ppm|webp)$", re.I)


def children_cpu():
    usage = resource.getrusage(resource.RUSAGE_CHILDREN)
    return usage.ru_utime + usage.ru_stime


def json_codes(stdout):
    """{file: [(format, text)]} from JSON Lines with "file" and "barcodes"."""
    found = {}
    for line in stdout.splitlines():
        entry = json.loads(line)
        found[entry["file"]] = [(c["format"], c["text"]) for c in entry.get("barcodes", [])]
    return found


def run_decoder(files):
    found, at, aborted = {}, 0, []
    while at < len(files):
        child = subprocess.run([DECODER, "-"], input="\n".join(files[at:]) + "\n",
                               stdout=subprocess.PIPE, stderr=subprocess.DEVNULL,
                               universal_newlines=True)
        done = json_codes(child.stdout)
        found.update(done)
        at += len(done)
        if child.returncode != 0 and at < len(files):
            aborted.append(files[at])
            found[files[at]] = []
            at += 1
    return found, aborted


def run_zbar(files):
    child = subprocess.run(["zbarimg", "--xml", "-q"] + files, stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL, universal_newlines=True)
    found = {path: [] for path in files}
    namespace = {"z": "http://zbar.sourceforge.net/2008/barcode"}
    for source in ET.fromstring(child.stdout).findall("z:source", namespace):
        found[source.get("href")] = [(symbol.get("type"), symbol.find("z:data", namespace).text or "")
                                     for symbol in source.iter("{%s}symbol" % namespace["z"])]
    return found, []


def run_capture(files, workers):
    child = subprocess.run([CAPTURE, "--module", "barcode", "--json", "--workers", str(workers),
                            "-"], input="\n".join(files) + "\n", stdout=subprocess.PIPE,
                           stderr=subprocess.DEVNULL, universal_newlines=True)
    return json_codes(child.stdout), []


def main():
    if len(sys.argv) not in (2, 3) or not os.path.isdir(sys.argv[1]):
        print(__doc__, file=sys.stderr)
        return 2
    root, runs = os.path.abspath(sys.argv[1]), int(sys.argv[2]) if len(sys.argv) > 2 else 3
    files = sorted(os.path.join(d, f) for d, _, names in os.walk(root) for f in names
                   if IMAGE.search(f))
    expected = {}
    for path in files:
        txt = os.path.splitext(path)[0] + ".txt"
        expected[path] = open(txt, encoding="utf-8", errors="replace").read() \
            if os.path.exists(txt) else None
    readers = [("decoder alone (ZXing-cpp 1.4)", run_decoder),
               ("zbarimg alone (ZBar 0.23)", run_zbar),
               ("module, 1 worker", lambda f: run_capture(f, 1)),
               ("module, 2 workers", lambda f: run_capture(f, 2))]
    print("%d files in %s, %d runs each" % (len(files), root, runs))
    print("%-30s %10s %22s %22s" % ("reader", "files read", "CPU s (each run)", "wall s (each run)"))
    read_by = {}
    for name, run in readers:
        cpus, walls = [], []
        for _ in range(runs):
            cpu, wall = children_cpu(), time.perf_counter()
            found, aborted = run(files)
            walls.append(time.perf_counter() - wall)
            cpus.append(children_cpu() - cpu)
        read_by[name] = {p for p in files if read_ok(expected[p], found.get(p, []))}
        print("%-30s %10d %22s %22s%s" % (
            name, len(read_by[name]), " / ".join("%.2f" % c for c in cpus),
            " / ".join("%.2f" % w for w in walls),
            ", aborted on " + ", ".join(os.path.relpath(a, root) for a in aborted) if aborted else ""))
    names = [name for name, _ in readers]
    module = names[2]
    print("\nper folder: files read by each; the module's gains and losses against the others")
    folders = collections.OrderedDict()
    for path in files:
        folders.setdefault(os.path.relpath(os.path.dirname(path), root), []).append(path)
    print("%-26s %5s %s %s" % ("folder", "files", " ".join("%8s" % n.split()[0][:8] for n in names),
                               "  module only / others only"))
    for folder, paths in folders.items():
        counts = [sum(p in read_by[n] for p in paths) for n in names]
        others = set().union(*(read_by[n] for n in names[:2]))
        gained = sum(p in read_by[module] and p not in others for p in paths)
        lost = sum(p in others and p not in read_by[module] for p in paths)
        if len(set(counts)) > 1 or gained or lost:
            print("%-26s %5d %s   +%d / -%d" % (folder, len(paths),
                                               " ".join("%8d" % c for c in counts), gained, lost))
    return 0


if __name__ == "__main__":
    sys.exit(main())
