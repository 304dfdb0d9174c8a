#!/usr/bin/env bash
# Writes the manual page of norvane-capture from its --help and --version with
# help2man: scripts/make-manpage.sh PROGRAM OUTPUT. docs/man/norvane-capture.1 is
# made this way (scripts/make-manpage.sh build/apps/norvane-capture/norvane-capture
# docs/man/norvane-capture.1), and the test manpage_current checks that it still
# says what --help says.
set -euo pipefail
program=$1 output=$2
# The modules found depend on the machine: the page names the two that come with it.
NORVANE_MODULE_PATH= SOURCE_DATE_EPOCH=${SOURCE_DATE_EPOCH:-1764000000} \
  help2man --no-info --no-discard-stderr \
  --name="read the codes in image files with a recognition module" \
  --version-string="$("$program" --version | awk '{ print $2 }')" \
  "$program" >"$output"
