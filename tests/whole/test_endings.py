# SPDX-License-Identifier: MIT
"""Unplanned ends while a movie is being recorded: the window closed, the program asked to quit, a signal, a
display server that dies, a process killed. Each time other people's tools judge the movie."""

import os
import signal
import time
import unittest

from desktop import Screen, Velmora, decode_errors, probe, wait_for

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
        wait_for("the recording", 10, lambda: "Recording 00:00:" in self.velmora.title())
        time.sleep(SECONDS)

    def ended(self):
        return self.velmora.process.wait(15)

    def judge(self):
        self.assertEqual(decode_errors(self.path), "")
        tracks = probe(self.path)
        self.assertEqual(set(tracks), {"video", "audio"})
        for track in tracks.values():
            self.assertGreater(float(track["duration"]), SECONDS - 0.5)

    def notes(self):
        folder = os.path.join(self.screen.folder, ".local/state/velmora/recordings")
        return os.listdir(folder) if os.path.isdir(folder) else []

    def test_closing_and_quitting_ask(self):
        for key in ("alt+F4", "ctrl+q"):
            with self.subTest(key):
                self.begin(key + ".mov")
                for answer in ("Escape", "Return"):
                    self.screen.xdotool("windowactivate", "--sync", self.velmora.window)
                    self.screen.key(key)
                    self.assertIsNone(self.velmora.process.poll())
                    self.velmora.answer_dialog(answer)
                    if answer == "Escape":
                        self.assertIn("Recording 00:00:", self.velmora.title())
                self.assertEqual(self.ended(), 0)
                self.judge()
                self.assertEqual(self.notes(), [])
                self.start()

    def test_signals_finish_the_movie(self):
        for number in (signal.SIGTERM, signal.SIGHUP, signal.SIGINT):
            with self.subTest(number.name):
                self.begin(number.name + ".mov")
                self.velmora.process.send_signal(number)
                self.assertEqual(self.ended(), -number)
                self.judge()
                self.assertEqual(self.notes(), [])
                self.start()

    def test_a_dead_display_server_leaves_a_movie(self):
        self.begin("Display.mov")
        self.screen.children[0].kill()
        self.assertEqual(self.ended(), 1)
        self.judge()
        self.assertEqual(self.notes(), [])

    def test_what_was_cut_off_is_offered_for_repair(self):
        self.begin("Killed.mov")
        self.velmora.process.kill()
        self.ended()
        self.assertEqual(len(self.notes()), 1)
        for answer in ("Escape", "Return"):
            self.start()
            self.velmora.answer_dialog(answer)
            if answer == "Return":
                wait_for("the result", 10, self.velmora.dialogs)
                self.velmora.answer_dialog("Return")
            self.assertEqual(self.velmora.close(), 0)
        self.judge()
        self.assertEqual(self.notes(), [])


if __name__ == "__main__":
    unittest.main()
