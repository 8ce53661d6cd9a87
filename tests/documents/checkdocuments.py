#!/usr/bin/python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0

"""Checks that the commands of the documents work, and that their links lead somewhere.

Usage: checkdocuments.py SOURCE BUILD RELEASE [unittest's arguments]

RELEASE is a copy of SOURCE with a release in build/run. The README's commands are run there and
compile nothing. A shell block is run unless its fence says `sh skip`. Those are listed as not run.
"""

import base64
import glob
import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

SOURCE, BUILD, RELEASE = (os.path.realpath(path) for path in sys.argv[1:4])

DOCUMENTS = sorted(
    os.path.relpath(path, SOURCE)
    for pattern in ("*.md", "docs/*.md", "tests/*.md")
    for path in glob.glob(os.path.join(SOURCE, pattern))
)
PROGRAMS = ["syncstatus-agent", "syncstatus-logkey", "syncstatus-logread"]
MARKER = "LicenseLogEncryptSign"


def read(document):
    with open(os.path.join(SOURCE, document), encoding="utf-8") as file:
        return file.read()


def blocks(document):
    """(kind, text) of each fenced block. The kind is the text after the opening fence."""
    return re.findall(r"^```([^\n]*)\n(.*?)^```$", read(document), re.MULTILINE | re.DOTALL)


def prose(document):
    return re.sub(r"^```.*?^```$", "", read(document), flags=re.MULTILINE | re.DOTALL)


def anchors(document):
    """The anchors of a document's headings, made as forges make them."""
    headings = re.findall(r"^#+ +(.*)$", prose(document), re.MULTILINE)
    return {re.sub(r"[^\w\- ]", "", heading.lower()).replace(" ", "-") for heading in headings}


def output(*command, **options):
    return subprocess.run(command, check=True, stdout=subprocess.PIPE, text=True, **options).stdout


class Links(unittest.TestCase):
    def test_every_link_leads_to_a_file_and_a_heading(self):
        for document in DOCUMENTS:
            for target in re.findall(r"\]\(([^)\s]+)\)", prose(document)):
                if re.match(r"[a-z]+:", target):
                    continue
                with self.subTest(document=document, link=target):
                    path, _, anchor = target.partition("#")
                    file = os.path.normpath(os.path.join(os.path.dirname(document), path))
                    file = file if path else document
                    self.assertTrue(os.path.exists(os.path.join(SOURCE, file)))
                    if anchor:
                        self.assertIn(anchor, anchors(file))

    def test_every_path_of_the_project_that_is_named_exists(self):
        folders = "|".join(
            name for name in os.listdir(SOURCE) if os.path.isdir(os.path.join(SOURCE, name)) and name != "build"
        )
        for document in DOCUMENTS:
            for path in re.findall(rf"`((?:{folders})/[\w./-]*)`", prose(document)):
                with self.subTest(document=document, path=path):
                    self.assertTrue(os.path.exists(os.path.join(SOURCE, path)))


class Headers(unittest.TestCase):
    def test_the_example_of_each_public_header_compiles(self):
        flags = output("pkg-config", "--cflags", "Qt5Core", "Qt5Network").split()
        headers = glob.glob(f"{BUILD}/include/*/*.h")
        headers = [header for header in headers if not header.endswith("_export.h")]
        self.assertEqual(len(headers), 8)
        for header in headers:
            with self.subTest(header=os.path.basename(header)):
                with open(header, encoding="utf-8") as file:
                    example = re.search(r"/// \\code\n(.*?)/// \\endcode", file.read(), re.DOTALL)[1]
                program = (
                    f"#include <{header}>\n#include <QCoreApplication>\n#include <QDebug>\n"
                    "void example()\n{\n" + re.sub(r"^/// ?", "", example, flags=re.MULTILINE) + "}\n"
                )
                command = ["c++", "-std=c++17", "-fPIC", "-fsyntax-only", "-Wall", "-x", "c++", "-", "-I", f"{BUILD}/include"]
                result = subprocess.run(
                    command + flags, input=program, stderr=subprocess.PIPE, text=True, check=False
                )
                self.assertEqual(result.returncode, 0, result.stderr)


class LogLines(unittest.TestCase):
    def test_each_line_of_the_library_is_explained(self):
        text = read("docs/troubleshooting.md")
        found = 0
        for path in glob.glob(f"{SOURCE}/src/common/*.cpp") + glob.glob(f"{SOURCE}/src/agent/plugins/**/*.cpp", recursive=True):
            with open(path, encoding="utf-8") as file:
                source = file.read()
            for statement in re.findall(r"qC(?:Debug|Info|Warning|Critical)\(ll_agent\)(.*?);", source, re.DOTALL):
                for literal in re.findall(r'"((?:[^"\\]|\\.)*)"', statement):
                    part = literal.replace("\\n", "").strip()
                    if not part:
                        continue
                    found += 1
                    with self.subTest(file=os.path.basename(path), text=part):
                        self.assertIn(part, text)
        self.assertGreater(found, 20)


class ShellBlocks(unittest.TestCase):
    """Each document's blocks are run one after the other in a copy of the sources."""

    def setUp(self):
        self.folder = tempfile.mkdtemp()
        self.addCleanup(shutil.rmtree, self.folder)
        self.sources = os.path.join(self.folder, "sources")
        shutil.copytree(SOURCE, self.sources, ignore=shutil.ignore_patterns("build", ".git"))
        self.environment = dict(
            os.environ,
            PATH=f"{BUILD}/bin:{os.environ['PATH']}",
            # A block installs into the test's folder.
            DESTDIR=os.path.join(self.folder, "root"),
        )

    def run_blocks(self, document, expected=None, after_the_first=None):
        """Runs them. EXPECTED maps a part of a block to a part of its output."""
        expected = expected or {}
        self.assertEqual([part for part in expected if part not in read(document)], [])
        ran = 0
        for kind, text in blocks(document):
            if kind == "sh skip":
                print(f"not run: {document}: {text.strip()}", flush=True)
            if kind != "sh":
                continue
            ran += 1
            with self.subTest(document=document, block=text):
                result = subprocess.run(
                    ["bash", "-eu", "-c", text.replace("build/package", "build/run")],
                    cwd=self.sources,
                    env=self.environment,
                    stdin=subprocess.DEVNULL,
                    stdout=subprocess.PIPE,
                    stderr=subprocess.STDOUT,
                    text=True,
                    check=False,
                )
                self.assertEqual(result.returncode, 0, result.stdout)
                for part, line in expected.items():
                    if part in text:
                        self.assertIn(line, result.stdout)
            if ran == 1 and after_the_first:
                after_the_first()
        return ran

    def test_blocks_of_the_readme(self):
        self.sources = RELEASE
        self.assertGreater(self.run_blocks("README.md"), 0)
        installed = f"{self.environment['DESTDIR']}/usr"
        self.assertTrue(os.path.exists(f"{installed}/bin/syncstatus-agent"))
        self.assertIn("online: false", self.run_program("README.md", installed))

    def run_program(self, document, installed):
        """Builds the program of DOCUMENT's C++ and CMake blocks. Returns its output."""
        program = os.path.join(self.folder, "program")
        os.mkdir(program)
        for kind, name in (("cmake", "CMakeLists.txt"), ("cpp", "main.cpp")):
            (text,) = [text for block, text in blocks(document) if block == kind]
            with open(f"{program}/{name}", "w", encoding="utf-8") as file:
                file.write(text)
        output("cmake", "-S", program, "-B", program, "-G", "Ninja", f"-DCMAKE_PREFIX_PATH={installed}")
        output("cmake", "--build", program)
        environment = dict(os.environ, QT_FORCE_STDERR_LOGGING="1", QT_LOGGING_TO_CONSOLE="1")
        return output(f"{program}/online", stderr=subprocess.STDOUT, env=environment)

    def test_blocks_about_integrating(self):
        os.symlink(f"{BUILD}/lib/libsyncstatus.so", f"{self.sources}/libsyncstatus.so")
        os.symlink(f"{BUILD}/bin/syncstatus-agent", f"{self.sources}/your-agent")
        expected = {"check-host": "everything is there"}
        self.assertGreater(self.run_blocks("docs/integrating.md", expected), 0)

    def test_blocks_about_encrypted_log_text(self):
        os.symlink(f"{BUILD}/lib/libsyncstatus.so", f"{self.sources}/libsyncstatus.so")
        expected = {
            "check libsyncstatus.so": "development key",
            "--key log-key.pem agent.log": "signed in: Grüße",
            "--key old.pem": "old words",
            "--key new.pem": "new words]",
        }
        ran = self.run_blocks("docs/encrypted-log-text.md", expected, self.write_encrypted_logs)
        self.assertGreater(ran, 0)

    def write_encrypted_logs(self):
        """What the page takes for there: a log of the key that its first block has made, and one of
        an old and a new key."""
        for name in ("old", "new"):
            for command in (["genpkey", "-algorithm", "RSA", "-out", f"{name}.pem"],
                            ["pkey", "-in", f"{name}.pem", "-pubout", "-out", f"{name}-public.pem"]):
                subprocess.run(["openssl", *command], cwd=self.sources, check=True)
        with open(f"{self.sources}/agent.log", "w", encoding="utf-8") as file:
            file.write(self.encrypted("log-key-public.pem", "signed in: Grüße"))
        with open(f"{self.sources}/rotated.log", "w", encoding="utf-8") as file:
            file.write(self.encrypted("old-public.pem", "old words"))
            file.write(self.encrypted("new-public.pem", "new words"))

    def test_blocks_about_troubleshooting(self):
        # Asks the agent to end when it has printed its state.
        programs = os.path.join(self.folder, "programs")
        os.mkdir(programs)
        agent = os.path.join(programs, "syncstatus-agent")
        with open(agent, "w", encoding="utf-8") as file:
            file.write(
                "#!/bin/bash\n"
                f'exec 3< <(exec "{BUILD}/bin/syncstatus-agent" --plugin-dir "{BUILD}/plugins" "$@")\n'
                "agent=$!\n"
                'while read -r line <&3; do [[ $line != online:* ]] || kill "$agent"; done\n'
                'wait "$agent"\n'
            )
        os.chmod(agent, 0o755)
        self.environment["PATH"] = f"{programs}:{self.environment['PATH']}"
        expected = {
            "agent.debug=true": "codestack:  initialize sync status plugin",
            "QT_MESSAGE_PATTERN": "monitornetwork.cpp:",
        }
        self.assertGreater(self.run_blocks("docs/troubleshooting.md", expected), 0)

    def encrypted(self, key, text):
        command = ["openssl", "pkeyutl", "-encrypt", "-pubin", "-inkey", key]
        result = subprocess.run(
            command, cwd=self.sources, input=text.encode(), stdout=subprocess.PIPE, check=True
        )
        return f"a line {MARKER}{base64.b64encode(result.stdout).decode()}\n"


class Scripts(unittest.TestCase):
    def test_each_script_has_help(self):
        names = [entry.name for entry in os.scandir(f"{SOURCE}/scripts") if entry.is_file()]
        self.assertEqual(sorted(names), ["bench", "check", "releases", "run", "sandbox", "test"])
        for name in names:
            with self.subTest(script=name):
                self.assertRegex(output(f"{SOURCE}/scripts/{name}", "--help"), f"^Usage: scripts/{name}")


class ManualPages(unittest.TestCase):
    def page(self, program):
        (path,) = glob.glob(f"{SOURCE}/docs/man/{program}.[1-8]")
        return path

    def test_each_page_is_well_formed(self):
        for program in PROGRAMS:
            with self.subTest(program=program):
                result = subprocess.run(
                    ["groff", "-man", "-Tutf8", "-ww", "-z", self.page(program)],
                    stdout=subprocess.PIPE,
                    stderr=subprocess.STDOUT,
                    text=True,
                    check=True,
                )
                self.assertEqual(result.stdout, "")

    def test_each_page_has_the_options_of_the_programs_help(self):
        for program in PROGRAMS:
            # Plugins add options.
            arguments = ["--plugin-dir", self.empty_folder()] if program == "syncstatus-agent" else []
            with self.subTest(program=program):
                shown = output("groff", "-man", "-Tascii", "-P-cbou", "-rHY=0", self.page(program))
                in_help = self.options(output(f"{BUILD}/bin/{program}", *arguments, "--help"))
                self.assertEqual(self.options(shown), in_help)

    def empty_folder(self):
        folder = tempfile.TemporaryDirectory()
        self.addCleanup(folder.cleanup)
        return folder.name

    @staticmethod
    def options(text):
        return set(re.findall(r"(?<![\w-])--[a-z][a-z-]*", text))


if __name__ == "__main__":
    unittest.main(argv=[sys.argv[0], *sys.argv[4:]], verbosity=2)
