#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
"""The log-encryption key that a build is given, through whole builds of the library.

Usage: keyed_build.py SOURCE_FOLDER KEY_TOOL [TEST...]
TEST is a class or a test of one, as Builds or Builds.test_a_file_is_found_from_where_cmake_is_run.
The compiler is the one that CXX names.
"""

import os
import pathlib
import re
import shutil
import stat
import subprocess
import sys
import tempfile
import unittest

SOURCE = pathlib.Path(sys.argv[1])
KEY_TOOL = sys.argv[2]
HEADER = "logkey/logkeypieces.h"
# Flags that some distributions build with.
DISTRIBUTION = ("-DCMAKE_CXX_FLAGS=-fno-plt", "-DCMAKE_SHARED_LINKER_FLAGS=-Wl,-z,relro,-z,now")
FAST_TO_COMPILE = ("-DCMAKE_BUILD_TYPE=Debug", "-DCMAKE_UNITY_BUILD=ON")


def run(*command, **more):
    return subprocess.run(
        [str(word) for word in command],
        stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **more)


class InFolder(unittest.TestCase):
    def setUp(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        self.folder = pathlib.Path(folder.name)

    def succeed(self, *command, **more):
        outcome = run(*command, **more)
        self.assertEqual(outcome.returncode, 0, outcome.stdout)
        return outcome.stdout

    def fail_saying(self, text, *command):
        outcome = run(*command)
        self.assertNotEqual(outcome.returncode, 0, outcome.stdout)
        # CMake breaks its messages into lines.
        self.assertIn(text, " ".join(outcome.stdout.split()))

    def pair(self):
        private, public = self.folder / "private.pem", self.folder / "public.pem"
        self.succeed("openssl", "genpkey", "-algorithm", "RSA", "-pkeyopt", "rsa_keygen_bits:3072",
                     "-out", private)
        self.succeed("openssl", "pkey", "-in", private, "-pubout", "-out", public)
        return private, public


class PiecesInAHeader(InFolder):
    def header(self, pieces):
        (self.folder / "pieces").write_bytes(pieces)
        return ("cmake", "-D", f"PIECES={self.folder}/pieces", "-D", f"HEADER={self.folder}/pieces.h",
                "-P", SOURCE / "cmake/LogKeyHeader.cmake")

    def constants(self):
        program = self.folder / "program.cpp"
        program.write_text('#include "pieces.h"\n#include <cstdio>\nint main() {\n'
                           "using namespace logKeyPieces;\n"
                           'std::printf("%s\\n%s\\n%s\\n", one, two, three); }\n')
        self.succeed(os.environ.get("CXX", "c++"), program, "-o", self.folder / "program")
        return subprocess.check_output([self.folder / "program"])

    def test_the_constants_are_the_lines(self):
        for pieces in (b"3-1-00ff\n3-2-a-b\n3-3-Zm9v+/==\n",
                       b'3-1-"\n3-2-\\"\\n\n3-3-;$x${y}@z@[[]]#(\')%s\n'):
            self.succeed(*self.header(pieces))
            self.assertEqual(self.constants().replace(b"%%", b"%"), pieces)

    def test_other_line_ends_make_no_difference(self):
        for pieces in (b"3-1-a\n3-2-b\n3-3-c", b"3-1-a\r\n3-2-b\r\n3-3-c\r\n"):
            self.succeed(*self.header(pieces))
            self.assertEqual(self.constants(), b"3-1-a\n3-2-b\n3-3-c\n")

    def test_what_is_not_three_pieces_is_refused(self):
        for pieces in (b"", b"\n", b"words\n", b"3-1-a\n3-2-b\n", b"3-1-a\n3-2-b\n3-3-c\n3-4-d\n",
                       b"3-2-b\n3-1-a\n3-3-c\n", b"2-1-a\n2-2-b\n", b"4-1-a\n4-2-b\n4-3-c\n",
                       b"3-1-a\n\n3-2-b\n3-3-c\n", b"3-1-a\n3-2-b\n3-3-c\n\n",
                       b"3-1-a\n3-2-\n3-3-c\n", b"3-1-a b\n3-2-b\n3-3-c\n",
                       b" 3-1-a\n3-2-b\n3-3-c\n", b"3-1-a\n3-2-b\n3-3-\xc3\xbc\n",
                       b"3-1-a\n3-2-b\t\n3-3-c\n", b"3-1-a\0\n3-2-b\n3-3-c\n",
                       b"3-1-a\n3-2-b\n3-3-c\0d\n", b"3-1-a\n3-2-b\n3-3-c\n\0"):
            with self.subTest(pieces=pieces):
                self.fail_saying("pieces: not the three pieces of a key.", *self.header(pieces))
                self.assertFalse((self.folder / "pieces.h").exists())


class Builds(InFolder):
    def configure(self, name, *options):
        return ("cmake", "-S", SOURCE, "-B", self.folder / name, "-G", "Ninja",
                # With a cache of compiled files the second build would be a copy of the first.
                "-DCMAKE_CXX_COMPILER_LAUNCHER=", "-DBUILD_TESTING=OFF",
                *DISTRIBUTION, *FAST_TO_COMPILE, *options)

    def build(self, name, target):
        return ("cmake", "--build", self.folder / name, "--target", target)

    def cache(self, name):
        return (self.folder / name / "CMakeCache.txt").read_text()

    def library(self, name):
        return (self.folder / name / "lib/libsyncstatus.so").read_bytes()

    def test_inputs_that_cannot_be_are_refused_when_configuring(self):
        (self.folder / "file").write_text("3-1-a\n")
        for option in ("SYNCSTATUS_LOG_KEY_PIECES", "SYNCSTATUS_LOG_PUBLIC_KEY"):
            for path in (self.folder / "missing", self.folder):
                self.fail_saying(f"{option}: there is no file {path}",
                                 *self.configure("build", "-USYNCSTATUS_LOG_*", f"-D{option}={path}"))
        self.fail_saying("Give either SYNCSTATUS_LOG_KEY_PIECES or SYNCSTATUS_LOG_PUBLIC_KEY",
                         *self.configure("build", f"-DSYNCSTATUS_LOG_KEY_PIECES={self.folder}/file",
                                         f"-DSYNCSTATUS_LOG_PUBLIC_KEY={self.folder}/file"))

    def test_a_missing_openssl_is_named_when_configuring(self):
        self.succeed(*self.configure("build"))
        shutil.rmtree(self.folder / "build/logkey")
        folder = os.path.dirname(shutil.which("openssl"))
        no_openssl = ("-UOPENSSL_EXECUTABLE", f"-DCMAKE_IGNORE_PATH={folder};/usr/bin;/bin")
        self.fail_saying("Install openssl, or give a key with -DSYNCSTATUS_LOG_PUBLIC_KEY=FILE",
                         *self.configure("build", *no_openssl))
        failing = "-DOPENSSL_EXECUTABLE=/bin/false"
        self.fail_saying("could not be made", *self.configure("build", failing))
        self.assertEqual(os.listdir(self.folder / "build/logkey"), [])
        _, public = self.pair()
        self.succeed(*self.configure("build", *no_openssl, f"-DSYNCSTATUS_LOG_PUBLIC_KEY={public}"))

    def test_a_file_is_found_from_where_cmake_is_run(self):
        (self.folder / "file").write_text("3-1-a\n3-2-b\n3-3-c\n")
        self.succeed(*self.configure("build", "-DSYNCSTATUS_LOG_KEY_PIECES=file"), cwd=self.folder)
        self.succeed(*self.build("build", HEADER))
        # Changed pieces are seen, also when they are bad.
        (self.folder / "file").write_text("3-1-a\n3-2-b\n")
        self.fail_saying("not the three pieces of a key", *self.build("build", HEADER))

    def test_keys_from_the_first_configuring_to_the_library(self):
        private, public = self.pair()
        self.a_development_key_is_made()
        self.the_development_key_is_kept()
        self.a_private_key_is_refused(private)
        self.a_given_key_replaces_the_development_key(public)
        self.the_same_key_gives_the_same_library(public)
        self.libcrypto_is_looked_up_when_it_is_called()

    def logkey(self, name):
        return self.folder / "one/logkey" / name

    def a_development_key_is_made(self):
        old_umask = os.umask(0)
        self.addCleanup(os.umask, old_umask)
        said = " ".join(self.succeed(*self.configure("one")).split())
        os.umask(old_umask)
        self.assertEqual(stat.S_IMODE(self.logkey("private.pem").stat().st_mode), 0o600)
        self.assertIn("DEVELOPMENT KEY", said)
        self.assertIn(str(self.logkey("private.pem")), said)
        self.assertIn(
            f"SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY:INTERNAL={self.logkey('private.pem')}\n",
            self.cache("one"))
        self.succeed(*self.build("one", HEADER))
        self.succeed(KEY_TOOL, "check", self.logkey("pieces.txt"))

    def the_development_key_is_kept(self):
        files = [self.logkey(name) for name in ("private.pem", "public.pem", "pieces.txt")]
        before = [file.read_text() for file in files]
        self.succeed(*self.configure("one", "-DCMAKE_INSTALL_PREFIX=/opt"))
        (self.folder / "one" / HEADER).unlink()
        self.succeed(*self.build("one", HEADER))
        self.logkey("public.pem").unlink()
        self.succeed(*self.configure("one"))
        self.assertEqual([file.read_text() for file in files], before)

    def a_private_key_is_refused(self, private):
        self.succeed(*self.configure("one", f"-DSYNCSTATUS_LOG_PUBLIC_KEY={private}"))
        self.fail_saying('not a public key but a "PRIVATE KEY"', *self.build("one", HEADER))

    def a_given_key_replaces_the_development_key(self, public):
        development = self.logkey("pieces.txt").read_text()
        said = self.succeed(*self.configure("one", f"-DSYNCSTATUS_LOG_PUBLIC_KEY={public}"))
        self.assertNotIn("DEVELOPMENT", said)
        self.assertNotIn("SYNCSTATUS_DEVELOPMENT_PRIVATE_KEY", self.cache("one"))
        self.succeed(*self.build("one", "syncstatus"))
        self.assertNotEqual(self.logkey("pieces.txt").read_text(), development)

    # In another folder, and given in pieces.
    def the_same_key_gives_the_same_library(self, public):
        split = self.folder / "split"
        self.succeed(KEY_TOOL, "split", "--output", split, public)
        other = "a-folder-of-another-length"
        self.succeed(*self.configure(other, f"-DSYNCSTATUS_LOG_KEY_PIECES={split}",
                                     "-DSYNCSTATUS_WERROR=ON"))
        self.succeed(*self.build(other, "syncstatus"))
        self.assertTrue(self.library("one") == self.library(other))

    def libcrypto_is_looked_up_when_it_is_called(self):
        library = self.folder / "one/lib/libsyncstatus.so"
        relocations = re.findall(r"(R_\S+) +\S+ +(?:RSA|BIO|PEM|ERR)_",
                                 self.succeed("readelf", "-rW", library))
        self.assertEqual(len(relocations), 12)
        for kind in relocations:
            self.assertRegex(kind, "JUMP_SL|JMP_SLOT")
        self.assertNotRegex(self.succeed("readelf", "-dW", library), r"\bNOW\b|BIND_NOW")


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], "-v", *sys.argv[3:]])
