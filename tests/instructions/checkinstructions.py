#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

"""Counts the instructions of the small operations with callgrind and compares them with a record.

Usage: checkinstructions.py PROGRAM RECORD [--update]

An operation may take MARGIN more than is recorded; what a processor's own instructions change is
less. The counts are those of one compiler, its options, Qt and C library; with others, and without
valgrind, there is nothing to compare (exit status 77). --update writes the record anew.

A text that is ten times as long may take ten times as many instructions, and GROWTH_MARGIN more,
on any machine with valgrind.
"""

import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile

MARGIN = 0.03
GROWTH_MARGIN = 0.1
SLACK = 2  # instructions; what the margin is not for the shortest operations
# No other variable is passed on: their number and length change the counts.
ENVIRONMENT = {
    "PATH": os.environ["PATH"],
    "TMPDIR": "/tmp",
    "XDG_CONFIG_HOME": "/nonexistent",
    "DBUS_SYSTEM_BUS_ADDRESS": "unix:path=/nonexistent/system_bus_socket",
    "QT_HASH_SEED": "0",
    "LC_ALL": "C.UTF-8",
    "TZ": "UTC",
}
HEAD = """# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
#
# Instructions of one call, with those of Qt and the C library, without those of the kernel.
# Written by tests/instructions/checkinstructions.py.
"""


def skip(reason):
    print(reason)
    sys.exit(77)


def count(program):
    """What the counts depend on, and {operation: instructions}."""
    with tempfile.TemporaryDirectory() as folder:
        # Only the first thread: QtDBus starts another one.
        command = ["valgrind", "--tool=callgrind", "--separate-threads=yes"]
        command += [f"--callgrind-out-file={folder}/profile", program]
        result = subprocess.run(command, env=ENVIRONMENT, stdout=subprocess.PIPE, stderr=subprocess.PIPE, text=True)
        if "failed to start tool" in result.stderr:  # it is for another processor than the program
            skip(result.stderr.strip())
        if result.returncode != 0:
            sys.exit(f"{' '.join(command)} failed:\n{result.stdout}{result.stderr}")
        counts = {}
        for path in glob.glob(f"{folder}/profile*-01"):
            with open(path, encoding="utf-8", errors="replace") as file:
                profile = file.read()
            name = re.search(r"^desc: Trigger: Client Request: (.*)$", profile, re.MULTILINE)
            if name:
                counts[name.group(1)] = int(re.search(r"^(?:totals|summary): (\d+)", profile, re.MULTILINE).group(1))
    return result.stdout.strip(), counts


def check_growth(counts):
    """Takes the counts of long texts out of counts, and compares those of each two lengths."""
    long_texts = {name: counts.pop(name) for name in list(counts) if "kilobytes: " in name}
    fails = False
    for name in sorted(long_texts):
        if name.endswith(" 100"):
            growth = long_texts[name + "0"] / long_texts[name]
            fail = growth > 10 * (1 + GROWTH_MARGIN)
            fails |= fail
            print(f"{'FAIL' if fail else '    '} {growth:6.2f} times the instructions for 1000: {name}")
    if fails:
        sys.exit("The instructions grow faster than the text.")


def read(record):
    with open(record, encoding="utf-8") as file:
        lines = [line.rstrip("\n") for line in file if not line.startswith("#")]
    return lines[0], {name: int(number) for number, name in (line.split(maxsplit=1) for line in lines[1:])}


def main():
    program, record, *options = sys.argv[1:]
    if not shutil.which("valgrind"):
        skip("valgrind is not installed")
    made_with, counts = count(program)
    if not counts:
        skip("valgrind's headers were not there when this was built")
    check_growth(counts)
    if "--update" in options:
        with open(record, "w", encoding="utf-8") as file:
            file.write(f"{HEAD}{made_with}\n")
            file.writelines(f"{number:8} {name}\n" for name, number in sorted(counts.items()))
        return
    recorded_with, recorded = read(record)
    if made_with != recorded_with:
        skip(f"the counts are of {recorded_with}; this is {made_with}")

    if counts.keys() != recorded.keys():
        print("not the operations of the record:", *sorted(counts.keys() ^ recorded.keys()), sep="\n  ")
    slower = [name for name in counts if counts[name] > recorded.get(name, 0) * (1 + MARGIN) + SLACK]
    for name in sorted(counts):
        mark = "FAIL" if name in slower else "    "
        print(f"{mark} {counts[name]:8} (recorded {recorded.get(name, 0):8}) {name}")
    if slower or counts.keys() != recorded.keys():
        sys.exit(f"Where that is as it must be, record it: python3 {' '.join(sys.argv)} --update")


main()
