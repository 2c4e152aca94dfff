# SPDX-License-Identifier: MIT
"""The live picture of the Test Pattern in the real window, worked with real clicks and judged by its pixels."""

import collections
import os
import time
import unittest

from desktop import Screen, Velmora, wait_for

RED = (255, 0, 0)
BLUE = (0, 0, 255)
DARK_BLUE = (0, 0, 100)
PLACES = ["TopLeft", "TopRight", "BottomLeft", "BottomRight"]


class LivePicture(unittest.TestCase):
    def setUp(self):
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.velmora = Velmora(self.screen, os.environ["VELMORA_PROGRAMS"])
        self.reader = [os.path.join(self.velmora.folder, "read_pattern"), self.screen.memory]

    def colour_at(self, x, y):
        """The colour at a place of the capture control, its far edges counted from -1."""
        left, top, width, height = self.velmora.control()
        return self.screen.pixel(left + x % width, top + y % height)

    def wait_for_colours(self, what, expected):
        wait_for(what, 5, lambda: all(self.colour_at(x, y) == colour for (x, y), colour in expected.items()))

    def preview(self):
        """Turns preview off or on again."""
        self.screen.xdotool("windowactivate", "--sync", self.velmora.window)
        self.screen.key("ctrl+r")

    def test_chooser_paints_the_inactive_picture(self):
        self.preview()
        self.wait_for_colours("the blue screen", {(5, 5): BLUE, (-5, -5): BLUE})
        left, top, width, _ = self.velmora.picture()
        caption = {pixel for row in self.screen.pixels(left, top + 200, width, 80) for pixel in row}
        self.assertIn((255, 255, 255), caption)
        self.velmora.choose("PopupMenu1", 1)
        # Columns are 91 wide and 320 high; the band in the middle begins there, the lower one at 360.
        gray, dark, white = (204, 204, 204), (19, 19, 19), (254, 254, 254)
        self.wait_for_colours("colour bars", {(90, 319): gray, (91, 0): (254, 254, 0), (545, 319): RED, (-1, 319): BLUE,
                                              (91, 320): dark, (-1, 359): gray, (110, 360): (8, 62, 89),
                                              (111, 360): white, (458, 360): (0, 0, 0), (-1, -1): dark})
        self.velmora.choose("PopupMenu1", 2)
        self.wait_for_colours("the custom drawing", {(0, 0): RED, (-1, -1): RED, (5, 5): DARK_BLUE, (-5, -5): DARK_BLUE})
        self.preview()
        wait_for("the live picture", 5, lambda: self.velmora.frame_number() is not None)

    def wait_for_picture(self, what, corners=PLACES, control=None):
        """Waits until the whole pattern is in the middle of the control, with its marks in these corners."""
        place = lambda: map(str, self.velmora.picture(control))
        wait_for(what, 5, lambda: self.screen.output(*self.reader, *place()).split()[1:] == corners)

    def resize(self, width, height):
        self.screen.xdotool("windowsize", self.velmora.window, width, height + self.velmora.menu_height)

    def test_the_picture_keeps_its_shape_in_a_window_of_any_size(self):
        for box, order, size in (("CheckBox1", (1, 0, 3, 2), (700, 900)), ("CheckBox2", (2, 3, 0, 1), (1000, 700)),
                                 ("CheckBox3", (3, 2, 1, 0), (1200, 720)), (None, (0, 1, 2, 3), (680, 634))):
            self.resize(*size)
            wait_for("the window's new size", 5, lambda s=size: self.velmora.content()[2:] == s)
            if box:
                self.velmora.click(box)
            self.wait_for_picture(f"the picture at {size}", [PLACES[i] for i in order])
            if box:
                self.velmora.click(box)
        self.screen.xdotool("windowactivate", "--sync", self.velmora.window)
        left, top = self.velmora.control()[:2]
        for key, size in (("ctrl+2", (320, 240)), ("ctrl+3", (160, 120)), ("ctrl+1", (640, 480))):
            self.screen.key(key)
            self.wait_for_picture(f"the picture at {size}", control=(left, top, *size))

    def test_the_inactive_picture_never_shows_while_the_window_is_resized(self):
        left, top = self.velmora.control()[:2]
        seen = collections.Counter()
        for i in range(25):
            self.resize(680 + i * 97 % 500, 634 + i * 61 % 260)
            for _ in range(40):
                # Places above the pattern's own blue, some of them outside of a small window.
                seen += collections.Counter(self.screen.pixel(left + x, top + y)
                                            for x, y in ((5, 100), (300, 5), (560, 200), (660, 100), (900, 150)))
                time.sleep(0.002)
        self.assertEqual(sum(seen.values()), 5000)
        self.assertGreater(seen[(0, 0, 0)], 0, "no bars were sampled")
        self.assertEqual(seen[BLUE], 0)


class ScaledDesktop(unittest.TestCase):
    """Everything is drawn in the screen's own pixels: edges of the pattern, of the inactive picture and of text have no
    doubled pixels."""

    def test_pictures_and_drawing_are_sharp(self):
        for scale in (1.5, 2):
            screen = Screen(1600, 1400)
            self.addCleanup(screen.close)
            velmora = Velmora(screen, os.environ["VELMORA_PROGRAMS"], scale=scale)
            wait_for("the marks", 5, lambda v=velmora: v.corners() == PLACES)
            self.assertEqual(velmora.picture()[2:], (640 * scale, 480 * scale))
            screen.xdotool("windowactivate", "--sync", velmora.window)
            screen.key("ctrl+r")
            left, top, width, height = map(int, velmora.control())
            wait_for("the blue screen", 5, lambda: screen.pixel(left + width - 5, top + 5) == BLUE)
            caption = screen.pixels(left, top + height // 3, width, height // 3)
            # Glyphs whose pixels were doubled would have only runs of even length, all on even places.
            odd = sum(row[x] != row[x + 1] for row in caption for x in range(1 if left % 2 == 0 else 0, width - 1, 2))
            self.assertGreater(odd, 50)


if __name__ == "__main__":
    unittest.main()
