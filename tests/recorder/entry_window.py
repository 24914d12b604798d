#!/usr/bin/python3
# A window holding one entry, for typing tests: entry_window.py TITLE NAME [password]. The entry is
# named NAME on the accessibility bus; with "password" it hides its text, as a password entry does.
import sys

import gi

gi.require_version("Gtk", "3.0")
from gi.repository import Gtk  # noqa: E402

title, name = sys.argv[1], sys.argv[2]
window = Gtk.Window(title=title)
entry = Gtk.Entry()
entry.set_visibility(len(sys.argv) < 4)
entry.get_accessible().set_name(name)
window.add(entry)
window.set_default_size(400, 40)
window.move(200, 700)
window.connect("destroy", Gtk.main_quit)
window.show_all()
Gtk.main()
