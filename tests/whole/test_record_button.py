# SPDX-License-Identifier: MIT
"""The main job: real clicks on Record, the save dialog and Stop; other people's tools judge the movies."""

import os
import subprocess
import time
import unittest

from desktop import Screen, Velmora, decode_errors, probe, wait_for


class RecordButton(unittest.TestCase):
    def setUp(self):
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.velmora = Velmora(self.screen, os.environ["VELMORA_PROGRAMS"])

    def record(self, name, seconds):
        """Records for that long, stops, and gives the movie's path."""
        path = os.path.join(self.screen.folder, name)
        self.velmora.record(path)
        time.sleep(seconds)
        self.velmora.click("btnstartcapture1")
        wait_for("the movie's header", 10, lambda: subprocess.run(
            ["ffprobe", "-v", "quiet", path], check=False).returncode == 0)
        return path

    def judge(self, path, seconds):
        self.assertEqual(decode_errors(path), "")
        tracks = probe(path)
        self.assertEqual(set(tracks), {"video", "audio"})
        self.assertEqual((tracks["video"]["width"], tracks["video"]["height"]), ("640", "480"))
        for track in tracks.values():
            self.assertGreater(float(track["duration"]), seconds - 0.5)
            self.assertLess(float(track["duration"]), seconds + 2)
        rate = int(tracks["video"]["nb_read_packets"]) / float(tracks["video"]["duration"])
        self.assertAlmostEqual(rate, 30, delta=1)

    def test_a_cancelled_dialog_leaves_the_button_on_stop(self):
        self.velmora.click("btnstartcapture1")
        self.velmora.answer_dialog("Escape")
        # The next press turns the caption back, and finds no movie to finish.
        self.velmora.click("btnstartcapture1")
        self.velmora.answer_dialog("Return")
        for name in ("After all.mov", "It's the second & last.mov"):
            self.judge(self.record(name, 2), 2)
        self.assertEqual(self.velmora.close(), 0)


if __name__ == "__main__":
    unittest.main()
