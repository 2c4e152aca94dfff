# SPDX-License-Identifier: MIT
"""The real programs on the kernel's own drivers. Runs in the guest that boot.py starts."""

import json
import os
import sys
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "record"))
from programs import Desk, decode_errors, probe  # pylint: disable=wrong-import-position

CAMERA = "vivid"
SMALL = ("--size", "320x180", "--rate", "5")  # what the emulated machine can do


class Programs(unittest.TestCase):
    def setUp(self):
        self.desk = Desk()
        self.addCleanup(self.desk.close)

    def check_movie(self, path):
        """The video track of a movie, which must decode without complaint."""
        self.assertEqual(decode_errors(path), "")
        return probe(path)["video"]

    def test_devices_are_listed(self):
        done = self.desk.record("--list")
        self.assertEqual((done.returncode, done.stdout.count(b"\0")), (0, 0), done.stderr)
        cameras = json.loads(self.desk.record("--list", "--json").stdout)["cameras"]
        self.assertEqual([camera["id"] for camera in cameras], ["v4l2:vivid:vivid", "v4l2:vivid:vivid#2", "test-pattern"])
        for camera in cameras[:2]:
            self.assertTrue(camera["available"])
            self.assertIn(camera["name"].encode(), done.stdout)
            formats = {entry["format"] for entry in camera["formats"]}
            self.assertEqual(formats, {"yuvs", "2vuy", "y420", "nv12", "grey", "24RG", "24BG", "32"})

    def test_two_seconds(self):
        path = self.desk.path("a.mov")
        done = self.desk.record(*SMALL, "--seconds", "2", path)
        self.assertEqual(done.returncode, 0, done.stderr)
        self.assertIn(b"Recording vivid", done.stdout)
        video = self.check_movie(path)
        self.assertGreaterEqual(int(video["nb_read_packets"]), 2, done.stdout)


if __name__ == "__main__":
    unittest.main()
