#!/usr/bin/python3
"""gtk_chat.py --class NAME --title TITLE [--geometry WxH+X+Y] [--log FILE]

Stands in for a GTK 3 chat client in end-to-end tests: one window whose text box has the focus.
Command line, events and commands are stub_chat's (see stub_chat.cpp), except that no "paste"
event is logged. It exists because GTK, unlike Qt, does not wait for the clipboard on Ctrl+V:
keys pressed right after it can be handled before the pasted text arrives, as in the real thing.
"""

import os
import signal
import sys

# Run from the source tree: no __pycache__ left in it.
sys.dont_write_bytecode = True
import standin  # noqa: E402

PROGRAM = "gtk_chat"


def main():
    # Parsed before GTK starts: GTK takes --class (and more) out of sys.argv for itself.
    options = standin.parse_options(PROGRAM)
    sys.argv = sys.argv[:1]
    os.environ["GDK_BACKEND"] = "x11"
    # Without an accessibility bus, GTK would warn about it on every start.
    os.environ.setdefault("NO_AT_BRIDGE", "1")

    import gi

    gi.require_version("Gtk", "3.0")
    gi.require_version("Gdk", "3.0")
    gi.require_version("GdkX11", "3.0")
    from gi.repository import Gdk, GdkX11, GLib, Gtk

    # WM_CLASS is (prgname, program class) on X11; both are NAME, as stub_chat does.
    GLib.set_prgname(options.class_name)
    Gdk.set_program_class(options.class_name)

    try:
        log = standin.EventLog(options.log_path)
    except OSError as e:
        standin.warn(PROGRAM, f"cannot write {options.log_path}: {e.strerror}")
        return 1

    window = Gtk.Window(title=options.title)
    view = Gtk.TextView()
    view.set_wrap_mode(Gtk.WrapMode.WORD_CHAR)
    scroller = Gtk.ScrolledWindow()
    scroller.add(view)
    window.add(scroller)
    buffer = view.get_buffer()

    if options.geometry:
        window.set_default_size(options.geometry.width, options.geometry.height)
        window.move(options.geometry.x, options.geometry.y)
    else:
        window.set_default_size(480, 360)

    def whole_text():
        return buffer.get_text(buffer.get_start_iter(), buffer.get_end_iter(), True)

    buffer.connect("changed", lambda _: log.write({"event": "text", "text": whole_text()}))

    enter_keys = {Gdk.KEY_Return, Gdk.KEY_KP_Enter, Gdk.KEY_ISO_Enter}

    # Enter sends in a chat client; here it is only recorded. Handled before the text view's own
    # handler, so no newline goes in.
    def on_key_press(_, event):
        if event.keyval not in enter_keys:
            return False
        ctrl = bool(event.state & Gdk.ModifierType.CONTROL_MASK)
        log.write({"event": "enter", "ctrl": ctrl, "text": whole_text()})
        return True

    view.connect("key-press-event", on_key_press)
    window.connect(
        "notify::is-active",
        lambda w, _: log.write({"event": "active", "active": w.is_active()}))

    # The first frame painted after the map: the window manager has mapped the window and it
    # shows. (The frame clock rather than "draw", which would need the cairo bindings.)
    ready = False

    def on_after_paint(clock):
        nonlocal ready
        if ready:
            return
        ready = True
        clock.disconnect_by_func(on_after_paint)
        log.write({"event": "ready", "window": GdkX11.X11Window.get_xid(window.get_window())})

    def on_map(*_):
        window.get_frame_clock().connect("after-paint", on_after_paint)
        return False

    window.connect("map-event", on_map)
    window.connect("destroy", lambda _: Gtk.main_quit())

    commands = standin.CommandReader()

    def on_stdin(fd, _condition):
        try:
            data = os.read(fd, 4096)
        except OSError:
            data = b""
        if not data:
            return False  # no more commands; the window stays
        for line in commands.feed(data):
            if line.startswith("title "):
                window.set_title(line[6:])
            elif line == "clear":
                buffer.set_text("")
            elif line == "quit":
                Gtk.main_quit()
        return True

    GLib.io_add_watch(sys.stdin.fileno(), GLib.PRIORITY_DEFAULT,
                      GLib.IOCondition.IN | GLib.IOCondition.HUP, on_stdin)

    def on_terminate():
        Gtk.main_quit()
        return GLib.SOURCE_REMOVE

    GLib.unix_signal_add(GLib.PRIORITY_HIGH, signal.SIGTERM, on_terminate)
    GLib.unix_signal_add(GLib.PRIORITY_HIGH, signal.SIGINT, on_terminate)

    view.grab_focus()
    window.show_all()
    window.present()
    Gtk.main()
    log.write({"event": "quit"})
    return 0


if __name__ == "__main__":
    sys.exit(main())
