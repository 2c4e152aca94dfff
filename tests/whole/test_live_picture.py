"""The live picture of the Test Pattern in the real window, worked with real clicks and judged by its pixels."""

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

    def colour_at(self, x, y):
        """The colour at a place of the capture control, its far edges counted from -1."""
        left, top, width, height = self.velmora.picture()
        return self.screen.pixel(left + x % width, top + y % height)

    def wait_for_colours(self, what, expected):
        wait_for(what, 5, lambda: all(self.colour_at(x, y) == colour for (x, y), colour in expected.items()))

    def preview(self):
        """Turns preview off or on again."""
        self.screen.xdotool("windowactivate", "--sync", self.velmora.window)
        self.screen.key("ctrl+r")

    def test_shows_each_frame_once_and_in_order_under_frame_and_clock(self):
        self.assertEqual(self.velmora.title(), "Test Pattern")
        numbers = [int(number) for number in self.velmora.read_pattern(4)]
        # Watching from outside may itself miss one on a busy machine.
        self.assertEqual(numbers, sorted(set(numbers)))
        self.assertGreater(len(numbers), 0.9 * (numbers[-1] - numbers[0]))
        self.assertGreater(numbers[-1] - numbers[0], 60)
        self.wait_for_colours("the red frame", {(0, 0): RED, (-1, 0): RED, (0, -1): RED, (320, 0): RED, (0, 240): RED})
        left, top, width, height = self.velmora.picture()
        plate = self.screen.pixels(left + width - 60, top + height - 16, 56, 12)
        colours = {pixel for row in plate for pixel in row}
        self.assertIn(RED, colours)
        self.assertTrue(any(min(colour) > 200 for colour in colours), "no white digits on the clock's plate")

    def test_chooser_paints_the_inactive_picture(self):
        self.preview()
        self.wait_for_colours("the blue screen", {(5, 5): BLUE, (-5, -5): BLUE})
        left, top, width, _ = self.velmora.picture()
        caption = {pixel for row in self.screen.pixels(left, top + 200, width, 80) for pixel in row}
        self.assertIn((255, 255, 255), caption)
        self.velmora.choose("PopupMenu1", 1)
        self.wait_for_colours("colour bars", {(5, 5): (204, 204, 204), (300, 5): (0, 255, 0), (-5, 5): BLUE,
                                              (5, -5): (8, 62, 89)})
        self.velmora.choose("PopupMenu1", 2)
        self.wait_for_colours("the custom drawing", {(0, 0): RED, (-1, -1): RED, (5, 5): DARK_BLUE, (-5, -5): DARK_BLUE})
        self.preview()
        wait_for("the live picture", 5, lambda: self.velmora.frame_number() is not None)

    def test_flips_move_the_corner_marks_alone_and_together(self):
        boxes = {"CheckBox1": (1, 0, 3, 2), "CheckBox2": (2, 3, 0, 1), "CheckBox3": (3, 2, 1, 0)}
        # Each press turns one more transform on or off; the whole walk passes through all of their combinations.
        order = [0, 1, 2, 3]
        for control in ("CheckBox1", "CheckBox2", "CheckBox1", "CheckBox3", "CheckBox1", "CheckBox2", "CheckBox1"):
            self.velmora.click(control)
            order = [order[place] for place in boxes[control]]
            expected = [PLACES[place] for place in order]
            wait_for(f"corners {expected} after {control}", 5, lambda e=expected: self.velmora.corners() == e)

    def test_growing_the_window_grows_the_picture_at_the_next_transform(self):
        before = self.velmora.picture()
        self.screen.xdotool("windowsize", self.velmora.window, 900, 800 + self.velmora.menu_height)
        wait_for("the larger window", 5, lambda: self.velmora.content()[2:] == (900, 800))
        self.assertEqual(self.velmora.picture()[2:], (860, 646))
        # The picture stays where it was, the new space shows what is painted while inactive.
        self.wait_for_colours("the old picture's frame", {(before[2] - 1, 240): RED, (-5, -5): BLUE, (-5, 5): BLUE})
        for corners in (["TopRight", "TopLeft", "BottomRight", "BottomLeft"], PLACES):
            self.velmora.click("CheckBox1")
            wait_for("the whole control", 5, lambda c=corners: self.velmora.corners() == c)
        self.assertIsNotNone(self.velmora.frame_number())


if __name__ == "__main__":
    unittest.main()
