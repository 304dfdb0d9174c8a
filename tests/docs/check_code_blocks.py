#!/usr/bin/env python3
"""Every fenced code block of the guides in docs/ must be quoted from a file that the
build compiles or runs: the line before the fence names it, relative to the source
tree, as <!-- source: PATH -->, and the block's lines must appear in that file as
consecutive lines (all indented alike is allowed). Prints each stale block."""
import pathlib
import re
import sys

MARKER = re.compile(r"<!-- source: (\S+) -->")


def blocks(text):
    """(source path or None, block lines, line number) of each fenced block."""
    lines, found, i = text.split("\n"), [], 0
    while i < len(lines):
        if lines[i].startswith("```"):
            start, i = i, i + 1
            while i < len(lines) and not lines[i].startswith("```"):
                i += 1
            marker = MARKER.fullmatch(lines[start - 1].strip()) if start > 0 else None
            found.append((marker.group(1) if marker else None, lines[start + 1:i], start + 1))
        i += 1
    return found


def quoted(block, source_lines):
    for first in range(len(source_lines) - len(block) + 1):
        indent = source_lines[first][:len(source_lines[first]) - len(source_lines[first].lstrip())]
        if all(source_lines[first + k] == (indent + line if line else "")
               or (not line and not source_lines[first + k].strip())
               for k, line in enumerate(block)):
            return True
    return False


def main(root):
    root, failures, count = pathlib.Path(root), [], 0
    for guide in sorted((root / "docs").glob("*.md")):
        for source, block, line in blocks(guide.read_text()):
            count += 1
            where = "%s:%d" % (guide.relative_to(root), line)
            if source is None:
                failures.append(where + ": no <!-- source: PATH --> line before the block")
            elif not (root / source).is_file():
                failures.append("%s: %s does not exist" % (where, source))
            elif not quoted(block, (root / source).read_text().split("\n")):
                failures.append("%s: the block is not in %s any more" % (where, source))
    for failure in failures:
        print(failure)
    print("%d code blocks, %d stale" % (count, len(failures)))
    return 1 if failures or count == 0 else 0


if __name__ == "__main__":
    sys.exit(main(sys.argv[1]))
