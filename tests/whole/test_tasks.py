# SPDX-License-Identifier: MIT
"""What people come to do, by keys alone, each from a fresh start: a mirrored movie, a still picture in a file, settings
that are none."""

import os
import re
import unittest

from desktop import Screen, Velmora, decode_errors, wait_for


class Tasks(unittest.TestCase):
    def setUp(self):
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.velmora = Velmora(self.screen, os.environ["VELMORA_PROGRAMS"])

    def tearDown(self):
        self.assertEqual(self.velmora.close(), 0)

    def path(self, name):
        return os.path.join(self.screen.folder, name)

    def dialog(self, *known):
        """Waits for a dialog besides those known, and brings it to the front."""
        window = wait_for("a dialog", 20, lambda: [one for one in self.velmora.dialogs() if one not in known])[0]
        self.screen.xdotool("windowactivate", "--sync", window)
        return window

    def wait_for_dialogs(self, *expected):
        wait_for(f"no dialogs but {expected}", 20, lambda: self.velmora.dialogs() == [*expected])

    def name_file(self, name):
        self.screen.key("ctrl+a")
        self.screen.type(self.path(name))
        self.screen.key("Return")

    def test_mirrored_movie(self):
        corners = self.velmora.corners()
        # From the first control on, the chooser: the field beside it, the button.
        self.screen.key("Tab", "Tab", "space")
        self.dialog()
        self.name_file("k.mov")
        self.wait_for_dialogs()
        self.screen.xdotool("windowactivate", "--sync", self.velmora.window)
        wait_for("the recording", 20, lambda: re.search(r"Recording 00:00:(0[1-9]|[1-5])", self.velmora.title()))
        self.screen.key("Tab", "Tab", "Tab", "space")
        wait_for("the mirrored picture", 20, lambda: self.velmora.corners() not in ([], corners))
        self.screen.key("shift+Tab", "shift+Tab", "shift+Tab", "space")
        wait_for("the movie", 20, lambda: not re.search("Recording|Writing", self.velmora.title()))
        self.assertEqual(decode_errors(self.path("k.mov")), "")

    def test_still_picture_in_a_file(self):
        self.screen.key("ctrl+g")
        picture = self.dialog()
        self.screen.key("ctrl+s")
        self.dialog(picture)
        self.name_file("s.png")
        self.wait_for_dialogs(picture)
        wait_for("the file", 20, lambda: os.path.exists(self.path("s.png")))
        with open(self.path("s.png"), "rb") as file:
            self.assertEqual(file.read(8)[1:4], b"PNG")
        self.dialog()
        self.screen.key("Escape")
        self.wait_for_dialogs()

    def test_settings_that_are_none(self):
        with open(self.path("noise"), "wb") as file:
            file.write(os.urandom(1000))
        self.screen.key("ctrl+o")
        chooser = self.dialog()
        self.name_file("noise")
        self.dialog(chooser)  # the reason why not
        self.screen.key("Return")
        self.wait_for_dialogs(chooser)
        self.dialog()
        self.screen.key("Escape")
        self.wait_for_dialogs()
        wait_for("the live picture", 20, self.velmora.find_shape)


if __name__ == "__main__":
    unittest.main()
