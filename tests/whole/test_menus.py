# SPDX-License-Identifier: MIT
"""The menus worked with real clicks and keys. What they show is read as a screen reader reads it, through the desktop's
accessibility bus: so this also proves that everything has a name there."""

import ast
import os
import re
import subprocess
import time
import unittest

from desktop import Screen, Velmora, wait_for

MAIN = "Test Pattern"
# As far as it differs from menu to menu what a screen reader says; the menus' own test has every item.
ITEMS = {
    "Edit": "(Undo)|-|(Cut)|(Copy)|(Paste)|(Clear)",
    "Monitor": "Preview*|Preview While Recording*|Grab Picture|Size",
}


class Reader:
    """A screen reader: an object is the pair of its program's bus name and its path."""

    ROOT = ("org.a11y.atspi.Registry", "/org/a11y/atspi/accessible/root")
    CHECKED, SENSITIVE = 1 << 4, 1 << 24

    def __init__(self, screen):
        self.screen = screen
        bus = screen.start(["dbus-daemon", "--session", "--print-address", "--nofork"], stdout=subprocess.PIPE)
        with bus.stdout:
            address = bus.stdout.readline().decode().strip()
        screen.environment.update(DBUS_SESSION_BUS_ADDRESS=address, QT_LINUX_ACCESSIBILITY_ALWAYS_ON="1")
        self.bus = address
        self.bus = self.ask(("org.a11y.Bus", "/org/a11y/bus"), "org.a11y.Bus.GetAddress")

    def ask(self, thing, method, *arguments):
        """What the object answers; nothing when it is gone."""
        name, path = thing
        answer = self.screen.output("gdbus", "call", "--address", self.bus, "--dest", name, "--object-path", path,
                                    "--method", method, *arguments)
        # Values are written as Python writes them, but for the names of types and the brackets of a variant.
        plain = re.sub(r"(objectpath|uint32|@\S+) ", "", re.sub(r"^\(<(.*)>,\)$", r"(\1,)", answer.strip()))
        return ast.literal_eval(plain)[0] if answer else None

    def accessible(self, thing, question):
        return self.ask(thing, "org.a11y.atspi.Accessible." + question) or []

    def children(self, thing, role=None):
        children = [tuple(child) for child in self.accessible(thing, "GetChildren")]
        return [child for child in children if role in (None, self.accessible(child, "GetRoleName"))]

    def name(self, thing):
        return self.ask(thing, "org.freedesktop.DBus.Properties.Get", "org.a11y.atspi.Accessible", "Name")

    def child(self, thing, name):
        return next(child for child in self.children(thing) if self.name(child) == name)

    def click(self, thing):
        left, top, width, height = self.ask(thing, "org.a11y.atspi.Component.GetExtents", "0")
        self.screen.click(left + width // 2, top + height // 2)


class Menus(unittest.TestCase):
    def setUp(self):
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.reader = Reader(self.screen)
        self.velmora = Velmora(self.screen, os.environ["VELMORA_PROGRAMS"])
        self.program = wait_for("the program on the bus", 10, lambda: self.reader.children(Reader.ROOT))[0]

    def windows(self):
        return {self.reader.name(window): window for window in self.reader.children(self.program)}

    def open_menu(self, window, *path):
        """Opens a menu by clicks from the bar on and gives its items."""
        shown = wait_for(window, 10, lambda: self.windows().get(window))
        items = self.reader.children(shown, "menu bar")[0]
        for name in path:
            entry = self.reader.child(items, name)
            self.reader.click(entry)
            time.sleep(0.3)
            items = self.reader.children(entry)[0]
        return items

    def read_menu(self, window, *path):
        """Texts of a menu's items: disabled ones in brackets, checked ones with a star."""
        texts = []
        for item in self.reader.children(self.open_menu(window, *path)):
            # A separator is a plain line without a name.
            name, states = self.reader.name(item) or "-", self.reader.accessible(item, "GetState")[0]
            shown = name if states & Reader.SENSITIVE or name == "-" else f"({name})"
            texts.append(shown + ("*" if states & Reader.CHECKED else ""))
        self.screen.key(*["Escape"] * (len(path) + 1))
        time.sleep(0.2)
        return "|".join(texts)

    def choose(self, window, *path):
        self.reader.click(self.reader.child(self.open_menu(window, *path[:-1]), path[-1]))

    def test_each_menu_in_front_of_the_main_window(self):
        for menu, items in ITEMS.items():
            self.assertEqual(self.read_menu(MAIN, menu), items)
        self.assertEqual(self.read_menu(MAIN, "Monitor", "Size"), "Full Size|Half Size|Quarter Size")
        self.assertEqual(self.read_menu(MAIN, "Sound", "Device Available"), "(Test Tone)*")
        self.screen.key("ctrl+r")
        self.choose(MAIN, "Video", "Enabled")
        self.assertTrue(self.read_menu(MAIN, "Monitor").startswith("Preview|"))
        self.assertTrue(self.read_menu(MAIN, "Video").startswith("Disabled|"))

    def test_a_window_in_front_enables_its_own_items(self):
        date = time.strftime("%A, %-d %B %Y")
        for opening, window, closes in ((("Monitor", "Grab Picture"), date, True),
                                        (("Video", "IIDCVideoSettings"), "IIDC Video Settings", True),
                                        (("Video", "Analog Video Settings…"), "Image Settings", False)):
            with self.subTest(window=window):
                self.choose(MAIN, *opening)
                self.assertEqual(self.read_menu(window, "File"),
                                 ("Close" if closes else "(Close)") + "|(Save Settings)|(Open Settings)|Quit")
                self.assertTrue(self.read_menu(window, "Monitor").startswith("(Preview)*|"))
                self.screen.key("ctrl+w")
                if closes:
                    wait_for("the window to close", 10, lambda w=window: w not in self.windows())
        self.assertIn("Image Settings", self.windows())


if __name__ == "__main__":
    unittest.main()
