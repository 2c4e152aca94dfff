# SPDX-License-Identifier: MIT
"""What people come to do, each from a fresh start, by mouse and by keys alone: a first movie, another camera, a mirrored
picture while recording, a still picture to a file, settings saved and restored. Printed for each: the seconds that hands
work, which leaves out what is waited for."""

import os
import re
import sys
import unittest

from desktop import Screen, Velmora, decode_errors, wait_for

PROGRAMS = os.environ["VELMORA_PROGRAMS"]
LONGEST = 10  # seconds of hand time
STEP = 0.25   # seconds that a person needs for a key, a click or a letter of a name


class Hands:
    """Presses and clicks, counted as what they take a person."""

    def __init__(self, screen):
        self.screen = screen
        self.seconds = 0

    def key(self, *names):
        self.seconds += STEP * len(names)
        for name in names:
            self.screen.key(name)

    def type(self, text):
        self.seconds += STEP * len(os.path.basename(text))
        self.screen.type(text)

    def click(self, x, y, button=1):
        self.seconds += 4 * STEP  # with the way there
        self.screen.xdotool("mousemove", x, y, "click", button)


class Tasks(unittest.TestCase):
    def setUp(self):
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.velmora = Velmora(self.screen, PROGRAMS)
        self.hands = Hands(self.screen)

    def tearDown(self):
        print(f"{self.id().split('.')[-1]}: {self.hands.seconds:.1f} s of hand time", file=sys.stderr)
        self.assertLess(self.hands.seconds, LONGEST)
        self.assertEqual(self.velmora.close(), 0)

    def path(self, name):
        return os.path.join(self.screen.folder, name)

    def dialog(self, *known):
        """Waits for a dialog besides those known, and brings it to the front."""
        window = wait_for("a dialog", 20, lambda: [one for one in self.velmora.dialogs() if one not in known])[0]
        self.screen.xdotool("windowactivate", "--sync", window)
        return window

    def name_file(self, name):
        """Answers a file dialog and goes back to the main window. The folder of the path counts as the one that the
        dialog begins in."""
        window = self.dialog()
        self.hands.key("ctrl+a")
        self.hands.type(self.path(name))
        self.hands.key("Return")
        wait_for("the dialog to close", 20, lambda: window not in self.velmora.dialogs())
        self.screen.xdotool("windowactivate", "--sync", self.velmora.window)

    def press(self, control):
        left, top, _, _ = self.velmora.content()
        x, y = {**self.velmora.BOTTOM_LEFT, **self.velmora.BOTTOM_RIGHT}[control]
        self.hands.click(left + x, top + y)

    def movie(self, name):
        """The movie, once it is whole."""
        wait_for("the movie", 20, lambda: os.path.exists(self.path(name)) and "Recording" not in self.velmora.title()
                 and "Writing" not in self.velmora.title())
        self.assertEqual(decode_errors(self.path(name)), "")

    def wait_until_recorded(self, seconds):
        def recorded():
            shown = re.search(r"Recording 00:00:(\d\d)", self.velmora.title())
            return shown and int(shown.group(1)) >= seconds
        wait_for("the recording", 20, recorded)

    def test_first_movie_by_mouse(self):
        self.press("btnstartcapture1")
        self.name_file("m.mov")
        self.wait_until_recorded(1)
        self.press("btnstartcapture1")
        self.movie("m.mov")

    def test_mirrored_movie_by_keys(self):
        corners = self.velmora.corners()
        # From the first control on, the chooser: the field beside it, the button.
        self.hands.key("Tab", "Tab")
        self.hands.key("space")
        self.name_file("k.mov")
        self.wait_until_recorded(1)
        self.hands.key("Tab", "Tab", "Tab", "space")
        wait_for("the mirrored picture", 20, lambda: self.velmora.corners() not in ([], corners))
        self.hands.key("shift+Tab", "shift+Tab", "shift+Tab", "space")
        self.movie("k.mov")

    def test_still_picture_to_a_file_by_keys(self):
        self.hands.key("ctrl+g")
        picture = self.dialog()
        self.hands.key("ctrl+s")
        self.dialog(picture)
        self.hands.key("ctrl+a")
        self.hands.type(self.path("s.png"))
        self.hands.key("Return")
        wait_for("the picture", 20, lambda: os.path.exists(self.path("s.png")))
        wait_for("the save dialog to close", 20, lambda: self.velmora.dialogs() == [picture])
        self.dialog()
        self.hands.key("Escape")
        wait_for("the window to close", 20, lambda: not self.velmora.dialogs())
        with open(self.path("s.png"), "rb") as file:
            self.assertEqual(file.read(8)[1:4], b"PNG")

    def test_settings_kept_and_restored_by_keys(self):
        self.hands.key("ctrl+s")
        self.name_file("kept")
        self.hands.key("ctrl+o")
        self.name_file("kept")
        wait_for("the live picture", 20, self.velmora.find_shape)
        with open(self.path("noise"), "wb") as file:
            file.write(os.urandom(1000))
        self.screen.key("ctrl+o")
        chooser = self.dialog()
        self.screen.type(self.path("noise"))
        self.screen.key("Return")
        self.dialog(chooser)  # the reason why not
        self.screen.key("Return")
        wait_for("the reason to close", 20, lambda: self.velmora.dialogs() == [chooser])
        self.dialog()
        self.screen.key("Escape")
        wait_for("the dialogs to close", 20, lambda: not self.velmora.dialogs())
        wait_for("the live picture", 20, self.velmora.find_shape)


if __name__ == "__main__":
    unittest.main()
