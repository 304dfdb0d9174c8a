#!/usr/bin/env python3
"""End-to-end checks of norvane-capture, run through the built program.

usage: capture_test.py CASE WORKDIR [EMULATOR ARGS...] PROGRAM
CASE is one of: default, timeout, input, files, odd-files, modules (the label detector),
barcode, barcode-input, barcode-timeout (the barcode reader). The program's command line is the emulator (if
any) followed by PROGRAM.
"""
import collections
import fcntl
import glob
import json
import os
import re
import shutil
import signal
import stat
import struct
import subprocess
import sys

LABELS = ["--module", "labels"]
# Synthetic codes the barcode reader may miss, of about 90: see the README's quick start.
MISSED_SYNTHETIC = 12
DATA = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "barcodes")
JPEG = os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "data", "jpeg")
SUMMARY = ["frames", "items", "timeouts", "errors", "unreadable", "refused", "skipped", "dropped",
           "units"]


def fail(message):
    print("FAIL: " + message)
    sys.exit(1)


def check(condition, message):
    if not condition:
        fail(message)


def run(command, args, timeout=300, cwd=None):
    result = subprocess.run(command + args, stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                            universal_newlines=True, timeout=timeout, cwd=cwd)
    print("$ " + " ".join(command + args))
    print(result.stdout[-4000:])
    print(result.stderr[-4000:], file=sys.stderr)
    return result


def json_lines(text):
    """The objects of a JSON Lines output, one per line."""
    return [json.loads(line) for line in text.splitlines() if line.strip()]


def json_arrays(path):
    """The arrays of a JSON log, in the order the run wrote them."""
    with open(path) as f:
        text = f.read()
    decoder, arrays, at = json.JSONDecoder(), [], 0
    while True:
        while at < len(text) and text[at].isspace():
            at += 1
        if at == len(text):
            return arrays
        array, at = decoder.raw_decode(text, at)
        arrays.append(array)


def json_log(path):
    """The frames of a JSON log."""
    return [frame for array in json_arrays(path) for frame in array]


def summary(text):
    """The counts of the summary line, by the names in SUMMARY."""
    match = re.search(r"summary: frames (\d+), \w+ found (\d+), time-outs (\d+), task errors "
                      r"(\d+), unreadable files (\d+), refused (\d+), skipped (\d+), dropped "
                      r"(\d+), units (\d+)", text)
    check(match is not None, "no summary line")
    return dict(zip(SUMMARY, (int(v) for v in match.groups())))


def ground_truth(text):
    match = re.search(r"ground truth: (\d+) of (\d+) \w+ read(?: \(IoU >= [\d.]+\), (\d+) extra)?",
                      text)
    check(match is not None, "no ground-truth line")
    return [int(v) for v in match.groups() if v is not None]


def write_pgm(path, width, height, pixel):
    with open(path, "wb") as f:
        f.write(b"P5\n%d %d\n255\n" % (width, height) +
                bytes(pixel(x, y) for y in range(height) for x in range(width)))


def png_size(path):
    with open(path, "rb") as f:
        data = f.read(24)
    check(data[:8] == b"\x89PNG\r\n\x1a\n" and data[12:16] == b"IHDR", path + ": not a PNG")
    return struct.unpack(">II", data[16:24])


def case_default(workdir, program):
    logs = os.path.join(workdir, "logs")
    result = run(program, LABELS + ["--log-dir", logs])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    numbers = summary(result.stdout)
    check(numbers["frames"] == 24 and numbers["timeouts"] == 0 and numbers["errors"] == 0,
          "frames, time-outs or task errors")
    found, total, extra = ground_truth(result.stdout)
    check(total >= 24 and found == total and extra == 0, "labels %d of %d" % (found, total))
    shares = re.search(r"\(([\d.]+)% of their wall time, ([\d.]+)% outside it\)", result.stdout)
    check(shares and abs(sum(float(v) for v in shares.groups()) - 100) < 0.15, "time shares")

    # Text log: each unit appended, taken, started and ended once.
    with open(os.path.join(logs, "NorvaneKestrel.log")) as f:
        events = re.findall(r"TaskPriorityInfo (AppendTask|TakeTask|TaskStart|TaskEnd): (.*)$",
                            f.read(), re.M)
    counts = collections.Counter(events)
    check(sum(n for (kind, _), n in counts.items() if kind == "AppendTask") == numbers["units"],
          "AppendTask lines are not one per unit")
    check(all(counts[(kind, label)] == counts[("AppendTask", label)] for _, label in events
              for kind in ("TakeTask", "TaskStart", "TaskEnd")), "unbalanced task log lines")

    # JSON log: one entry per frame, labels as the summary counts them; one worker
    # finds exactly what two found.
    frames = json_log(os.path.join(logs, "NorvaneTRX.log"))
    check(sorted(frame["imageId"] for frame in frames) == list(range(24)), "JSON log frames")
    check(sum(len(frame["labels"]) for frame in frames) == numbers["items"], "JSON log labels")
    single = run(program, LABELS + ["--workers", "1", "--json"])
    quads = lambda frame: sorted(label["quad"] for label in frame["labels"])
    check({frame["imageId"]: quads(frame) for frame in json_lines(single.stdout)} ==
          {frame["imageId"]: quads(frame) for frame in frames}, "one worker found other labels")

    for layer in ("localize", "measure"):
        names = sorted(os.listdir(os.path.join(logs, layer)))
        check(names == ["frame_%04d.png" % i for i in range(24)], layer + " image logs")
        check(all(png_size(os.path.join(logs, layer, n)) == (1280, 720) for n in names), "log size")


def case_timeout(workdir, program):
    # Every "localize" waits at its check-points far longer than one tick, and no
    # image may see a tick: each one times out, and the run still ends.
    result = run(program, LABELS + ["--timeout-ticks", "0", "--tick-ms", "1", "--json",
                                    "--module-options", "delay-ms=20000"])
    check(result.returncode == 1, "exit code %d with nothing found" % result.returncode)
    frames = json_lines(result.stdout)
    numbers = summary(result.stderr)
    check(numbers["frames"] == numbers["timeouts"] == numbers["units"] == 24, "not 24 time-outs")
    check(sorted(frame["imageId"] for frame in frames) == list(range(24)), "frames lost")
    check(all(frame["errorCode"] == -10026 and frame["errorString"] == "Operation timeout." and
              frame["labels"] == [] for frame in frames), "a frame that did not time out")

    # Dropping the oldest buffered image under a slow detector: every frame is either
    # processed once or counted as dropped.
    dropping = run(program, LABELS + ["--drop-oldest", "--json", "--module-options", "delay-ms=5"])
    numbers = summary(dropping.stderr)
    ids = [frame["imageId"] for frame in json_lines(dropping.stdout)]
    check(len(ids) == len(set(ids)) == numbers["frames"], "--drop-oldest: frames " + str(ids))
    check(numbers["frames"] + numbers["dropped"] == 24, "--drop-oldest: frames not accounted for")
    found, total, _ = ground_truth(dropping.stderr)
    check(found == total, "--drop-oldest: labels of processed frames missed")


def case_input(workdir, program):
    # Good images, and every kind of file a user may leave in the folder: each is
    # read, or named and counted, and none stops the run.
    images = os.path.join(workdir, "images")
    os.makedirs(os.path.join(images, "more"))
    boxes = {}
    for i, box in enumerate([(20, 30, 120, 80), (200, 100, 300, 190), (10, 8, 40, 30)]):
        name = os.path.join(images, "more" if i == 2 else "", "label%d.pgm" % i)
        write_pgm(name, 320, 240, lambda x, y, b=box: 40 if b[0] <= x < b[2] and b[1] <= y < b[3]
                  else 200 + (x * 7 + y * 13) % 9)
        boxes[name] = box
    hostile = {"broken.png": b"\x89PNG\r\n\x1a\nnot really a picture",
               "truncated.pgm": b"P5\n3000 2000\n255\n" + bytes(100),
               # A valid header of 16384x16384 pixels: refused before it is decoded.
               "huge.png": bytes.fromhex("89504e470d0a1a0a0000000d49484452000040000000400008"
                                         "000000008ca34f580000000049454e44ae426082")}
    for name, data in hostile.items():
        with open(os.path.join(images, name), "wb") as f:
            f.write(data)
    with open(os.path.join(images, "notes.txt"), "w") as f:
        f.write("not an image\n")
    os.mkfifo(os.path.join(images, "fifo.png"))
    os.symlink("/nonexistent", os.path.join(images, "dangling.png"))

    result = run(program, LABELS + ["--input", images, "--json", "--workers", "1"], timeout=60)
    check(result.returncode == 0, "exit code %d" % result.returncode)
    numbers = summary(result.stderr)
    check((numbers["frames"], numbers["unreadable"], numbers["refused"], numbers["skipped"]) ==
          (3, 2, 1, 2), "files not accounted for: " + str(numbers))
    # No file has an expected text: none is a miss, all are counted apart.
    check(ground_truth(result.stderr) == [0, 0] and
          "no expected text: 6 files, 3 of them with a code read" in result.stderr,
          "files without expected texts")
    for name in list(hostile) + ["fifo.png", "dangling.png"]:
        check(name in result.stderr, name + " is not named")
    lines = json_lines(result.stdout)
    check(sorted(os.path.basename(line["file"]) for line in lines if "problem" in line) ==
          sorted(hostile), "files with a problem: " + str(lines))
    for frame in (line for line in lines if "problem" not in line):
        xs = [p[0] for label in frame["labels"] for p in label["quad"]]
        ys = [p[1] for label in frame["labels"] for p in label["quad"]]
        box = boxes[frame["file"]]
        check(len(frame["labels"]) == 1 and abs(min(xs) - box[0]) <= 2 and
              abs(max(xs) - box[2]) <= 2 and abs(min(ys) - box[1]) <= 2 and
              abs(max(ys) - box[3]) <= 2, frame["file"] + ": label " + str(frame["labels"]))

    # A folder in which nothing can be read is a failed run.
    for name in ["label0.pgm", "label1.pgm", "more/label2.pgm"]:
        os.remove(os.path.join(images, name))
    nothing = run(program, LABELS + ["--input", images], timeout=60)
    check(nothing.returncode == 1 and "no file could be read" in nothing.stderr, "nothing read")

    # Mistakes a user can make: one message, a non-zero exit, in bounded time.
    fifo = os.path.join(images, "fifo.png")
    for args, words in ((["--workers", "many"], "bad value"),
                        (["--module-options", "sideways"], "bad options"),
                        (["--frobnicate"], "unknown option"),
                        (["--formats", "QRCode"], "unknown format 'QRCode'"),
                        (["--log-config", workdir], "directory"),
                        (["--log-config", "/dev/zero"], "not a regular file"),
                        (["--log-config", fifo], "not a regular file"),
                        (["--log-dir", workdir + "/logs\nPath=/tmp/elsewhere"], "newline")):
        bad = run(program, LABELS + args, timeout=60)
        check(bad.returncode == 2 and words in bad.stderr and
              len(bad.stderr.strip().splitlines()) == 1, " ".join(args) + ": " + bad.stderr)


def case_files(workdir, program):
    # Any mix of files, directories and '-' (a list on standard input): one line per
    # image file in the order given, each with what it holds; the exit status says
    # whether anything was read.
    images = os.path.join(workdir, "images")
    os.makedirs(os.path.join(images, "sub"))
    os.makedirs(os.path.join(workdir, "empty"))
    label = lambda x, y: 40 if 20 <= x < 120 and 30 <= y < 80 else 200 + (x * 7 + y * 13) % 9
    plain = lambda x, y: 200 + (x * 7 + y * 13) % 9
    for name, pixel in (("a.pgm", label), ("b.pgm", plain), ("sub/c.pgm", label),
                        ("sub/d.pgm", plain)):
        write_pgm(os.path.join(images, name), 160, 120, pixel)
    with open(os.path.join(images, "notes.png"), "w") as f:
        f.write("not an image\n")
    a, b, c, d, notes = (os.path.join(images, n) for n in
                         ("a.pgm", "b.pgm", "sub/c.pgm", "sub/d.pgm", "notes.png"))
    sub, empty = os.path.join(images, "sub"), os.path.join(workdir, "empty")
    missing = os.path.join(workdir, "missing.png")

    def lines_of(args, stdin=""):
        result = subprocess.run(program + LABELS + args, input=stdin, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, universal_newlines=True, timeout=120)
        print("$ " + " ".join(args) + "\n" + result.stdout + result.stderr)
        return result, [line for line in result.stdout.splitlines() if line.startswith(workdir)]

    result, lines = lines_of([b, sub, "-", notes, empty, missing], stdin=a + "\n")
    check(result.returncode == 0, "exit code %d" % result.returncode)
    check(lines == [b + ": no code", c + ": label", d + ": no code", a + ": label",
                    notes + ": unreadable: " + lines[4].split(": unreadable: ")[-1]],
          "lines " + str(lines))
    check("no PNG, JPEG, PGM or WebP files in " + empty in result.stderr and
          missing + ": not found" in result.stderr, "empty directory or missing file")
    numbers = summary(result.stdout)
    check((numbers["frames"], numbers["items"], numbers["unreadable"], numbers["skipped"]) ==
          (4, 2, 1, 1), str(numbers))
    # The shell's glob is a list of files; nothing read is exit status 1.
    result, lines = lines_of(sorted(glob.glob(os.path.join(images, "*.pgm"))) + [d])
    check(result.returncode == 0 and lines == [a + ": label", b + ": no code", d + ": no code"],
          "glob " + str(lines))
    result, _ = lines_of([b, d, "--json"])
    check(result.returncode == 1 and [l["labels"] for l in json_lines(result.stdout)] == [[], []],
          "nothing read: exit %d" % result.returncode)
    # --score: a file with an expected text is read or not; one without is apart.
    with open(os.path.join(images, "b.txt"), "w") as f:
        f.write("ABC\n")
    result, lines = lines_of(["--score", a, b])
    check(lines == [a + ": label [no expected text]", b + ': no code [not read, expected "ABC"]']
          and "ground truth: 0 of 1 files read" in result.stdout and
          "no expected text: 1 files, 1 of them with a code read" in result.stdout,
          "score " + str(lines))
    # Ctrl-C: the files done so far are printed, then the summary; exit status 130.
    many = [a] * 200
    process = subprocess.Popen(program + LABELS + ["--module-options", "delay-ms=50",
                                                   "--workers", "1"] + many,
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               universal_newlines=True)
    first = process.stdout.readline()
    process.send_signal(signal.SIGINT)
    rest, errors = process.communicate(timeout=120)
    print(first + rest + errors)
    done = [line for line in [first] + rest.splitlines() if line.startswith(a)]
    check(process.returncode == 130 and "interrupted" in errors and
          0 < len(done) < len(many) and summary(rest)["frames"] == len(done),
          "interrupted run: exit %d, %d lines" % (process.returncode, len(done)))
    result, _ = lines_of(["--version"])
    check(result.returncode == 0 and re.match(r"norvane-capture \d+\.\d+\.\d+\.\d{5}$",
                                              result.stdout), "version")


def case_modules(workdir, program):
    # Modules are loaded by name from the module path: an unknown name lists those
    # found; a library without the entry points, or built against another interface,
    # is refused with a message.
    result = run(program, ["--module", "nothere"])
    check(result.returncode == 2 and "unknown module 'nothere'" in result.stderr and
          "labels" in result.stderr, "unknown module")
    check("modules found: " in run(program, ["--help"]).stdout, "--help lists no modules")
    folder = os.path.join(workdir, "modules")
    os.makedirs(folder)
    env = dict(os.environ, NORVANE_MODULE_PATH=folder)
    cc = os.environ.get("CC", "cc")
    sources = {"noentry": "int unrelated(void) { return 1; }\n",
               "oldversion": "int NorvaneCaptureModuleInterfaceVersion(void) { return 1; }\n"}
    for name, source in sources.items():
        path = os.path.join(workdir, name + ".c")
        with open(path, "w") as f:
            f.write(source)
        subprocess.run([cc, "-shared", "-fPIC", "-o", os.path.join(folder, "lib%s.so" % name),
                        path], check=True)
    for name, words in (("noentry", "NORVANE_CAPTURE_MODULE"), ("oldversion", "interface 1")):
        result = subprocess.run(program + ["--module", name], env=env, stdout=subprocess.PIPE,
                                stderr=subprocess.PIPE, universal_newlines=True, timeout=60)
        print(result.stderr)
        check(result.returncode == 2 and words in result.stderr, name + ": " + result.stderr)
    listed = subprocess.run(program + ["--help"], env=env, stdout=subprocess.PIPE,
                            universal_newlines=True, timeout=60).stdout
    check("labels, noentry, oldversion" in listed, "the module path's modules are not listed")


def make_long_path(root, name):
    """A file `name` in folders below `root` so deep that its path is longer than the
    system allows (made step by step, each relative to the last)."""
    fd = os.open(root, os.O_RDONLY)
    try:
        for _ in range(4096 // 200 + 1):
            os.mkdir("d" * 200, dir_fd=fd)
            deeper = os.open("d" * 200, os.O_RDONLY, dir_fd=fd)
            os.close(fd)
            fd = deeper
        with open(os.open(name, os.O_WRONLY | os.O_CREAT, 0o644, dir_fd=fd), "wb") as f:
            f.write(b"P5\n4 4\n255\n" + bytes(16))
    finally:
        os.close(fd)


def case_odd_files(workdir, program):
    """Files in the program's way: in its log folder, beside its images, and a second
    run on the same log folder. None may block the run, be written through, lose a log
    silently or be left uncounted."""
    victim = os.path.join(workdir, "victim")
    with open(victim, "w") as f:
        f.write("untouched\n")

    # A FIFO or a link named as a log file or as an image log's folder: not written
    # into or through, and the other logs are written.
    victims = os.path.join(workdir, "victims")
    os.makedirs(victims)
    logs_names = ("NorvaneKestrel.log", "NorvaneTRX.log")
    for name, kind in [(name, kind) for name in logs_names + ("localize/frame_0000.png",)
                       for kind in ("fifo", "link")] + [("localize", "link")]:
        logs = os.path.join(workdir, "logs-%s-%s" % (kind, name.replace("/", "-")))
        hostile = os.path.join(logs, name)
        os.makedirs(os.path.dirname(hostile))
        target = victims if name == "localize" else victim
        os.mkfifo(hostile) if kind == "fifo" else os.symlink(target, hostile)
        result = run(program, LABELS + ["--log-dir", logs, "--frames", "2"], timeout=60)
        label = "%s as %s: " % (name, kind)
        check(result.returncode == 0, label + "exit code %d" % result.returncode)
        with open(victim) as f:
            check(f.read() == "untouched\n" and not os.listdir(victims),
                  label + "written through the link")
        check(stat.S_ISFIFO(os.lstat(hostile).st_mode) if kind == "fifo" else
              os.path.islink(hostile), label + "replaced")
        check(all(os.path.getsize(os.path.join(logs, other)) > 0 for other in logs_names
                  if other != name), label + "another log is missing")
        check(not os.path.exists(os.path.join(logs, "NorvaneLogConfig.ini")),
              label + "the configuration was written into the log folder")

    # A name with a space at its start keeps it; the JSON log is written as the run
    # goes, in arrays of a bounded number of frames.
    result = run(program, LABELS + ["--log-dir", " spaced", "--frames", "100"], cwd=workdir)
    check(result.returncode == 0, "' spaced': exit code %d" % result.returncode)
    arrays = json_arrays(os.path.join(workdir, " spaced", "NorvaneTRX.log"))
    check(sorted(frame["imageId"] for array in arrays for frame in array) == list(range(100)),
          "' spaced': JSON log frames")
    check(len(arrays) >= 2 and all(len(array) <= 64 for array in arrays),
          "JSON log not written as the run goes: arrays of %s frames" % [len(a) for a in arrays])
    # Ctrl-C (unless the run was done by then): the JSON log holds every frame done.
    stopped = os.path.join(workdir, "stopped")
    process = subprocess.Popen(program + LABELS + ["--log-dir", stopped, "--frames", "40",
                                                   "--workers", "1", "--json", "--module-options",
                                                   "delay-ms=40"],
                               stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                               universal_newlines=True)
    process.stdout.readline()
    process.send_signal(signal.SIGINT)
    out, err = process.communicate(timeout=300)
    print(err)
    check(process.returncode in (0, 130) and
          len(json_log(os.path.join(stopped, "NorvaneTRX.log"))) == summary(err)["frames"],
          "interrupted run: exit %d, JSON log short of the frames done" % process.returncode)

    # Runs on one folder: one waiting on another is refused clearly; of runs started
    # together each either writes all its logs or is refused.
    shared = os.path.join(workdir, "shared")
    os.makedirs(shared)
    holder = os.open(shared, os.O_RDONLY)
    fcntl.flock(holder, fcntl.LOCK_EX)
    busy = run(program, LABELS + ["--log-dir", shared, "--frames", "2"], timeout=60)
    os.close(holder)
    check(busy.returncode == 2 and "in use by another run" in busy.stderr, "busy folder taken")
    done = []
    for _ in range(2):
        runs = [subprocess.Popen(program + LABELS + ["--log-dir", shared, "--frames", "8"],
                                 stdout=subprocess.PIPE, stderr=subprocess.PIPE,
                                 universal_newlines=True) for _ in range(4)]
        for process in runs:
            out, err = process.communicate(timeout=300)
            check(process.returncode == 0 or
                  (process.returncode == 2 and "in use by another run" in err),
                  "concurrent run: exit code %d: %s" % (process.returncode, err))
            if process.returncode == 0:
                done.append(summary(out)["units"])
    with open(os.path.join(shared, "NorvaneKestrel.log")) as f:
        appended = len(re.findall(r"TaskPriorityInfo AppendTask: ", f.read()))
    check(appended == sum(done), "text log of %d runs: %d units, not %d" %
          (len(done), appended, sum(done)))
    check(len(json_log(os.path.join(shared, "NorvaneTRX.log"))) == 8 * len(done),
          "JSON log of %d runs" % len(done))

    # Configurations that write no log say so.
    empty = os.path.join(workdir, "empty.ini")
    quiet = os.path.join(workdir, "quiet.ini")
    with open(empty, "w"):
        pass
    with open(quiet, "w") as f:
        f.write("[BARCODECONFIG]\nPath=%s/\nLevel=1\nMode=2\n" % os.path.join(workdir, "quiet"))
    os.makedirs(os.path.join(workdir, "quiet"))
    for config, code, words in ((empty, 2, "writes no log"), (quiet, 1, "no log was written")):
        result = run(program, LABELS + ["--log-config", config, "--frames", "2"], timeout=60)
        check(result.returncode == code and words in result.stderr, config + ": " + result.stderr)

    # Beside the images: expected texts that are no regular file or too large are
    # named and count as none; CMYK and YCCK JPEGs are read; a path longer than the
    # system allows is counted as skipped, with the reason.
    images = os.path.join(workdir, "images")
    os.makedirs(images)
    def sparse(path):
        with open(path, "wb") as f:
            f.truncate(300 << 20)
    texts = {"fifo": os.mkfifo, "zero": lambda p: os.symlink("/dev/zero", p), "huge": sparse,
             "folder": os.mkdir, "linked": lambda p: os.symlink(victim, p)}
    for name, make in texts.items():
        write_pgm(os.path.join(images, name + ".pgm"), 64, 48, lambda x, y: 200)
        make(os.path.join(images, name + ".txt"))
    for name in ("cmyk.jpg", "ycck.jpg"):
        shutil.copy(os.path.join(JPEG, name), images)
    make_long_path(images, "deep.pgm")
    result = run(program, LABELS + ["--input", images, "--json"], timeout=60)
    check(result.returncode == 0, "odd input: exit code %d" % result.returncode)
    numbers = summary(result.stderr)
    check((numbers["frames"], numbers["unreadable"], numbers["skipped"]) == (7, 0, 1),
          "odd input not accounted for: " + str(numbers))
    check(": File name too long" in result.stderr, "long path: no reason given")
    for name in texts:
        named = re.search(r"expected text ignored: .*/%s\.txt: " % name, result.stderr)
        check(bool(named) == (name != "linked"), name + ".txt: named or not as it should")
    for frame in json_lines(result.stdout):
        if frame["file"].endswith(".jpg"):
            xs = [p[0] for label in frame["labels"] for p in label["quad"]]
            ys = [p[1] for label in frame["labels"] for p in label["quad"]]
            check(len(frame["labels"]) == 1 and
                  all(abs(a - b) <= 2 for a, b in zip((min(xs), min(ys), max(xs), max(ys)),
                                                      (60, 50, 200, 150))),
                  frame["file"] + ": label " + str(frame["labels"]))


def reduced(text):
    return "".join(c for c in text.upper() if c.isascii() and c.isalnum())


def case_barcode(workdir, program):
    # The default run: synthetic frames with codes of mixed symbologies, each read
    # with its text where it lies.
    logs = os.path.join(workdir, "logs")
    result = run(program, ["--log-dir", logs])
    check(result.returncode == 0, "exit code %d" % result.returncode)
    numbers = summary(result.stdout)
    check(numbers["frames"] == 24 and numbers["timeouts"] == 0, "frames or time-outs")
    read, total, extra = ground_truth(result.stdout)
    check(total >= 24 and read >= total - MISSED_SYNTHETIC, "read %d of %d codes" % (read, total))
    frames = json_log(os.path.join(logs, "NorvaneTRX.log"))
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
    frames = json_lines(result.stdout)
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
    scored = sum(os.path.exists(os.path.splitext(os.path.join(DATA, f))[0] + ".txt") for f in files)
    check(re.search(r"^ground truth: %d of %d files read$" % (scored, scored), result.stderr, re.M)
          and "no expected text: %d files, 0 of them" % (len(files) - scored) in result.stderr,
          "ground-truth lines")

    # The same files named one by one, in another order, through standard input, with
    # one symbology asked for: the lines come in the order given, and only that one.
    names = sorted(files, reverse=True)
    listed = subprocess.run(program + ["--formats", "qr-code,EAN_13", "-"], cwd=DATA,
                            input="\n".join(names) + "\n", stdout=subprocess.PIPE,
                            universal_newlines=True, timeout=300)
    lines = listed.stdout.splitlines()[:len(names)]
    check([line.split(":")[0] for line in lines] == names, "order of the lines")
    for line in lines:
        check(re.fullmatch(r"[^:]+: ((QRCode|EAN-13) \"[^\n]*\"(, )?)+|[^:]+: no code", line),
              "a line with another format: " + line)
    check(re.search(r"^  rss14-1 +2 +2$", result.stderr, re.M), "per-folder table")


def case_barcode_timeout(workdir, program):
    # No image may see a tick: the tasks' check-points end them with -10026 and the
    # run goes on to its end.
    result = run(program, ["--timeout-ticks", "0", "--tick-ms", "1", "--json", "--frames", "12"])
    check(result.returncode in (0, 1), "exit code %d" % result.returncode)
    frames = json_lines(result.stdout)
    check(sorted(frame["imageId"] for frame in frames) == list(range(12)), "frames lost")
    timed_out = [frame for frame in frames if frame["errorCode"] == -10026]
    check(timed_out, "no frame timed out")
    check(summary(result.stderr)["timeouts"] == len(timed_out), "time-out count")


def main():
    case, workdir, program = sys.argv[1], sys.argv[2], sys.argv[3:]
    shutil.rmtree(workdir, ignore_errors=True)
    os.makedirs(workdir)
    {"default": case_default, "timeout": case_timeout, "input": case_input,
     "files": case_files, "odd-files": case_odd_files, "modules": case_modules,
     "barcode": case_barcode, "barcode-input": case_barcode_input,
     "barcode-timeout": case_barcode_timeout}[case](workdir, program)
    print("PASS")


if __name__ == "__main__":
    main()
