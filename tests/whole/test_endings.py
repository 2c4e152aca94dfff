# SPDX-License-Identifier: MIT
"""Unplanned ends while a movie is being recorded: the window closed, the program asked to quit, a signal, a
display server that dies, a process killed. Each time other people's tools judge the movie."""

import os
import re
import signal
import unittest

from desktop import PATIENCE, Screen, Velmora, decode_errors, probe, wait_for

SECONDS = 2


class Endings(unittest.TestCase):
    def setUp(self):
        self.screen = Screen()
        self.addCleanup(self.screen.close)
        self.start()

    def start(self):
        self.velmora = Velmora(self.screen, os.environ["VELMORA_PROGRAMS"])

    def begin(self, name):
        """Records for a while and leaves the recording running."""
        self.path = os.path.join(self.screen.folder, name)
        self.velmora.record(self.path)
        wait_for("the recording", 10, lambda: re.search(f"Recording 00:00:(0[{SECONDS}-9]|[1-5])", self.velmora.title()))

    def judge_ending(self, code):
        """Waits for the end of the program; what it leaves is the movie, and no note of one that needs a repair."""
        self.assertEqual(self.velmora.process.wait(PATIENCE), code)
        self.judge()

    def judge(self):
        self.assertEqual(decode_errors(self.path), "")
        tracks = probe(self.path)
        self.assertEqual(set(tracks), {"video", "audio"})
        for track in tracks.values():
            self.assertGreater(float(track["duration"]), SECONDS - 0.5)
        self.assertEqual(self.notes(), [])

    def notes(self):
        folder = os.path.join(self.screen.folder, ".local/state/velmora/recordings")
        return os.listdir(folder) if os.path.isdir(folder) else []

    def test_closing_and_quitting_ask(self):
        self.begin("Asked.mov")
        for key, answer in (("ctrl+q", "Escape"), ("alt+F4", "Return")):
            self.assertIn("Recording 00:00:", self.velmora.title())
            self.screen.xdotool("windowactivate", "--sync", self.velmora.window)
            self.screen.key(key)
            self.velmora.answer_dialog(answer)
        self.judge_ending(0)

    def test_a_signal_finishes_the_movie(self):
        self.begin("Signal.mov")
        self.velmora.process.send_signal(signal.SIGTERM)
        self.judge_ending(-signal.SIGTERM)

    def test_a_dead_display_server_leaves_a_movie(self):
        self.begin("Display.mov")
        self.screen.children[0].kill()
        self.judge_ending(1)

    def test_what_was_cut_off_is_offered_for_repair(self):
        self.begin("Killed.mov")
        self.velmora.process.kill()
        self.velmora.process.wait(PATIENCE)
        self.assertEqual(len(self.notes()), 1)
        for answer in ("Escape", "Return"):
            self.start()
            self.velmora.answer_dialog(answer)
            if answer == "Return":
                wait_for("the result", 10, self.velmora.dialogs)
                self.velmora.answer_dialog("Return")
            self.assertEqual(self.velmora.close(), 0)
        self.judge()


if __name__ == "__main__":
    unittest.main()
