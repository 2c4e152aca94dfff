# SPDX-License-Identifier: MIT
"""velmora-recover as a program: its exit codes and lines, on recordings of ours and on movies of other programs."""

import os
import signal
import subprocess

from programs import TEST_PATTERN, DeskTest, decode_errors, run_tests_at_once, wait_for

DONE, FAILED, WRONG_USAGE, NO_MOVIE, NOT_WHOLE = range(5)

# Movies of other programs: name to the command that makes it.
FFMPEG = ("ffmpeg", "-v", "error", "-f", "lavfi", "-i", "testsrc=duration=1:size=160x120", "-f", "lavfi", "-i",
          "sine=duration=1", "-pix_fmt", "yuv420p")
FOREIGN = {
    "index.mov": (*FFMPEG, "-c:v", "mjpeg", "-c:a", "pcm_s16le"),
    "front.mp4": (*FFMPEG, "-c:v", "mpeg4", "-c:a", "aac", "-movflags", "faststart"),
    "fragments.mp4": (*FFMPEG, "-c:v", "libx264", "-c:a", "aac", "-movflags", "frag_keyframe+empty_moov"),
    "based.mp4": (*FFMPEG, "-c:v", "libx264", "-bf", "2", "-c:a", "aac", "-movflags",
                  "frag_keyframe+empty_moov+default_base_moof"),
    "in24.mov": (*FFMPEG, "-c:v", "png", "-c:a", "pcm_s24be"),
    "gstreamer.mov": ("gst-launch-1.0", "-q", "videotestsrc", "num-buffers=30", "!", "jpegenc", "!", "qtmux", "!",
                      "filesink", "location="),
}


class Recovering(DeskTest):
    def check(self, code, *arguments):
        done = self.desk.recover(*arguments)
        self.assertEqual(done.returncode, code, (arguments, done.stdout, done.stderr))
        if code not in (DONE, NOT_WHOLE):
            self.assertEqual((done.stdout, done.stderr.count(b"\n")), (b"", 1), "one line of reason")
        return (done.stdout + done.stderr).decode()

    def read(self, path):
        with open(path, "rb") as file:
            return bytearray(file.read())

    def write(self, name, content):
        path = self.desk.path(name)
        with open(path, "wb") as file:
            file.write(content)
        return path

    def test_wrong_use_and_what_is_no_movie(self):
        self.assertIn("unknown option --chek; did you mean --check?", self.check(WRONG_USAGE, "--chek", "a"))
        self.assertIn("no file named", self.check(WRONG_USAGE))
        self.assertIn("more than FILE and OUTPUT: c", self.check(WRONG_USAGE, "a", "b", "c"))
        self.assertIn("velmora-recover 1.", self.check(DONE, "--version"))
        self.assertIn("--check", self.check(DONE, "--help"))
        noise = self.write("noise", os.urandom(5000))
        for option in ((), ("--check",)):
            self.assertIn("no such file", self.check(FAILED, *option, self.desk.path("missing.mov")))
            self.assertIn("the file ", self.check(NO_MOVIE, *option, noise))
            self.assertIn("the file ", self.check(NO_MOVIE, *option, self.write("empty", b"")))

    def test_a_recording_that_was_killed(self):
        path = self.desk.path("a.mov")
        process = self.desk.start(*TEST_PATTERN, "--microphone", "Test Tone", path)
        wait_for("a second of it", 20, lambda: os.path.getsize(path) > 500_000)
        self.assertIn("is still being recorded", self.check(FAILED, path))
        self.assertIn("is still being recorded", self.check(FAILED, "--check", path))
        process.send_signal(signal.SIGKILL)
        process.communicate()
        before = self.read(path)
        self.assertIn("velmora-recover finishes it", self.check(NOT_WHOLE, "--check", path))
        copy = self.desk.path("copy.mov")
        self.assertIn(copy, self.check(DONE, path, copy))
        self.assertEqual(self.read(path), before, "the file itself stays as it is with OUTPUT")
        self.assertIn("already exists", self.check(FAILED, path, copy))
        self.check(DONE, path)
        self.assertIn("The movie is complete", self.check(DONE, path))
        self.check(DONE, "--check", path, copy)
        self.assertEqual(decode_errors(path), "")

        # A byte of the journal that is not what it was.
        damaged = self.read(copy)
        damaged[damaged.rfind(b"VMj\x9e") + 60] ^= 0x55
        self.check(NOT_WHOLE, "--check", self.write("damaged.mov", damaged))

    def test_movies_of_other_programs(self):
        for name, command in FOREIGN.items():
            with self.subTest(movie=name):
                path = self.desk.path(name)
                command = (*command[:-1], "location=" + path) if command[-1] == "location=" else (*command, path)
                subprocess.run(command, check=True, capture_output=True)
                self.assertIn("whole", self.check(DONE, "--check", path))
                whole = self.read(path)
                self.check(NOT_WHOLE, "--check", self.write("short " + name, whole[:len(whole) * 2 // 3]))
                self.assertIn("bytes of other data",
                              self.check(NOT_WHOLE, "--check", self.write("long " + name, whole + b"\0" * 3)))
                self.assertEqual(self.read(path), whole, "a check changes nothing")


if __name__ == "__main__":
    run_tests_at_once()
