#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
"""Another reader and writer of INI files.

configparser_peer.py read FILE    writes {group: {key: value}} of FILE to standard output, as JSON
configparser_peer.py write FILE   writes such JSON from standard input to FILE
"""

import configparser
import json
import sys

# What both sides mean by the format: "=" between key and value, ";" before a comment, no
# interpolation, names that differ in case differ.
parser = configparser.ConfigParser(
    delimiters=("=",), comment_prefixes=(";",), interpolation=None, default_section="\0"
)
parser.optionxform = str

what, path = sys.argv[1:]
if what == "read":
    with open(path, encoding="utf-8") as file:
        parser.read_file(file)
    print(json.dumps({group: dict(parser[group]) for group in parser.sections()}))
else:
    parser.read_dict(json.load(sys.stdin))
    with open(path, "w", encoding="utf-8") as file:
        parser.write(file)
