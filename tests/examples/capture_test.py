#!/usr/bin/env python3
"""End-to-end checks of norvane-capture, run through the built program.

usage: capture_test.py CASE WORKDIR [EMULATOR ARGS...] PROGRAM
CASE is one of: default, timeout, input (the label detector), barcode, barcode-input,
barcode-timeout (the barcode reader). The program's command line is the emulator (if
any) followed by PROGRAM.
"""
import json
import os
import re
import shutil
import struct
import subprocess
import sys
import zlib

PNG_SIGNATURE = b"\x89PNG\r\n\x1a\n"
LABELS = ["--module", "labels"]
# Synthetic codes the barcode reader may miss, of about 90: see the README's quick start.
MISSED_SYNTHETIC = 12
DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "barcodes")


def fail(message):
    print("FAIL: " + message)
    sys.exit(1)


def check(condition, message):
    if not condition:
        fail(message)


def run(command, args):
    result = subprocess.run(command + args, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            universal_newlines=True)
    print("$ " + " ".join(command + args))
    print(result.stdout[-4000:])
    print(result.stderr[-4000:], file=sys.stderr)
    return result


def summary_numbers(text):
    match = re.search(r"summary: frames (\d+), \w+ found (\d+), time-outs (\d+), task errors "
                      r"(\d+), unreadable files (\d+), dropped (\d+), units (\d+)", text)
    check(match is not None, "no summary line")
    keys = ["frames", "labels", "timeouts", "errors", "unreadable", "dropped", "units"]
    return dict(zip(keys, (int(v) for v in match.groups())))


def time_figures(text):
    """Wall seconds, pixel-work seconds, workers and the two shares of the time line."""
    match = re.search(r"^time: ([\d.]+) s wall, detector pixel work ([\d.]+) s CPU in (\d+) "
                      r"workers? \(([\d.]+)% of their wall time, ([\d.]+)% outside it\), "
                      r"router ([\d.]+) ms CPU per frame", text, re.M)
    check(match is not None, "no time line")
    wall, pixel, workers, inside, outside, router = (float(v) for v in match.groups())
    # CPU time spent inside the run's threads cannot exceed their wall time.
    check(0 < wall and 0 <= pixel <= workers * wall + 0.002,
          "pixel work %.3f s in %d workers over %.3f s" % (pixel, workers, wall))
    check(abs(inside + outside - 100) < 0.15, "shares do not add up: %s" % match.group(0))
    check(abs(inside - 100 * pixel / (workers * wall)) < 0.5, "inside share: " + match.group(0))
    return {"wall": wall, "pixel": pixel, "workers": int(workers), "outside": outside,
            "router": router}


def png_size(path):
    """Width and height from a PNG's IHDR, after checking the signature and its CRC."""
    with open(path, "rb") as f:
        data = f.read()
    check(data[:8] == PNG_SIGNATURE, path + ": not a PNG signature")
    length, kind = struct.unpack(">I4s", data[8:16])
    check(kind == b"IHDR" and length == 13, path + ": no IHDR chunk first")
    body = data[16:16 + length]
    crc, = struct.unpack(">I", data[16 + length:20 + length])
    check(zlib.crc32(kind + body) & 0xFFFFFFFF == crc, path + ": IHDR CRC mismatch")
    check(data.rstrip(b"\0").endswith(b"IEND\xaeB`\x82"), path + ": no IEND chunk at the end")
    return struct.unpack(">II", body[:8])


def write_png(path, width, height, pixel):
    """An 8-bit grey PNG whose pixel (x, y) is pixel(x, y)."""
    raw = b"".join(b"\0" + bytes(pixel(x, y) for x in range(width)) for y in range(height))

    def chunk(kind, body):
        return (struct.pack(">I", len(body)) + kind + body +
                struct.pack(">I", zlib.crc32(kind + body) & 0xFFFFFFFF))

    with open(path, "wb") as f:
        f.write(PNG_SIGNATURE + chunk(b"IHDR", struct.pack(">IIBBBBB", width, height, 8, 0, 0, 0, 0))
                + chunk(b"IDAT", zlib.compress(raw)) + chunk(b"IEND", b""))


def box_iou(a, b):
    """IoU of two axis-aligned boxes (x0, y0, x1, y1)."""
    ix = max(0, min(a[2], b[2]) - max(a[0], b[0]))
    iy = max(0, min(a[3], b[3]) - max(a[1], b[1]))
    inter = ix * iy
    union = (a[2] - a[0]) * (a[3] - a[1]) + (b[2] - b[0]) * (b[3] - b[1]) - inter
    return inter / union


def case_default(workdir, program):
    logs = os.path.join(workdir, "logs")
    result = run(program, LABELS + ["--log-dir", logs])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    numbers = summary_numbers(result.stdout)
    check(numbers["frames"] == 24, "not 24 frames")
    check(numbers["timeouts"] == 0 and numbers["errors"] == 0, "time-outs or task errors")
    truth = re.search(r"ground truth: (\d+) of (\d+) labels read", result.stdout)
    check(truth is not None, "no ground-truth line")
    found, total = int(truth.group(1)), int(truth.group(2))
    check(total >= 24 and found == total, "found %d of %d labels" % (found, total))
    check(re.search(r"ground truth: .*, 0 extra", result.stdout) is not None, "extra labels")
    figures = time_figures(result.stdout)
    check(figures["workers"] == 2 and figures["pixel"] > 0, "time line of two workers")
    frame_lines = re.findall(r"^frame +(\d+): ", result.stdout, re.M)
    check(sorted(int(f) for f in frame_lines) == list(range(24)), "frame lines are not 0..23 once")

    # Text log: each unit appended, taken, started and ended once.
    with open(os.path.join(logs, "NorvaneKestrel.log")) as f:
        text = f.read()
    events = {}
    for kind, label in re.findall(r"TaskPriorityInfo (AppendTask|TakeTask|TaskStart|TaskEnd): (.*)$",
                                  text, re.M):
        events.setdefault(label, {}).setdefault(kind, 0)
        events[label][kind] += 1
    appended = sum(e.get("AppendTask", 0) for e in events.values())
    check(appended == numbers["units"], "%d AppendTask lines for %d units" % (appended, numbers["units"]))
    for label, counts in events.items():
        check(re.match(r"\[SourceId:.+\]\[TargetROI:(frame|label)\]\[Task:(localize|measure)\]"
                       r"\[Priority:\d+\]$", label) is not None, "bad unit label " + label)
        check(len(set(counts.get(k, 0) for k in ("AppendTask", "TakeTask", "TaskStart", "TaskEnd")))
              == 1, "unbalanced lines for " + label + ": " + str(counts))
    check(re.search(r"^\[TID: *\d+\]\[\d{4}/\d\d/\d\d \d\d:\d\d:\d\d\]TaskPriorityInfo", text, re.M),
          "text log lines lack their prefix")

    # JSON log: one entry per frame, label counts matching the summary.
    with open(os.path.join(logs, "NorvaneTRX.log")) as f:
        frames = json.load(f)
    check(sorted(frame["imageId"] for frame in frames) == list(range(24)), "JSON log frames")
    check(sum(len(frame["labels"]) for frame in frames) == numbers["labels"], "JSON log labels")
    check(len(set(frame["hashId"] for frame in frames)) == 24, "hash ids not distinct")
    for frame in frames:
        check(frame["errorCode"] == 0, "JSON log error code")
        for label in frame["labels"]:
            check(len(label["quad"]) == 4 and label["area"] > 0 and 0 <= label["angle"] < 180,
                  "JSON log label " + str(label))
            check(120 < label["darkness"] < 240, "darkness of a dark label " + str(label))

    # One worker finds exactly what two found: results do not depend on scheduling.
    single = run(program, LABELS + ["--workers", "1", "--json"])
    check(single.returncode == 0, "one worker: exit code %d" % single.returncode)
    quads = lambda frame: sorted(label["quad"] for label in frame["labels"])
    alone = {frame["imageId"]: quads(frame) for frame in json.loads(single.stdout)}
    check(alone == {frame["imageId"]: quads(frame) for frame in frames},
          "one worker found other labels than two")

    # A detector that skips its pixel work finds nothing and reports no pixel time.
    idle = run(program, LABELS + ["--frames", "6", "--module-options", "noop"])
    check(idle.returncode == 0, "noop: exit code %d" % idle.returncode)
    numbers = summary_numbers(idle.stdout)
    check(numbers["frames"] == 6 and numbers["labels"] == 0 and numbers["units"] == 6,
          "noop: frames, labels or units")
    figures = time_figures(idle.stdout)
    check(figures["pixel"] == 0 and figures["outside"] == 100, "noop: pixel time reported")

    # Image logs: a valid PNG per frame in both layers.
    for layer in ("localize", "measure"):
        names = sorted(os.listdir(os.path.join(logs, layer)))
        check(names == ["frame_%04d.png" % i for i in range(24)], layer + " image logs: " + str(names))
        for name in names:
            check(png_size(os.path.join(logs, layer, name)) == (1280, 720), name + " size")


def case_timeout(workdir, program):
    # Every "localize" waits at its check-points far longer than one tick, and no
    # image may see a tick: each one times out, and the run still ends.
    result = run(program, LABELS + ["--timeout-ticks", "0", "--tick-ms", "1", "--json",
                           "--module-options", "delay-ms=20000"])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    frames = json.loads(result.stdout)
    numbers = summary_numbers(result.stderr)
    check(numbers["frames"] == 24 and numbers["timeouts"] == 24, "not 24 timed-out frames")
    check(numbers["dropped"] == 0 and numbers["units"] == 24, "frames or units lost")
    check(sorted(frame["imageId"] for frame in frames) == list(range(24)), "frames not accounted for")
    for frame in frames:
        check(frame["errorCode"] == -10026, "error code %d" % frame["errorCode"])
        check(frame["errorString"] == "Operation timeout.", "error text " + frame["errorString"])
        check(frame["labels"] == [], "labels on a timed-out frame")


    # Dropping the oldest buffered image under a slow detector: every frame is either
    # processed once or counted as dropped.
    dropping = run(program, LABELS + ["--drop-oldest", "--json", "--module-options", "delay-ms=5"])
    check(dropping.returncode == 0, "--drop-oldest: exit code %d" % dropping.returncode)
    numbers = summary_numbers(dropping.stderr)
    ids = [frame["imageId"] for frame in json.loads(dropping.stdout)]
    check(len(ids) == len(set(ids)) == numbers["frames"], "--drop-oldest: frames " + str(ids))
    check(numbers["frames"] + numbers["dropped"] == 24 and numbers["timeouts"] == 0,
          "--drop-oldest: frames not accounted for")
    check(re.search(r"ground truth: (\d+) of \1 labels read", dropping.stderr) is not None,
          "--drop-oldest: labels of processed frames missed")


def case_input(workdir, program):
    images = os.path.join(workdir, "images")
    shutil.rmtree(images, ignore_errors=True)
    os.makedirs(os.path.join(images, "more"))
    boxes = {}
    for i, box in enumerate([(20, 30, 120, 80), (200, 100, 300, 190), (50, 150, 250, 180)]):
        name = os.path.join(images, "label%d.png" % i)
        write_png(name, 320, 240, lambda x, y, b=box: 40 if b[0] <= x < b[2] and b[1] <= y < b[3]
                  else 200 + (x * 7 + y * 13) % 9)
        boxes[name] = box
    pgm = os.path.join(images, "more", "label.pgm")
    with open(pgm, "wb") as f:
        f.write(b"P5\n64 48\n255\n" + bytes(30 if 10 <= x < 40 and 8 <= y < 30 else 210
                                             for y in range(48) for x in range(64)))
    boxes[pgm] = (10, 8, 40, 30)
    with open(os.path.join(images, "broken.png"), "wb") as f:
        f.write(PNG_SIGNATURE + b"not really a picture")
    with open(os.path.join(images, "notes.txt"), "w") as f:
        f.write("not an image\n")

    result = run(program, LABELS + ["--input", images, "--json", "--workers", "1"])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    numbers = summary_numbers(result.stderr)
    check(numbers["frames"] == 4 and numbers["unreadable"] == 1, "frames or unreadable count")
    check("broken.png" in result.stderr, "the unreadable file is not named")
    frames = json.loads(result.stdout)
    check(sorted(frame["file"] for frame in frames) == sorted(boxes), "files " + str(frames))
    for frame in frames:
        check(len(frame["labels"]) == 1, frame["file"] + ": not one label")
        quad = frame["labels"][0]["quad"]
        xs, ys = [p[0] for p in quad], [p[1] for p in quad]
        iou = box_iou((min(xs), min(ys), max(xs), max(ys)), boxes[frame["file"]])
        check(iou >= 0.8, "%s: IoU %.3f" % (frame["file"], iou))

    # Without its module beside it the program says so and stops.
    alone = os.path.join(workdir, "alone")
    os.makedirs(alone)
    shutil.copy(program[-1], alone)
    bad = run(program[:-1] + [os.path.join(alone, os.path.basename(program[-1]))], [])
    check(bad.returncode != 0 and "cannot load the module library" in bad.stderr,
          "missing module: " + bad.stderr)

    # Mistakes a user can make: one message, a non-zero exit.
    for args, words in ((["--input", os.path.join(workdir, "missing")], "not found"),
                        (["--workers", "many"], "bad value"),
                        (["--module-options", "sideways"], "bad options"),
                        (["--frobnicate"], "unknown option")):
        bad = run(program, LABELS + args)
        check(bad.returncode != 0, " ".join(args) + " exited 0")
        check(words in bad.stderr and len(bad.stderr.strip().splitlines()) == 1,
              " ".join(args) + ": message " + bad.stderr)


def reduced(text):
    return "".join(c for c in text.upper() if c.isascii() and c.isalnum())


def case_barcode(workdir, program):
    # The default run: synthetic frames with codes of mixed symbologies, each read
    # with its text where it lies.
    logs = os.path.join(workdir, "logs")
    result = run(program, ["--log-dir", logs])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    numbers = summary_numbers(result.stdout)
    check(numbers["frames"] == 24 and numbers["timeouts"] == 0, "frames or time-outs")
    truth = re.search(r"ground truth: (\d+) of (\d+) codes read \(IoU >= 0.5\), (\d+) extra",
                      result.stdout)
    check(truth is not None, "no ground-truth line")
    read, total, extra = (int(v) for v in truth.groups())
    check(total >= 24 and read >= total - MISSED_SYNTHETIC, "read %d of %d codes" % (read, total))
    with open(os.path.join(logs, "NorvaneTRX.log")) as f:
        frames = json.load(f)
    check(sorted(frame["imageId"] for frame in frames) == list(range(24)), "JSON log frames")
    for frame in frames:
        check("file" not in frame, "a synthetic frame has a file")
        for code in frame["barcodes"]:
            check(code["text"] and code["format"] and len(code["quad"]) == 4, "code " + str(code))
    for layer in ("whole", "locate", "decode"):
        names = sorted(os.listdir(os.path.join(logs, layer)))
        check(names == ["frame_%04d.png" % i for i in range(24)], layer + " image logs")


def case_barcode_input(workdir, program):
    # Real samples of every symbology the decoder reads, with their expected texts; a
    # false-positive image gives nothing, and the image on which the decoder aborts
    # when it tries hard on the whole image does not end the run.
    result = run(program, ["--input", DATA, "--json", "--by-folder"])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    frames = json.loads(result.stdout)
    files = sorted(os.path.relpath(frame["file"], DATA) for frame in frames)
    expected = sorted(os.path.relpath(os.path.join(d, f), DATA) for d, _, names in os.walk(DATA)
                      for f in names if f.endswith(".png"))
    check(files == expected, "files " + str(files))
    for frame in frames:
        name = os.path.relpath(frame["file"], DATA)
        texts = [code["text"] for code in frame["barcodes"]]
        want = os.path.splitext(frame["file"])[0] + ".txt"
        if not os.path.exists(want):
            check(texts == [], name + ": read " + str(texts))
            continue
        with open(want, encoding="utf-8", errors="replace") as f:
            target = reduced(f.read())
        # Codabar and UPC-E may be written in other forms; the program's summary line
        # below scores them.
        check(any(reduced(code["text"]) == target or code["format"] in ("Codabar", "UPC-E")
                  for code in frame["barcodes"]), name + ": read " + str(texts))
        check(frame["errorCode"] == 0, name + ": error code")
    check(re.search(r"^ground truth: %d of %d files read$" % (len(files), len(files)),
                    result.stderr, re.M), "ground-truth line")
    check(re.search(r"^  rss14-1 +2 +2$", result.stderr, re.M), "per-folder table")


def case_barcode_timeout(workdir, program):
    # No image may see a tick: the tasks' check-points end them with -10026 and the
    # run goes on to its end.
    result = run(program, ["--timeout-ticks", "0", "--tick-ms", "1", "--json", "--frames", "12"])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    frames = json.loads(result.stdout)
    check(sorted(frame["imageId"] for frame in frames) == list(range(12)), "frames lost")
    timed_out = [frame for frame in frames if frame["errorCode"] == -10026]
    check(timed_out, "no frame timed out")
    check(summary_numbers(result.stderr)["timeouts"] == len(timed_out), "time-out count")


def main():
    case, workdir, program = sys.argv[1], sys.argv[2], sys.argv[3:]
    shutil.rmtree(workdir, ignore_errors=True)
    os.makedirs(workdir)
    {"default": case_default, "timeout": case_timeout, "input": case_input,
     "barcode": case_barcode, "barcode-input": case_barcode_input,
     "barcode-timeout": case_barcode_timeout}[case](workdir, program)
    print("PASS")


if __name__ == "__main__":
    main()
