#!/usr/bin/python3
"""chromium_chat.py --class NAME --title TITLE [--geometry WxH+X+Y] [--log FILE]

Stands in for a Chromium-based chat client in end-to-end tests: Chromium, in a window of its own
(--app), shows chat.html, a text box with the focus. It pastes as those clients do: keys pressed
after Ctrl+V wait for the clipboard's answer, but only for Chromium's time-out (1.5 to 6 s), after
which nothing is pasted. The page posts its events to a small HTTP server of this launcher on
127.0.0.1, which logs them, and long-polls it for the commands read from standard input. Command
line, events and commands are stub_chat's (see stub_chat.cpp), except that no "paste" event is
logged and that "ready" also names the browser's process ("pid"), which owns the window.

"ready" comes once the page has loaded, the browser's window (WM_CLASS class NAME) is viewable,
placed like stub_chat's (its frame where asked) and proven to take keys. On "quit", SIGTERM or
SIGINT, the browser and every process it started are ended and its profile is removed.
"""

import http.server
import json
import os
import re
import selectors
import shutil
import signal
import subprocess
import sys
import tempfile
import threading
import time
import urllib.parse

# Run from the source tree: no __pycache__ left in it.
sys.dont_write_bytecode = True
import standin  # noqa: E402

PROGRAM = "chromium_chat"
PAGE = os.path.join(os.path.dirname(os.path.abspath(__file__)), "chat.html")
# The binary itself rather than Debian's wrapper script, which adds flags of its own.
BROWSERS = ["/usr/lib/chromium/chromium", "chromium"]
LONG_POLL_SECONDS = 20
STOP_SECONDS = 3
PLACE_ATTEMPTS = 3
# Chromium can lose the keys of a window that was just shown, although the page has the focus:
# on a slow machine everything typed into a new stand-in went nowhere. So the launcher brings its
# window to the front and presses Shift (which types nothing) until the page reports the key.
PROBE_ATTEMPTS = 40
PROBE_WAIT = 0.25


class Page:
    """What the HTTP handlers share with the main thread."""

    def __init__(self, log):
        self.log = log
        self.loaded = threading.Event()
        self.probed = threading.Event()
        self.closing = False
        self._commands = []
        self._changed = threading.Condition()

    def push(self, command=None, closing=False):
        with self._changed:
            if command:
                self._commands.append(command)
            self.closing = self.closing or closing
            self._changed.notify_all()

    def commands_from(self, first):
        with self._changed:
            self._changed.wait_for(lambda: len(self._commands) > first or self.closing,
                                   LONG_POLL_SECONDS)
            return self._commands[first:], len(self._commands)

    def take(self, entry):
        kind = entry.get("event")
        text = str(entry.get("text", ""))
        if kind == "loaded":
            self.loaded.set()
        elif kind == "probe":
            self.probed.set()
        elif kind == "text":
            self.log.write({"event": "text", "text": text})
        elif kind == "enter":
            self.log.write({"event": "enter", "ctrl": bool(entry.get("ctrl")), "text": text})
        elif kind == "active":
            self.log.write({"event": "active", "active": bool(entry.get("active"))})


class Server(http.server.ThreadingHTTPServer):
    daemon_threads = True

    # The page goes mid-request when the browser is ended: nothing worth a traceback.
    def handle_error(self, request, client_address):
        if not isinstance(sys.exc_info()[1], ConnectionError):
            super().handle_error(request, client_address)


def handler_for(page):
    class Handler(http.server.BaseHTTPRequestHandler):
        protocol_version = "HTTP/1.1"  # keep-alive: one connection for all the events
        # Headers and body go in separate writes; with Nagle, the body would wait for the
        # browser's delayed acknowledgement, some 40 ms.
        disable_nagle_algorithm = True

        def log_message(self, *_):
            pass

        def reply(self, status, body=b"", content_type="application/json"):
            self.send_response(status)
            for name, value in (("Content-Type", content_type),
                                ("Content-Length", str(len(body))), ("Cache-Control", "no-store")):
                self.send_header(name, value)
            self.end_headers()
            self.wfile.write(body)

        def do_GET(self):
            url = urllib.parse.urlsplit(self.path)
            if url.path == "/chat.html":
                with open(PAGE, "rb") as f:
                    self.reply(200, f.read(), "text/html; charset=utf-8")
            elif url.path == "/commands":
                first = urllib.parse.parse_qs(url.query).get("next", ["0"])[0]
                commands, following = page.commands_from(int(first) if first.isdecimal() else 0)
                body = json.dumps({"commands": commands, "next": following}, ensure_ascii=False)
                self.reply(200, body.encode("utf-8"))
            else:
                self.reply(404)  # the favicon, too

        def do_POST(self):
            if urllib.parse.urlsplit(self.path).path != "/events":
                return self.reply(404)
            length = int(self.headers.get("Content-Length", "0"))
            try:
                entries = json.loads(self.rfile.read(length).decode("utf-8"))
            except (UnicodeDecodeError, json.JSONDecodeError):
                return self.reply(400)
            for entry in entries if isinstance(entries, list) else []:
                if isinstance(entry, dict):
                    page.take(entry)
            self.reply(204)

    return Handler


def output(*command):
    return subprocess.run(command, capture_output=True, text=True).stdout


def x_property(window, name):
    """The value of a window's property as "xprop -notype" prints it, or None."""
    _, equals, value = output("xprop", "-id", str(window), "-notype", name).strip().partition(" = ")
    return value if equals else None


def find_window(pid, class_name):
    """The browser's viewable top-level window with WM_CLASS class NAME, or 0."""
    for word in output("xdotool", "search", "--onlyvisible", "--pid", str(pid)).split():
        names = re.findall(r'"((?:[^"\\]|\\.)*)"', x_property(int(word), "WM_CLASS") or "")
        if len(names) == 2 and names[1] == class_name:
            return int(word)
    return 0


def client_origin(window):
    info = output("xwininfo", "-id", str(window))
    found = re.findall(r"Absolute upper-left [XY]:\s*(-?\d+)", info)
    return tuple(int(v) for v in found) if len(found) == 2 else None


def place(window, geometry):
    """Moves the window so that its frame, not the window itself, begins at the place asked for,
    as with the other stand-ins: Chromium asks for static gravity. False if it did not get
    there."""
    extents = [int(v) for v in re.findall(r"\d+", x_property(window, "_NET_FRAME_EXTENTS") or "")]
    if len(extents) != 4:
        return False
    wanted = (geometry.x + extents[0], geometry.y + extents[2])
    if client_origin(window) == wanted:
        return True
    output("xdotool", "windowmove", str(window), str(wanted[0]), str(wanted[1]))
    deadline = time.monotonic() + 1
    while time.monotonic() < deadline:
        if client_origin(window) == wanted:
            return True
        time.sleep(0.02)
    return False


def browser_command(options, profile, url):
    browser = next((b for b in BROWSERS if shutil.which(b)), None)
    if browser is None:
        raise FileNotFoundError("chromium is not installed (scripts/install-deps.sh --test)")
    geometry = options.geometry or standin.Geometry(480, 360, 0, 0)
    command = [browser, f"--class={options.class_name}", f"--user-data-dir={profile}",
               f"--window-size={geometry.width},{geometry.height}"]
    if options.geometry:
        command.append(f"--window-position={geometry.x},{geometry.y}")
    # No network here, perhaps root, and nothing to set up: start as fast as it can. --test-type
    # keeps the warning bar about --no-sandbox away.
    command += ["--no-sandbox", "--test-type", "--ozone-platform=x11", "--disable-gpu",
                "--disable-quic", "--no-proxy-server", "--no-first-run",
                "--no-default-browser-check", "--disable-background-networking",
                "--disable-component-update", "--disable-sync", "--disable-extensions",
                "--disable-default-apps", "--disable-features=Translate,MediaRouter",
                "--password-store=basic"]
    # A window behind others must still handle its keys and timers at once.
    command += ["--disable-renderer-backgrounding", "--disable-background-timer-throttling",
                "--disable-backgrounding-occluded-windows", f"--app={url}"]
    return command


def processes_left(session, marker):
    """Processes of the browser's session, and those that left it (the crash handler) but still
    name its profile. Zombies are not counted: they are gone already."""
    left = []
    for entry in os.listdir("/proc"):
        if not entry.isdigit() or int(entry) == os.getpid():
            continue
        try:
            with open(f"/proc/{entry}/stat", "rb") as f:
                fields = f.read().rpartition(b")")[2].split()
            if fields[0] != b"Z" and int(fields[3]) == session:
                left.append(int(entry))
            elif fields[0] != b"Z":
                with open(f"/proc/{entry}/cmdline", "rb") as f:
                    if marker in f.read():
                        left.append(int(entry))
        except (OSError, ValueError, IndexError):
            continue
    return left


def none_left(browser, marker):
    deadline = time.monotonic() + STOP_SECONDS
    while processes_left(browser.pid, marker):
        if time.monotonic() > deadline:
            return False
        time.sleep(0.05)
    return True


def stop_browser(browser, marker):
    if browser.poll() is None:
        browser.terminate()
        try:
            browser.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            browser.kill()
            browser.wait()
    # Its helpers go by themselves once it has gone, but not always at once.
    if none_left(browser, marker):
        return True
    for pid in processes_left(browser.pid, marker):
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    return none_left(browser, marker)


def prove_input(page, window):
    for _ in range(PROBE_ATTEMPTS):
        for command in (["windowactivate", "--sync", str(window)], ["key", "shift"]):
            subprocess.run(["xdotool"] + command, stdout=subprocess.DEVNULL,
                           stderr=subprocess.DEVNULL, check=False)
        if page.probed.wait(PROBE_WAIT):
            return True
    return False


def tail(path, lines=30):
    try:
        with open(path, "rb") as f:
            return b"".join(f.readlines()[-lines:]).decode("utf-8", errors="replace")
    except OSError:
        return ""


def die_with_parent():
    # Should the launcher be killed outright, the browser must not stay behind.
    try:
        import ctypes

        PR_SET_PDEATHSIG = 1
        ctypes.CDLL(None, use_errno=True).prctl(PR_SET_PDEATHSIG, signal.SIGKILL)
    except (OSError, AttributeError):
        pass


def main():
    options = standin.parse_options(PROGRAM)
    try:
        log = standin.EventLog(options.log_path)
    except OSError as e:
        standin.warn(PROGRAM, f"cannot write {options.log_path}: {e.strerror}")
        return 1

    stopping = False

    def on_signal(*_):
        nonlocal stopping
        stopping = True

    signal.signal(signal.SIGTERM, on_signal)
    signal.signal(signal.SIGINT, on_signal)

    work = tempfile.mkdtemp(prefix="quillmate-chromium-")
    profile = os.path.join(work, "profile")
    browser_log = os.path.join(work, "chromium.log")
    page = Page(log)
    server = Server(("127.0.0.1", 0), handler_for(page))
    url = "http://127.0.0.1:%d/chat.html?%s" % (
        server.server_address[1], urllib.parse.urlencode({"title": options.title}))
    browser = serving = None
    status = 0
    try:
        # Its home is the work folder too, so that nothing of the user's is read or written.
        env = dict(os.environ, HOME=work, XDG_CONFIG_HOME=os.path.join(work, "config"),
                   XDG_CACHE_HOME=os.path.join(work, "cache"))
        with open(browser_log, "wb") as out:
            # Started before the server thread, as forking with threads running is best avoided.
            browser = subprocess.Popen(browser_command(options, profile, url), env=env,
                                       stdin=subprocess.DEVNULL, stdout=out, stderr=out,
                                       start_new_session=True, preexec_fn=die_with_parent)
        serving = threading.Thread(target=server.serve_forever, daemon=True)
        serving.start()

        # poll rather than epoll, which refuses a file or /dev/null as standard input.
        selector = selectors.PollSelector()
        selector.register(sys.stdin.fileno(), selectors.EVENT_READ)
        commands = standin.CommandReader()
        window = place_attempts = 0
        while not stopping:
            for key, _ in selector.select(0.05):
                data = os.read(key.fd, 4096)
                if not data:
                    selector.unregister(key.fd)  # no more commands; the window stays
                for line in commands.feed(data):
                    if line.startswith("title "):
                        page.push({"command": "title", "title": line[6:]})
                    elif line == "clear":
                        page.push({"command": "clear"})
                    elif line == "quit":
                        stopping = True
            if browser.poll() is not None:
                if not window:
                    standin.warn(PROGRAM, "chromium ended before its window was ready:\n"
                                 + tail(browser_log))
                    status = 1
                break
            if window or not page.loaded.is_set():
                continue
            window = find_window(browser.pid, options.class_name)
            if window and options.geometry and not place(window, options.geometry):
                place_attempts += 1
                if place_attempts < PLACE_ATTEMPTS:
                    window = 0  # the window manager is not done with it yet: again
                else:
                    standin.warn(PROGRAM, "the window did not go where it was asked to")
            if window:
                if not prove_input(page, window):
                    standin.warn(PROGRAM, "keys typed into the window never reached the page")
                log.write({"event": "ready", "window": window, "pid": browser.pid})
    except OSError as e:
        standin.warn(PROGRAM, str(e))
        status = 1
    finally:
        signal.signal(signal.SIGTERM, signal.SIG_IGN)
        signal.signal(signal.SIGINT, signal.SIG_IGN)
        if browser is not None and not stop_browser(browser, profile.encode()):
            standin.warn(PROGRAM, "some chromium processes did not end")
            status = status or 1
        page.push(closing=True)
        if serving is not None:
            server.shutdown()
        server.server_close()
        shutil.rmtree(work, ignore_errors=True)
    log.write({"event": "quit"})
    return status


if __name__ == "__main__":
    sys.exit(main())
