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
ITEMS = {
    "File": "(Close)|Save Settings|Open Settings|Quit",
    "Edit": "(Undo)|-|(Cut)|(Copy)|(Paste)|(Clear)",
    "Monitor": "Preview*|Preview While Recording*|Grab Picture|Size",
    "Sound": "Enabled*|Settings…|-|Channel Count|Compression Type|Device Available|Input Gain|Level Meter Active|"
             "Sample Rate|Sample Size|Volume",
    "Video": "Enabled*|Settings…|Analog Video Settings…|IIDCVideoSettings|-|CompressionType|Depth|Device Available|"
             "Device Selected|Frame and Keyframe Rate|Spatial Quality|Temporal Quality",
    "ZEMBRIL": "Website|Support|-|Documentation",
}
BOXES = {
    ("Sound", "Sample Rate"): ["VelmoraCanvas1.SoundSampleRate = 44100", "VelmoraCanvas1.SoundSampleRate = 11025"],
    ("Sound", "Sample Size"): ["VelmoraCanvas1.SoundSampleSize = 16", "VelmoraCanvas1.SoundSampleSize = 8"],
    ("Sound", "Volume"): ["VelmoraCanvas1.SoundVolume = 256", "VelmoraCanvas1.SoundVolume = 128"],
    ("Sound", "Level Meter Active"): ["SoundLevelMeterActive = FALSE", "SoundLevelMeterActive = TRUE"],
    ("Video", "Depth"): ["VideoDepth = 24", "VideoDepth = 16"],
    ("Video", "Device Selected"): ["VideoDeviceSelected = 0"],
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

    def box_text(self):
        box = wait_for("a message box", 10, lambda: [w for name, w in self.windows().items() if name != MAIN])[0]
        texts = [self.reader.name(label) for label in self.reader.children(box, "label")]
        self.screen.key("Return")
        wait_for("the box to close", 10, lambda: box not in self.windows().values())
        return "".join(texts)

    def test_each_menu_in_front_of_the_main_window(self):
        for menu, items in ITEMS.items():
            self.assertEqual(self.read_menu(MAIN, menu), items)
        self.assertEqual(self.read_menu(MAIN, "Monitor", "Size"), "Full Size|Half Size|Quarter Size")
        self.assertEqual(self.read_menu(MAIN, "Sound", "Device Available"), "(Test Tone)*")
        self.screen.key("ctrl+r")
        self.choose(MAIN, "Video", "Enabled")
        self.assertTrue(self.read_menu(MAIN, "Monitor").startswith("Preview|"))
        self.assertTrue(self.read_menu(MAIN, "Video").startswith("Disabled|"))

    def test_items_show_values_and_what_became_of_them(self):
        for path, texts in BOXES.items():
            self.choose(MAIN, *path)
            self.assertEqual([self.box_text() for _ in texts], texts)

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

    def test_sizes_and_quit_by_key(self):
        left, top, _, _ = self.velmora.picture()
        empty = self.screen.pixel(left - 5, top + 5)
        for key, width, height in (("2", 320, 240), ("3", 160, 120), ("1", 640, 480)):
            self.screen.key("ctrl+" + key)
            time.sleep(0.5)
            self.assertEqual(self.screen.pixel(left + width + 5, top + 5), empty, key)
            self.assertNotEqual(self.screen.pixel(left + width - 5, top + height - 5), empty, key)
        self.screen.key("alt+f", "Up", "Return")
        self.assertEqual(self.velmora.process.wait(10), 0)


if __name__ == "__main__":
    unittest.main()
