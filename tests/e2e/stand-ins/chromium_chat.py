#!/usr/bin/python3
"""chromium_chat.py --class NAME --title TITLE [--geometry WxH+X+Y] [--log FILE]

Stands in for a Chromium-based chat client in end-to-end tests. Chromium, in a real window of its
own (--app), shows chat.html: a text box with the focus. It pastes as those clients do: keys
pressed after Ctrl+V wait for the clipboard's answer, but only up to a time-out of Chromium's
(between 1.5 and 6 s), after which nothing is pasted. The page talks to a small HTTP server of
this launcher on 127.0.0.1: it posts its events, which are logged here, and long-polls for the
commands read from standard input. Command line, events and commands are stub_chat's (see
stub_chat.cpp), except that no "paste" event is logged, and that "ready" also has the browser's
process id ("pid"), as the window's _NET_WM_PID is not the launcher's. WM_CLASS is (derived from
the page address, NAME).

"ready" is logged once the page has loaded with the text box focused and the browser's window,
the one whose _NET_WM_PID is the browser's and whose WM_CLASS class is NAME, is viewable, and
with a geometry, once its frame has been moved to begin where asked, as with stub_chat. On
"quit", SIGTERM or SIGINT, the browser and every process it started are ended and its profile is
removed.
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


class Page:
    """What the HTTP handlers share with the main thread."""

    def __init__(self, log):
        self.log = log
        self.loaded = threading.Event()
        self.probed = threading.Event()
        self.closing = False
        self._commands = []
        self._changed = threading.Condition()

    def push(self, command):
        with self._changed:
            self._commands.append(command)
            self._changed.notify_all()

    def close(self):
        with self._changed:
            self.closing = True
            self._changed.notify_all()

    def commands_from(self, first):
        with self._changed:
            self._changed.wait_for(lambda: len(self._commands) > first or self.closing,
                                   LONG_POLL_SECONDS)
            return self._commands[first:], len(self._commands)

    def take(self, entry):
        kind = entry.get("event")
        if kind == "loaded":
            self.loaded.set()
        elif kind == "probe":
            self.probed.set()
        elif kind == "text":
            self.log.write({"event": "text", "text": str(entry.get("text", ""))})
        elif kind == "enter":
            self.log.write({"event": "enter", "ctrl": bool(entry.get("ctrl")),
                            "text": str(entry.get("text", ""))})
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
            self.send_header("Content-Type", content_type)
            self.send_header("Content-Length", str(len(body)))
            self.send_header("Cache-Control", "no-store")
            self.end_headers()
            self.wfile.write(body)

        def do_GET(self):
            url = urllib.parse.urlsplit(self.path)
            if url.path == "/chat.html":
                with open(PAGE, "rb") as f:
                    self.reply(200, f.read(), "text/html; charset=utf-8")
            elif url.path == "/commands":
                query = urllib.parse.parse_qs(url.query)
                try:
                    first = max(0, int(query.get("next", ["0"])[0]))
                except ValueError:
                    first = 0
                commands, following = page.commands_from(first)
                body = json.dumps({"commands": commands, "next": following}, ensure_ascii=False)
                self.reply(200, body.encode("utf-8"))
            else:
                self.reply(404)  # the favicon, too

        def do_POST(self):
            if urllib.parse.urlsplit(self.path).path != "/events":
                self.reply(404)
                return
            length = int(self.headers.get("Content-Length", "0"))
            try:
                entries = json.loads(self.rfile.read(length).decode("utf-8"))
            except (UnicodeDecodeError, json.JSONDecodeError):
                self.reply(400)
                return
            for entry in entries if isinstance(entries, list) else []:
                if isinstance(entry, dict):
                    page.take(entry)
            self.reply(204)

    return Handler


def x_property(window, name):
    """The value of a window's property as "xprop -notype" prints it, or None."""
    out = subprocess.run(["xprop", "-id", str(window), "-notype", name],
                         capture_output=True, text=True).stdout
    _, equals, value = out.strip().partition(" = ")
    return value if equals else None


def find_window(pid, class_name):
    """The browser's viewable top-level window with WM_CLASS class NAME, or 0."""
    found = subprocess.run(["xdotool", "search", "--onlyvisible", "--pid", str(pid)],
                           capture_output=True, text=True)
    for word in found.stdout.split():
        window = int(word)
        names = re.findall(r'"((?:[^"\\]|\\.)*)"', x_property(window, "WM_CLASS") or "")
        if len(names) == 2 and names[1] == class_name:
            return window
    return 0


def client_origin(window):
    out = subprocess.run(["xwininfo", "-id", str(window)], capture_output=True, text=True).stdout
    x = re.search(r"Absolute upper-left X:\s*(-?\d+)", out)
    y = re.search(r"Absolute upper-left Y:\s*(-?\d+)", out)
    return (int(x[1]), int(y[1])) if x and y else None


def place(window, geometry):
    """Moves the window so that its frame, not the window itself, begins at the place asked for,
    as with the other stand-ins: Chromium asks for static gravity. False if it did not get
    there."""
    extents = x_property(window, "_NET_FRAME_EXTENTS") or ""
    extents = [int(v) for v in re.findall(r"\d+", extents)]
    if len(extents) != 4:
        return False
    wanted = (geometry.x + extents[0], geometry.y + extents[2])
    if client_origin(window) == wanted:
        return True
    subprocess.run(["xdotool", "windowmove", str(window), str(wanted[0]), str(wanted[1])],
                   capture_output=True)
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
    command = [
        browser,
        f"--class={options.class_name}",
        f"--user-data-dir={profile}",
        f"--window-size={geometry.width},{geometry.height}",
        # No network here, perhaps root, and nothing to set up: start as fast as it can.
        "--no-sandbox",
        "--test-type",  # no warning bar about --no-sandbox
        "--ozone-platform=x11",
        "--disable-gpu",
        "--disable-quic",
        "--no-proxy-server",
        "--no-first-run",
        "--no-default-browser-check",
        "--disable-background-networking",
        "--disable-component-update",
        "--disable-sync",
        "--disable-extensions",
        "--disable-default-apps",
        "--disable-features=Translate,MediaRouter",
        "--password-store=basic",
        # A window behind others must still handle its keys and timers at once.
        "--disable-renderer-backgrounding",
        "--disable-background-timer-throttling",
        "--disable-backgrounding-occluded-windows",
        f"--app={url}",
    ]
    if options.geometry:
        command.insert(3, f"--window-position={geometry.x},{geometry.y}")
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
                stat = f.read()
            fields = stat[stat.rindex(b")") + 2:].split()
            if fields[0] == b"Z":
                continue
            if int(fields[3]) == session:
                left.append(int(entry))
                continue
            with open(f"/proc/{entry}/cmdline", "rb") as f:
                if marker in f.read():
                    left.append(int(entry))
        except (OSError, ValueError, IndexError):
            continue
    return left


def stop_browser(browser, marker):
    if browser.poll() is None:
        browser.terminate()
        try:
            browser.wait(STOP_SECONDS)
        except subprocess.TimeoutExpired:
            browser.kill()
            browser.wait()
    # Its helpers go by themselves once it has gone, but not always at once.
    left = []
    deadline = time.monotonic() + STOP_SECONDS
    while time.monotonic() < deadline:
        left = processes_left(browser.pid, marker)
        if not left:
            return True
        time.sleep(0.05)
    for pid in left:
        try:
            os.kill(pid, signal.SIGKILL)
        except ProcessLookupError:
            pass
    deadline = time.monotonic() + STOP_SECONDS
    while processes_left(browser.pid, marker):
        if time.monotonic() > deadline:
            return False
        time.sleep(0.05)
    return True


# Chromium can lose the keys of a window that was just shown, although the page already has the
# focus: on a slow machine everything typed into a new stand-in went nowhere. So the launcher
# brings its window to the front and presses Shift (which types nothing) until the page reports
# the key; only then is the stand-in ready.
PROBE_ATTEMPTS = 40
PROBE_WAIT = 0.25


def prove_input(page, window):
    for _ in range(PROBE_ATTEMPTS):
        subprocess.run(["xdotool", "windowactivate", "--sync", str(window)],
                       stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, check=False)
        subprocess.run(["xdotool", "key", "shift"], stdout=subprocess.DEVNULL,
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
    browser = None
    serving = None
    status = 0
    try:
        # Its home is the work folder too, so that nothing of the user's is read or written.
        env = dict(os.environ, HOME=work, XDG_CONFIG_HOME=os.path.join(work, "config"),
                   XDG_CACHE_HOME=os.path.join(work, "cache"))
        with open(browser_log, "wb") as output:
            # Started before the server thread, as forking with threads running is best avoided.
            browser = subprocess.Popen(browser_command(options, profile, url), env=env,
                                       stdin=subprocess.DEVNULL, stdout=output, stderr=output,
                                       start_new_session=True, preexec_fn=die_with_parent)
        serving = threading.Thread(target=server.serve_forever, daemon=True)
        serving.start()

        # poll rather than epoll, which refuses a file or /dev/null as standard input.
        selector = selectors.PollSelector()
        selector.register(sys.stdin.fileno(), selectors.EVENT_READ)
        commands = standin.CommandReader()
        window = 0
        place_attempts = 0
        while not stopping:
            for key, _ in selector.select(0.05):
                data = os.read(key.fd, 4096)
                if not data:
                    selector.unregister(key.fd)  # no more commands; the window stays
                    continue
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
            if not window and page.loaded.is_set():
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
        page.close()
        if serving is not None:
            server.shutdown()
        server.server_close()
        shutil.rmtree(work, ignore_errors=True)
    log.write({"event": "quit"})
    return status


if __name__ == "__main__":
    sys.exit(main())
