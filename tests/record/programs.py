# SPDX-License-Identifier: MIT
"""The terminal programs run as a user runs them, away from the user's session, and what they leave behind."""

import concurrent.futures
import contextlib
import io
import os
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "whole"))
from desktop import PATIENCE, Failure, decode_errors, probe, wait_for  # pylint: disable=unused-import,wrong-import-position

PROGRAMS = os.environ["VELMORA_PROGRAMS"]
TEST_PATTERN = ("--camera", "Test Pattern")


class Desk:
    """A folder of its own, with an environment in which no server can be reached, or only those of the session that this
    script runs in."""

    def __init__(self, reach_session=False):
        self.place = tempfile.TemporaryDirectory(prefix="velmora-desk-")
        self.folder = self.place.name
        self.environment = {
            **{key: value for key, value in os.environ.items()
               if not key.startswith(("PULSE", "DBUS", "XDG", "DISPLAY"))},
            "HOME": self.folder, "XDG_RUNTIME_DIR": self.folder, "LC_ALL": "C.UTF-8",
            **{key: value for key, value in os.environ.items() if reach_session and key.startswith(("PULSE", "XDG"))}}

    def path(self, *names):
        return os.path.join(self.folder, *names)

    def command(self, *arguments):
        return [os.path.join(PROGRAMS, "velmora-record"), *arguments]

    def record(self, *arguments, **options):
        """Runs velmora-record to its end."""
        return subprocess.run(self.command(*arguments), env=self.environment, capture_output=True, timeout=3 * PATIENCE,
                              check=False, **options)

    def recover(self, *arguments):
        return subprocess.run([os.path.join(PROGRAMS, "velmora-recover"), *arguments], env=self.environment,
                              capture_output=True, timeout=3 * PATIENCE, check=False)

    def start(self, *arguments, **options):
        """Starts velmora-record, and returns once it records."""
        process = subprocess.Popen(self.command(*arguments), env=self.environment, stdout=subprocess.PIPE,
                                   stderr=subprocess.PIPE, **options)
        first = process.stdout.readline()
        if not first.startswith(b"Recording "):
            raise Failure(f"it does not record: {first!r} {process.communicate()[1]!r}")
        return process

    @contextlib.contextmanager
    def disk(self, options):
        """A small file system of its own; skips the test where this machine does not allow that."""
        mounted = tempfile.mkdtemp(dir=self.folder, prefix="disk-")
        if subprocess.run(["mount", "-t", "tmpfs", "-o", options, "velmora-test", mounted], capture_output=True,
                          check=False).returncode != 0:
            raise unittest.SkipTest("this user may not mount a file system")
        try:
            yield mounted
        finally:
            subprocess.run(["umount", "--lazy", mounted], check=True)

    def close(self):
        self.place.cleanup()


class DeskTest(unittest.TestCase):
    """A test at a desk of its own."""
    reach_session = False

    def setUp(self):
        self.desk = Desk(self.reach_session)
        self.addCleanup(self.desk.close)


def frame_numbers(path):
    """The Test Pattern's frame numbers in a movie, read from their cells: two guards, then 32 bits."""
    rows = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-fps_mode", "passthrough", "-enc_time_base", "-1", "-vf",
                           "crop=iw:ih/30:0:ih*4/5,scale=40:1:flags=area,format=gray", "-f", "rawvideo", "-"],
                          capture_output=True, check=True).stdout
    return [int("".join("1" if cell > 127 else "0" for cell in rows[at + 2:at + 34]), 2)
            for at in range(0, len(rows), 40)]


def sound_bytes(path):
    """The sound of a movie as 16-bit samples of one channel."""
    return subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-f", "s16le", "-ac", "1", "-"],
                          capture_output=True, check=True).stdout


def run_test(test):
    text = io.StringIO()
    passed = unittest.TextTestRunner(stream=text, verbosity=2).run(test).wasSuccessful()
    return passed, text.getvalue()


def run_tests_at_once():
    """Runs the tests of the main module, four at a time: a recording mostly waits for its seconds to pass."""
    cases = unittest.defaultTestLoader.loadTestsFromModule(sys.modules["__main__"])
    tests = [test for case in cases for test in case if not sys.argv[1:] or test.id().endswith(tuple(sys.argv[1:]))]
    with concurrent.futures.ThreadPoolExecutor(4) as pool:
        results = list(pool.map(run_test, tests))
    for _, text in results:
        print(text)
    sys.exit(not results or not all(passed for passed, _ in results))
