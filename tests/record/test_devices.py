# SPDX-License-Identifier: MIT
"""velmora-record on a camera and a microphone of a session of its own: a sound server that answers late, and a camera
that is silent. Run it inside tests/support/with_pipewire.sh."""

import contextlib
import os
import signal
import subprocess
import threading
import unittest

from programs import PROGRAMS, TEST_PATTERN, DeskTest, probe
from desktop import Camera

MICROPHONE = "Monitor of Test Sink"


def children_named(name):
    """Processes of that name in this session."""
    session = os.environ["XDG_RUNTIME_DIR"].encode()
    for process in filter(str.isdigit, os.listdir("/proc")):
        with contextlib.suppress(OSError):
            with open(f"/proc/{process}/comm", "rb") as comm, open(f"/proc/{process}/environ", "rb") as environ:
                if comm.read().strip() == name and session in environ.read():
                    yield int(process)


def send_to(processes, number):
    for process in processes:
        os.kill(process, number)


class Devices(DeskTest):
    reach_session = True

    def setUp(self):
        super().setUp()
        self.path = self.desk.path("a.mov")

    def test_a_sound_server_that_answers_late(self):
        servers = list(children_named(b"pipewire-pulse"))
        self.assertTrue(servers)
        for milliseconds in (0, 50, 150, 400, 3000):
            with self.subTest(milliseconds=milliseconds):
                # A stopped server still accepts connections, and answers none.
                send_to(servers, signal.SIGSTOP)
                waking = threading.Timer(milliseconds / 1000, send_to, (servers, signal.SIGCONT))
                waking.start()
                done = self.desk.record(*TEST_PATTERN, "--seconds", "1", "--force", self.path)
                waking.join()
                self.assertEqual((done.returncode, done.stderr), (0, b""))
                self.assertIn(f"with {MICROPHONE} to".encode(), done.stdout)
                self.assertGreater(float(probe(self.path)["audio"]["duration"]), 0.5)

    def test_a_camera_without_pictures(self):
        with Camera(PROGRAMS, "--silent"):
            done = subprocess.run(["pw-v4l2", *self.desk.command(self.path)], env=self.desk.environment,
                                  capture_output=True, timeout=60, check=False)
        self.assertEqual(done.returncode, 2, done.stderr)
        self.assertEqual(done.stderr, b"velmora-record: Test Camera sends no pictures.\n")
        self.assertFalse(os.path.exists(self.path))


if __name__ == "__main__":
    unittest.main()
