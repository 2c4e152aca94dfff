# SPDX-License-Identifier: MIT
"""velmora-record with a deck on a simulated FireWire bus: its transport, a tape from the start to the end, and what is
left on the bus when the program is ended on the way."""

import json
import os
import signal
import struct
import subprocess
import unittest

from programs import PROGRAMS, DeskTest, decode_errors, wait_for

RECORDED, WRONG_USE, NO_DEVICE = range(3)
EMPTY_BOOKS = (0, 0)


class Tape(DeskTest):
    def setUp(self):
        super().setUp()
        self.desk.environment["VELMORA_BUS_BOOKS"] = self.desk.path("books")

    def run_program(self, *arguments, program="record_from_simulated_deck"):
        return subprocess.run([os.path.join(PROGRAMS, program), *arguments], env=self.desk.environment, timeout=120,
                              capture_output=True, check=False)

    def books(self):
        """The bus's channels, a bit each, and its units of bandwidth that are taken."""
        with open(self.desk.path("books"), "rb") as file:
            return struct.unpack("<Qi", file.read(12))

    def test_a_tape_becomes_its_recordings(self):
        done = self.run_program("--tape", "--rewind", "--play", "--split-recordings", "--dv", self.desk.path("tape.dv"),
                                self.desk.path("%Y-%m-%d %n.mov"))
        self.assertEqual(done.returncode, RECORDED, done.stderr)
        self.assertIn(b"The tape has ended.", done.stdout)
        frames = 0
        for name, timecode in (("2004-05-12 001", b"01:00:0"), ("2004-05-13 002", b"01:00:02:00")):
            path = self.desk.path(name + ".mov")
            self.assertEqual(decode_errors(path), "")
            shown = json.loads(subprocess.check_output(["ffprobe", "-v", "error", "-show_streams", "-of", "json", path]))
            video = shown["streams"][0]
            self.assertTrue(video["tags"]["timecode"].encode().startswith(timecode), video)
            self.assertEqual(video["avg_frame_rate"], "25/1")
            frames += int(video["nb_frames"])
            self.assertTrue(os.path.exists(self.desk.path(name + ".srt")))
        self.assertEqual(os.path.getsize(self.desk.path("tape.dv")), frames * 144000)
        self.assertGreaterEqual(frames, 73)
        self.assertEqual(self.books(), EMPTY_BOOKS)

    def test_a_signal_leaves_a_whole_movie_and_an_empty_bus(self):
        self.desk.environment["VELMORA_ENDLESS_TAPE"] = "1"
        for name, arguments in (("a", ("--tape", "--play")), ("b", ("--camera", "Deck", "--microphone", "Deck"))):
            movie = self.desk.path(name + ".mov")
            with self.subTest(arguments), subprocess.Popen(
                    [os.path.join(PROGRAMS, "record_from_simulated_deck"), *arguments, movie],
                    env=self.desk.environment, stdout=subprocess.PIPE, stderr=subprocess.PIPE) as process:
                wait_for("a movie that grows", 20, lambda: os.path.exists(movie) and os.path.getsize(movie) > 3000000)
                self.assertNotEqual(self.books(), EMPTY_BOOKS)
                process.send_signal(signal.SIGTERM)
                process.communicate(timeout=60)
                self.assertEqual(decode_errors(movie), "")
                self.assertEqual(self.books(), EMPTY_BOOKS)

    def test_a_deck_is_worked_and_refusals_are_said(self):
        for arguments, code, text in (
                (("--deck", "state"), RECORDED, "Deck: stop, 01:02:03:04"),
                (("--deck", "state", "--camera", "dv:0080450000007777"), RECORDED, "Deck: stop"),
                (("--list",), RECORDED, "Deck  [dv:0080450000007777]"),
                (("--deck", "play"), RECORDED, ""),
                (("--deck", "state", "--camera", "Deck 2"), NO_DEVICE, "no deck \"Deck 2\" on FireWire; there is Deck"),
                (("--deck", "jump"), WRONG_USE, "--deck: expected state, play, stop"),
                (("--rewind", "a.mov"), WRONG_USE, "--rewind requires --tape"),
                (("--tape", "--deck", "play"), WRONG_USE, "--deck can't be used with --tape"),
                (("--tape",), WRONG_USE, "no output named"),
                (("--tape", "/nowhere/a.mov", "--play"), 3, "can't write /nowhere/a.mov: there is no such folder")):
            with self.subTest(arguments):
                done = self.run_program(*arguments)
                self.assertEqual(done.returncode, code, done.stderr)
                self.assertIn(text, (done.stdout + done.stderr).decode())
        done = self.run_program("--deck", "state", program="velmora-record")
        self.assertEqual(done.returncode, NO_DEVICE, done)
        self.assertIn(b"there is no FireWire adapter", done.stderr)


if __name__ == "__main__":
    unittest.main()
