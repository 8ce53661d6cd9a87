#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

"""Checks that the libraries and programs are hardened, as built and as installed.

Usage: checkhardening.py BUILD-FOLDER LIBRARY-FOLDER optimized|not-optimized COMPILER

What a file shows is asked of checksec and, where that does not look, of readelf and objdump; what need
not leave a trace in a file, of the compiler's command lines. Exits with 77 without a checksec that
answers in JSON.
"""

import json
import os
import platform
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

BUILD, LIBRARY_FOLDER, OPTIMIZED, COMPILER = sys.argv[1], sys.argv[2], sys.argv[3] == "optimized", sys.argv[4]
LIBRARIES = ("libsyncstatus.so.1.0.0", "libcustompluginmanager.so.1.0.0")
PROGRAMS = ("syncstatus-agent", "syncstatus-logkey", "syncstatus-logread")
RECOVER = "_ZN14SecretkeySplit16recoverSecretKeyERK11QStringList"


def output(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout


def checksec(path):
    return json.loads(output("checksec", "--format=json", f"--file={path}"))[path]


def run_paths(path):
    return re.findall(r"\((?:RPATH|RUNPATH)\).*\[(.*)\]", output("readelf", "-dW", path))


class Hardening(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        folder = tempfile.TemporaryDirectory()
        cls.addClassCleanup(folder.cleanup)
        subprocess.run(["cmake", "--install", BUILD, "--prefix", folder.name], check=True, stdout=subprocess.DEVNULL)
        built = [f"{BUILD}/lib/{name}" for name in LIBRARIES] + [f"{BUILD}/bin/{name}" for name in PROGRAMS]
        cls.installed = [f"{folder.name}/{LIBRARY_FOLDER}/{name}" for name in LIBRARIES]
        cls.installed += [f"{folder.name}/bin/{name}" for name in PROGRAMS]
        cls.reports = {path: checksec(path) for path in built + cls.installed}

    @staticmethod
    def object_of(entry):
        """What a compiler's command line makes, seen from the build's folder."""
        name = re.search(r" -o (\S+)", entry["command"]).group(1)
        return os.path.relpath(os.path.join(entry["directory"], name), BUILD)

    def expect(self, aspect, wanted):
        """Compares what checksec says of each file with what wanted() says of its name."""
        for path, report in self.reports.items():
            with self.subTest(file=path):
                self.assertEqual(report[aspect], wanted(os.path.basename(path)))

    def test_relocations_are_read_only(self):
        # Only partly in the library: it is bound lazily, so that hosts without libcrypto can load it.
        self.expect("relro", lambda name: "partial" if name == LIBRARIES[0] else "full")

    def test_stacks_are_protected(self):
        self.expect("canary", lambda name: "yes")

    def test_stacks_are_not_executable(self):
        self.expect("nx", lambda name: "yes")

    def test_code_is_position_independent(self):
        self.expect("pie", lambda name: "yes" if name in PROGRAMS else "dso")
        for path in self.reports:
            with self.subTest(file=path):
                self.assertNotIn("TEXTREL", output("readelf", "-dW", path))

    @unittest.skipUnless(OPTIMIZED, "without optimization nothing is checked")
    @unittest.skipUnless(COMPILER == "GNU", "this compiler may find no call to check")
    def test_calls_of_the_c_library_are_checked(self):
        # Only in the programs: the libraries call none with bounds that the compiler knows.
        for path, report in self.reports.items():
            if os.path.basename(path) in PROGRAMS:
                with self.subTest(file=path):
                    self.assertEqual(report["fortify_source"], "yes")

    def test_no_segment_is_writable_and_executable(self):
        for path in self.reports:
            with self.subTest(file=path):
                segments = re.findall(r"^  (\w+) +(?:0x\w+ +){5}([R ][W ][E ]) ", output("readelf", "-lW", path), re.M)
                self.assertIn(("LOAD", "R E"), segments)
                self.assertEqual([segment for segment in segments if "WE" in segment[1]], [])

    @unittest.skipUnless(platform.machine() == "x86_64", "other processors have other means")
    def test_functions_begin_as_indirect_jumps_expect(self):
        for path in self.reports:
            symbol = {LIBRARIES[0]: "qt_plugin_instance", LIBRARIES[1]: RECOVER}.get(os.path.basename(path), "main")
            with self.subTest(file=path):
                code = output("objdump", "--no-show-raw-insn", f"--disassemble={symbol}", "--section=.text", path)
                self.assertRegex(code, rf"<{symbol}>:\n.*\tendbr64")

    @unittest.skipUnless(platform.machine() == "x86_64", "this compiler may not know all of them")
    def test_every_source_is_compiled_with_the_flags(self):
        with open(f"{BUILD}/compile_commands.json", encoding="utf-8") as file:
            entries = json.load(file)
        # Only shipped files. The tests' objects are built with other flags.
        shipped = [entry["command"] for entry in entries if self.object_of(entry).startswith(("src/", "tools/"))]
        self.assertGreater(len(shipped), 10)
        flags = ["-fstack-protector-strong", "-fstack-clash-protection", "-fcf-protection", "-Werror=format-security",
                 "_GLIBCXX_ASSERTIONS"]
        flags += ["_FORTIFY_SOURCE="] if OPTIMIZED else []
        for flag in flags:
            self.assertEqual([line for line in shipped if flag not in line], [])

    def test_no_path_is_searched_for_libraries(self):
        # Programs find the libraries relative to themselves, so that the tree can be moved. The
        # packages do not, which another test checks.
        relative = "$ORIGIN/" + os.path.relpath(f"/{LIBRARY_FOLDER}", "/bin")
        for path in self.installed:
            with self.subTest(file=path):
                allowed = [[], [relative]] if os.path.basename(path) in PROGRAMS else [[]]
                self.assertIn(run_paths(path), allowed)


if __name__ == "__main__":
    if not shutil.which("checksec"):
        print("checksec is not installed")
        sys.exit(77)
    try:
        checksec(sys.executable)
    except (subprocess.CalledProcessError, ValueError, LookupError):
        print("this checksec does not answer in JSON to --format=json --file=FILE")
        sys.exit(77)
    unittest.main(argv=sys.argv[:1])
