# SPDX-License-Identifier: MIT
"""The real programs on the kernel's own drivers, in the guest that boot.py starts, within a PipeWire session that has the
kernel's sound card. Pictures are judged by the USB camera's frame numbers."""

import glob
import json
import os
import re
import signal
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "record"))
from programs import (  # pylint: disable=wrong-import-position
    PROGRAMS, Desk, Failure, decode_errors, frame_numbers, probe, wait_for)
from desktop import Screen, Velmora  # pylint: disable=wrong-import-position

SMALL = ("--size", "320x180", "--rate", "5")  # what the emulated machine can do


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def attach(attached):
    """Binds the driver to its devices, or unbinds it."""
    with open("/sys/bus/platform/drivers/vivid/" + ("bind" if attached else "unbind"), "w", encoding="ascii") as file:
        file.write("vivid.0")


class Case(unittest.TestCase):
    """A case that says what it took, and has a limit: both in the guest's time, which passes with what the guest does."""

    LIMIT = 240  # seconds

    def run(self, result=None):
        began = time.monotonic()
        signal.signal(signal.SIGALRM, self.give_up)
        signal.alarm(self.LIMIT)
        super().run(result)
        signal.alarm(0)
        print(f"    {time.monotonic() - began:.1f} s", file=sys.stderr, flush=True)

    def tearDown(self):
        if not os.path.exists("/sys/bus/platform/drivers/vivid/vivid.0"):
            attach(True)

    def give_up(self, *_):
        raise Failure(f"no end after {self.LIMIT} s")


class Programs(Case):
    def setUp(self):
        self.desk = Desk(reach_session=True)
        self.addCleanup(self.desk.close)
        self.path = self.desk.path("a.mov")

    def check_movie(self, path):
        """The tracks of a movie, which must decode without complaint."""
        self.assertEqual(decode_errors(path), "")
        return probe(path)

    @staticmethod
    def await_frames(process, count):
        """Waits until the program reports that many more frames from now on."""
        def reported():
            return int(re.search(rb"([0-9]+) frames", process.stdout.readline())[1])
        os.set_blocking(process.stdout.fileno(), False)
        process.stdout.read()  # what was reported before
        os.set_blocking(process.stdout.fileno(), True)
        first = reported()
        wait_for("some more frames", 60, lambda: reported() >= first + count)


class Cameras(Programs):
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


class Sound(Programs):
    """A sound card of the kernel with a mixer, behind PipeWire."""

    def test_the_gain_sets_the_mixer(self):
        def find():
            listed = json.loads(self.desk.record("--list", "--json").stdout)["microphones"]
            return [one["name"] for one in listed if "snd_dummy" in one["id"] and "monitor" not in one["id"]]
        microphone = wait_for("the card's microphone", 60, find)[0]
        for gain, decibels in ((0.25, -12.0), (1, 0.0)):
            done = self.desk.record(*SMALL, "--microphone", microphone, "--gain", str(gain), "--frames", "8", "--force",
                                    self.path)
            self.assertEqual(done.returncode, 0, done.stderr)
            self.assertEqual(set(self.check_movie(self.path)), {"video", "audio"})
            levels = re.findall(r"\[(-?[0-9.]+)dB\]", run("amixer", "-c", "Dummy", "sget", "Mic"))
            self.assertEqual(len(levels), 2)
            for level in levels:
                self.assertAlmostEqual(float(level), decibels, delta=0.45)  # the mixer has steps of 0.3 dB


class UsbCamera(Programs):
    """The kernel's driver for USB cameras, with a camera that is plugged in while its program runs."""

    NODE = "/sys/bus/usb/drivers/uvcvideo/*/video4linux/video*/dev"

    def plug_in(self, number):
        camera = subprocess.Popen([os.path.join(PROGRAMS, "usb_camera"), str(number)])
        self.addCleanup(self.unplug, camera)
        wait_for("the camera's node", 20, lambda: glob.glob(self.NODE), pause=0.02)
        return camera

    def unplug(self, camera):
        camera.kill()
        camera.wait()
        wait_for("the node to go", 20, lambda: not glob.glob(self.NODE), pause=0.02)
        wait_for("a free port", 20,
                 lambda: re.search(r"hs\s+0+ 004", run("cat", "/sys/devices/platform/vhci_hcd.0/status")))

    def check_numbers(self, path, starts):
        """Judges the numbers that the pictures show: none is missing, except where the camera was unplugged."""
        numbers = frame_numbers(path)
        jumps = [i for i in range(1, len(numbers)) if numbers[i] != numbers[i - 1] + 1]
        self.assertEqual([numbers[i] // 1000 for i in (0, *jumps)], starts, numbers)
        self.assertEqual(self.check_movie(path)["video"]["nb_read_packets"], str(len(numbers)))

    def test_unplugged_while_it_is_recorded(self):
        for pixel_format in ("yuvs", "MJPG"):
            camera = self.plug_in(0)
            run("udevadm", "settle")
            process = self.desk.start("--camera", "USB Test Camera", "--format", pixel_format, "--rate", "5",
                                      "--microphone", "none", "--force", self.path)
            self.await_frames(process, 3)
            self.unplug(camera)
            self.assertIn(b"the camera is disconnected", process.stderr.readline())
            camera = self.plug_in(1000)
            began = time.monotonic()
            self.assertIn(b"the camera is back", process.stderr.readline())
            self.assertLess(time.monotonic() - began, 2)
            self.await_frames(process, 3)
            process.terminate()
            errors = process.communicate()[1]
            self.assertEqual((process.returncode, errors), (0, b""))
            self.unplug(camera)
            self.check_numbers(self.path, [0, 1])

    def test_the_window(self):
        attach(False)
        camera = self.plug_in(0)
        run("udevadm", "settle")
        screen = Screen(reach_session=True)
        self.addCleanup(screen.close)
        velmora = Velmora(screen, PROGRAMS)
        velmora.screenshot(os.path.join(os.environ["KERNEL_OUT"], "usb.png"))
        velmora.record(self.path)
        wait_for("the recording", 20, lambda: os.path.exists(self.path) and os.path.getsize(self.path) > 50000)
        self.unplug(camera)
        self.plug_in(1000)
        wait_for("the picture to come back", 20, lambda: (velmora.frame_number() or 0) > 1005)
        velmora.click("btnstartcapture1")
        self.assertEqual(velmora.close(), 0)
        self.check_numbers(self.path, [0, 1])


if __name__ == "__main__":
    unittest.main()
