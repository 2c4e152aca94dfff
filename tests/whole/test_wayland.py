# SPDX-License-Identifier: MIT
"""The application on Wayland: a Weston whose one output fills a virtual screen, so that real clicks and keys go in
and the pixels that a user would see come out. Its kiosk shell gives each window the whole output: places are known, and
nothing of a desktop lies over a window while that still starts. What the application knows of its windows is read from
its own log of the protocol, for there is no other way to ask whether a dialog is open."""

import itertools
import os
import re
import subprocess
import unittest

from desktop import Screen, Velmora, decode_errors, probe, wait_for

PROGRAMS = os.environ["VELMORA_PROGRAMS"]
OUTPUT = (1280, 960)
HIGH = bytes(value >= 200 for value in range(256))
LOW = bytes(value < 60 for value in range(256))

# Events that the application receives. Newer libraries name the queue first, and write an object with # in place of @.
RECEIVED = r"\] +(?:\{[^}]*\} +)?"
KEYBOARD_ENTERS = RECEIVED + r"wl_keyboard[@#]\d+\.enter\("
POINTER_MOVES = RECEIVED + r"wl_pointer[@#]\d+\.(?:enter|motion)\("
BUTTON_RELEASED = RECEIVED + r"wl_pointer[@#]\d+\.button\(\d+, \d+, \d+, 0\)"


class Wayland(unittest.TestCase):
    def setUp(self):
        # Without a window manager the output is where it is made, and shown at once.
        self.screen = Screen(*OUTPUT, manager=False)
        self.addCleanup(self.screen.close)
        # Weston counts the pointer's steps from where it first saw it, or from the corner if it came too late for that.
        self.screen.xdotool("mousemove", 0, 0)
        self.screen.start(["weston", "--backend=x11-backend.so", "--shell=kiosk-shell.so", "--use-pixman",
                           "--no-config", "--idle-time=0", f"--width={OUTPUT[0]}", f"--height={OUTPUT[1]}",
                           "--socket=wayland-test"])
        wait_for("the compositor", 20, lambda: os.path.exists(os.path.join(self.screen.folder, "wayland-test")))
        output = wait_for("its output", 20, lambda: self.screen.output("xdotool", "search", "--onlyvisible", "--class",
                                                                       "weston").split())[0]
        self.screen.xdotool("windowfocus", "--sync", output)
        self.log = os.path.join(self.screen.folder, "protocol")
        environment = {key: value for key, value in self.screen.environment.items() if key != "DISPLAY"}
        environment.update(WAYLAND_DISPLAY="wayland-test", QT_QPA_PLATFORM="wayland", WAYLAND_DEBUG="1")
        with open(self.log, "wb") as log:
            self.process = subprocess.Popen([os.path.join(PROGRAMS, "velmora")], env=environment, stderr=log)
        self.addCleanup(self.end)

    def end(self):
        self.process.kill()
        self.process.wait()

    def count(self, event):
        with open(self.log, encoding="utf-8", errors="replace") as file:
            return len(re.findall(event, file.read()))

    def wait_for_next(self, event, action, *arguments):
        """Does something, and waits until the application has received the event."""
        before = self.count(event)
        action(*arguments)
        self.wait_for_count(event, before + 1)

    def wait_for_count(self, event, wanted):
        """Waits until the application has received so many of the events. The pointer trembles meanwhile as in a hand:
        Weston on X sometimes keeps an event back until the next one comes."""
        steps = itertools.cycle((1, -1))

        def received():
            self.screen.xdotool("mousemove_relative", "--", next(steps), 0)
            return self.count(event) >= wanted
        wait_for(f"{wanted} times {event}", 20, received, pause=0.1)

    def find_picture(self):
        """Left, top, width and height of the frame that the window draws on each picture; None while there is none."""
        edges = []
        for y, row in enumerate(self.screen.rows(0, 0, *OUTPUT)):
            red = -1
            for channel, wanted in enumerate((LOW, LOW, HIGH)):
                red &= int.from_bytes(row[channel::4].translate(wanted), "big")
            marks = red.to_bytes(OUTPUT[0], "big")
            edges += [(run.start(), y, len(run[0])) for run in re.finditer(b"\x01{200,}", marks)]
        if len(edges) < 2 or edges[0][::2] != edges[-1][::2]:
            return None
        left, top, width = edges[0]
        return (left, top, width, edges[-1][1] - top + 1)

    def read_pattern(self, picture, *seconds):
        reader = os.path.join(PROGRAMS, "read_pattern")
        return self.screen.output(reader, self.screen.memory, *map(str, [*picture, *seconds])).split()

    def wait_for_picture(self, size):
        """Waits until a live picture of that size is there, and returns its place."""
        def look():
            picture = self.find_picture()
            if picture is None or abs(picture[2] - size[0]) > 1 or abs(picture[3] - size[1]) > 1:
                return None
            return picture if self.read_pattern(picture)[:1] not in ([], ["none"]) else None
        return wait_for(f"a picture of {size}", 20, look)

    def click_record(self):
        x, y = Velmora.BOTTOM_RIGHT["btnstartcapture1"]
        place = (OUTPUT[0] - Velmora.CONTENT[0] + x, OUTPUT[1] - Velmora.CONTENT[1] + y)
        self.wait_for_next(POINTER_MOVES, self.screen.xdotool, "mousemove", *place)
        self.wait_for_next(BUTTON_RELEASED, self.screen.xdotool, "click", 1)
        self.wait_for_next(POINTER_MOVES, self.screen.xdotool, "mousemove", place[0] - 60, place[1] + 60)

    def frames(self, path):
        try:
            return int(probe(path)["video"]["nb_read_packets"])
        except (subprocess.CalledProcessError, KeyError, ValueError):
            return 0 # not there yet, or so young that some of it is still missing

    def test_shows_records_resizes_and_closes(self):
        self.wait_for_count(KEYBOARD_ENTERS, 1)
        # As high as the control is in a window of the output's size, less its menu bar.
        picture = wait_for("a picture", 20, self.find_picture)
        height = picture[3]
        self.assertGreater(height, 700)
        picture = self.wait_for_picture((height * 4 / 3, height))
        numbers = [int(number) for number in self.read_pattern(picture, 2)]
        self.assertEqual(numbers, sorted(set(numbers)))
        self.assertGreater(len(numbers), 2)

        path = os.path.join(self.screen.folder, "take.mov")
        self.wait_for_next(KEYBOARD_ENTERS, self.click_record)
        self.screen.key("ctrl+a")
        self.screen.type(path)
        self.screen.key("Return")
        wait_for("a second of the movie", 20, lambda: self.frames(path) >= 30, pause=0.2)
        self.click_record()
        wait_for("the movie to be finished", 20, lambda: decode_errors(path) == "", pause=0.2)
        self.assertGreaterEqual(self.frames(path), 30)

        # The click has brought the keyboard back, which some versions of the shell leave with the closed dialog.
        for key, size in (("ctrl+2", (320, 240)), ("ctrl+1", (640, 480))):
            self.screen.key(key)
            self.wait_for_picture(size)
        self.screen.key("ctrl+q")
        self.assertEqual(self.process.wait(20), 0)


if __name__ == "__main__":
    unittest.main()
