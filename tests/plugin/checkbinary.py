#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

"""Checks what a built libsyncstatus.so tells the dynamic linker.

Usage: checkbinary.py LIBRARY ABI QT_DIRECTORY NM READELF

ABI is the folder with the list of what each library exports. QT_DIRECTORY is where Qt's libraries are: a library in a
build tree may name it as a run path where the dynamic linker does not search it by itself.
"""

import os
import re
import subprocess
import sys
import unittest

LIBRARY, ABI, QT_DIRECTORY, NM, READELF = sys.argv[1:]

QT_LIBRARIES = r"libQt5(Core|DBus|Network)\.so\.5"
COMPILER_AND_C_LIBRARIES = (
    r"libstdc\+\+\.so\.6|libc\+\+(abi)?\.so\.1|libgcc_s\.so\.1|libunwind\.so\.1"
    r"|lib(c|m|dl|rt|pthread)\.so\.\d+|ld-linux.*\.so\.\d+"
)
THREADS_AND_LOCKS = (
    r"(__)?pthread_(create|mutex|rwlock|spin|cond)|(sem|mtx|thrd)_|clone|unshare"
    r"|std::(__\w+::)?\w*(thread|mutex|condition_variable|async|_State_base)"
    r"|Q(Thread::(QThread|start|create)|ThreadPool|\w*Mutex|ReadWriteLock|Semaphore|WaitCondition)"
)


def output_lines(*command):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True).stdout.splitlines()


def exported_symbols(library):
    """The demangled names of the exported symbols."""
    return {line.split(None, 2)[2] for line in output_lines(NM, "-DC", "--defined-only", library)}


def dynamic_entries(tag):
    """The text of the dynamic section's entries with this tag."""
    lines = output_lines(READELF, "-dW", LIBRARY)
    return [line.split(")", 1)[1].strip() for line in lines if f" ({tag}) " in line]


class LibraryFile(unittest.TestCase):
    def test_exactly_the_offer_is_exported(self):
        for name in ("libsyncstatus.so", "libcustompluginmanager.so"):
            with self.subTest(library=name):
                with open(f"{ABI}/{name}.1.symbols", encoding="utf-8") as file:
                    offer = {line.strip() for line in file if not line.startswith("#")}
                library = os.path.join(os.path.dirname(LIBRARY), name)
                self.assertEqual(exported_symbols(library), offer)

    def test_only_qt_and_the_compilers_libraries_are_needed(self):
        needed = re.findall(r"\[(.*?)\]", "\n".join(dynamic_entries("NEEDED")))
        allowed = re.compile(f"{QT_LIBRARIES}|{COMPILER_AND_C_LIBRARIES}")
        self.assertEqual([name for name in needed if not allowed.fullmatch(name)], [])
        self.assertLessEqual({"libQt5Core.so.5", "libQt5DBus.so.5"}, set(needed))

    def test_it_starts_no_thread_and_takes_no_lock(self):
        symbols = {line.split(None, 1)[1] for line in output_lines(NM, "-DC", "--undefined-only", LIBRARY)}
        self.assertTrue(symbols)
        self.assertEqual([name for name in symbols if re.match(THREADS_AND_LOCKS, name)], [])

    def test_nothing_pins_it_in_memory(self):
        symbols = output_lines(READELF, "-W", "--dyn-syms", LIBRARY)
        self.assertEqual([line for line in symbols if " UNIQUE " in line], [])
        self.assertNotIn("NODELETE", " ".join(dynamic_entries("FLAGS_1")))

    def test_functions_are_bound_when_they_are_first_called(self):
        self.assertEqual(dynamic_entries("BIND_NOW"), [])
        self.assertNotIn("BIND_NOW", " ".join(dynamic_entries("FLAGS")))
        self.assertNotIn("NOW", " ".join(dynamic_entries("FLAGS_1")).split())

    def test_it_brings_no_search_path(self):
        paths = dynamic_entries("RPATH") + dynamic_entries("RUNPATH")
        self.assertEqual([path for path in paths if f"[{QT_DIRECTORY}]" not in path], [])

    def test_the_plugin_leaves_the_hosts_defaults_alone(self):
        functions = {line.split(None, 2)[2] for line in output_lines(NM, "-C", "--defined-only", LIBRARY)}
        if "syncstatus::SyncStatusPlugin::initialize(QString*)" not in functions:
            self.skipTest("the library has been stripped of its symbols")
        for operation in ("verify", "commandOptions", "parseArgumentOptions", "aboutToShutdown"):
            with self.subTest(operation=operation):
                overriding = f"syncstatus::SyncStatusPlugin::{operation}("
                self.assertEqual([name for name in functions if name.startswith(overriding)], [])

    def test_its_name_is_that_of_the_binary_interface(self):
        self.assertEqual(dynamic_entries("SONAME"), ["Library soname: [libsyncstatus.so.1]"])


if __name__ == "__main__":
    unittest.main(argv=sys.argv[:1])
