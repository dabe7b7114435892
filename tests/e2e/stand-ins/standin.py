"""What the chat-client stand-ins share: their command line and their event log.

The protocol is stub_chat's (tests/e2e/stub_chat.cpp), so that StubChatProcess drives every
stand-in the same way.
"""

import argparse
import collections
import json
import os
import re
import sys
import threading

Geometry = collections.namedtuple("Geometry", "width height x y")


def parse_options(program, argv=None):
    """class_name, title, geometry (a Geometry or None) and log_path (or None)."""
    parser = argparse.ArgumentParser(prog=program, allow_abbrev=False)
    parser.add_argument("--class", dest="class_name", required=True, metavar="NAME",
                        help="WM_CLASS class name")
    parser.add_argument("--title", required=True, help="window title")
    parser.add_argument("--geometry", metavar="WxH+X+Y", help="size and position of the window")
    parser.add_argument("--log", dest="log_path", metavar="FILE",
                        help="file the events are appended to")
    options = parser.parse_args(argv)
    if options.geometry is not None:
        m = re.fullmatch(r"(\d+)x(\d+)([+-]\d+)([+-]\d+)", options.geometry)
        if not m:
            parser.error("geometry must look like 640x480+100+50")
        options.geometry = Geometry(*(int(v) for v in m.groups()))
    return options


class EventLog:
    """JSON lines appended to a file, each with one write so that a reader never sees half of
    one followed by a newline."""

    def __init__(self, path):
        self._fd = None
        self._lock = threading.Lock()
        if path:
            self._fd = os.open(path, os.O_WRONLY | os.O_APPEND | os.O_CREAT | os.O_CLOEXEC, 0o644)

    def write(self, entry):
        if self._fd is None:
            return
        line = json.dumps(entry, ensure_ascii=False, separators=(",", ":")) + "\n"
        data = line.encode("utf-8")
        with self._lock:
            while data:
                written = os.write(self._fd, data)
                data = data[written:]


class CommandReader:
    """Splits what arrives on standard input into command lines."""

    def __init__(self):
        self._pending = b""

    def feed(self, data):
        self._pending += data
        lines = []
        while b"\n" in self._pending:
            line, self._pending = self._pending.split(b"\n", 1)
            lines.append(line.decode("utf-8", errors="replace").rstrip("\r"))
        return lines


def warn(program, message):
    print(f"{program}: {message}", file=sys.stderr, flush=True)
