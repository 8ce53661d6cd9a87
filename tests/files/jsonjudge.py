#!/usr/bin/env python3
# SPDX-FileCopyrightText: 2026 The SyncStatus developers
# SPDX-License-Identifier: Apache-2.0
"""What Python's json makes of each line of standard input, a text in hexadecimal digits.

Writes a line for each: "error", or the parsed value in a form without choices, in which two parsers
can be compared. Two rules of the other parser are applied here: the top is an object or an array,
and strings may hold control characters.
"""

import json
import struct
import sys


def refuse_constant(name):
    raise ValueError(name)  # NaN and Infinity, which are not JSON


def plain(value):
    if value is None:
        return "n"
    if value is True:
        return "t"
    if value is False:
        return "f"
    if isinstance(value, (int, float)):
        return "d" + struct.pack(">d", float(value) + 0.0).hex()  # + 0.0: no negative zero
    if isinstance(value, str):
        return "s" + value.encode("utf-8").hex()
    if isinstance(value, list):
        return "[" + ",".join(map(plain, value)) + "]"
    members = sorted((plain(key), plain(member)) for key, member in value.items())
    return "{" + ",".join(key + ":" + member for key, member in members) + "}"


def judge(text):
    try:
        value = json.loads(text.decode("utf-8-sig"), strict=False, parse_constant=refuse_constant)
    except ValueError:
        return "error"
    return plain(value) if isinstance(value, (dict, list)) else "error"


for line in sys.stdin:
    print(judge(bytes.fromhex(line)))
