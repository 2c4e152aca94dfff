# SPDX-License-Identifier: MIT
"""The real programs on the kernel's own drivers, in the guest that boot.py starts, within a PipeWire session that has the
kernel's sound cards. Pictures are judged by the virtual driver's color bars and the USB camera's frame numbers, sound by a
tone on the loopback card."""

import contextlib
import glob
import json
import math
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
FULL_BARS = [(red, green, blue) for green in (255, 0) for red, blue in ((255, 255), (255, 0), (0, 255), (0, 0))]


def run(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def set_driver(*controls):
    run("v4l2-ctl", "-d", camera_node(), "--set-ctrl", ",".join(controls))


def camera_node():
    """The node of the first camera: its number changes when the driver leaves while it is in use."""
    nodes = sorted(name for name in os.listdir("/dev") if re.fullmatch("video[0-9]+", name))
    return os.path.join("/dev", nodes[0])


def attach(attached):
    """Binds the driver to its devices, or unbinds it."""
    with open("/sys/bus/platform/drivers/vivid/" + ("bind" if attached else "unbind"), "w", encoding="ascii") as file:
        file.write("vivid.0")


def sine(sample, channels):
    """A period of 480 Hz at 48000 samples a second and half the full scale, in a format such as "s16le"."""
    size = int(sample[1:3]) // 8
    values = [round(2**(8 * size - 2) * math.sin(2 * math.pi * i / 100)) for i in range(100)]
    return b"".join(channels * value.to_bytes(size, "little", signed=True) for value in values)


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
    """Sound cards of the kernel behind PipeWire: a loopback that plays a tone, and one that has a mixer."""

    def microphone(self, card):
        """The name of a card's microphone, as the program lists it."""
        def find():
            for one in json.loads(self.desk.record("--list", "--json").stdout)["microphones"]:
                if card in one["id"] and "monitor" not in one["id"]:
                    return one["name"]
            return None
        return wait_for(f"the microphone of {card}", 60, find)

    @contextlib.contextmanager
    def tone(self):
        """Plays a sine wave of half the full scale into the loopback: -9 dB on average. Both ends of this card must have
        the same sample format, and with newer kernels the channels apart or interleaved alike; the server records them
        apart where it can."""
        device = ("-D", "hw:Loopback,1,0")
        sample = re.search(r"alsa_input\S*snd_aloop\S*\s+\S+\s+(\S+)", run("pactl", "list", "short", "sources"))[1]
        able = subprocess.run(["aplay", *device, "--dump-hw-params", "-t", "raw", "/dev/null"], capture_output=True,
                              text=True, check=False).stderr
        apart = "RW_NONINTERLEAVED" in able
        tone = self.desk.path("tone.raw")
        with open(tone, "wb") as file:
            file.write(sine(sample, 1 if apart else 2) * 480 * 60)  # for a minute
        # Where the ALSA library gives this card a volume, its playback is turned down and weakens what is recorded.
        subprocess.run(["amixer", "-q", "-c", "Loopback", "sset", "PCM", "100%"], capture_output=True, check=False)
        form = ("-q", "-t", "raw", "-f", sample[:-2].upper() + "_LE", "-c", "2", "-r", "48000")
        with subprocess.Popen(["aplay", *device, *form, *(("-I", tone, tone) if apart else (tone,))]) as player:
            try:
                yield
            finally:
                player.kill()

    def loudness(self, path):
        done = subprocess.run(["ffmpeg", "-i", path, "-af", "volumedetect", "-vn", "-f", "null", "-"], capture_output=True,
                              text=True, check=True)
        return float(re.search(r"mean_volume: (-?[0-9.]+) dB", done.stderr)[1])

    def test_a_tone_is_recorded_with_the_picture(self):
        microphone = self.microphone("snd_aloop")
        with self.tone():
            done = self.desk.record(*SMALL, "--microphone", microphone, "--gain", "1", "--frames", "12", self.path)
        self.assertEqual(done.returncode, 0, done.stderr)
        tracks = self.check_movie(self.path)
        self.assertEqual(set(tracks), {"video", "audio"})
        self.assertGreater(float(tracks["audio"]["duration"]), 1.5)
        self.assertAlmostEqual(self.loudness(self.path), -9, delta=3)

    def test_the_gain_sets_the_mixer(self):
        microphone = self.microphone("snd_dummy")
        for gain, decibels in ((0.25, -12.0), (1, 0.0)):
            done = self.desk.record(*SMALL, "--microphone", microphone, "--gain", str(gain), "--frames", "2", "--force",
                                    self.path)
            self.assertEqual(done.returncode, 0, done.stderr)
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


class Window(Case):
    """The window on the virtual driver's picture."""

    class BarsWindow(Velmora):
        def find_shape(self):
            return any(self.shows_bars(shape) for shape in self.SHAPES)

        def shows_bars(self, shape=(16, 9), full=True):
            self.shape = shape
            left, top, width, height = self.picture()
            row = self.screen.pixels(left, top + height // 2, width, 1)[0]
            seen = [row[width * (2 * bar + 1) // 16] for bar in range(8)]
            expected = [tuple(value if full else min(value, 191) for value in color) for color in FULL_BARS]
            return all(abs(a - b) <= 16 for one, other in zip(seen, expected) for a, b in zip(one, other))

    def test_the_live_picture(self):
        run("v4l2-ctl", "-d", camera_node(), "--set-fmt-video", "width=320,height=180")
        set_driver("test_pattern=1", "osd_text_mode=2")
        screen = Screen(reach_session=True)
        self.addCleanup(screen.close)
        velmora = self.BarsWindow(screen, PROGRAMS)
        velmora.screenshot(os.path.join(os.environ["KERNEL_OUT"], "live.png"))
        attach(False)
        attach(True)
        # The driver has forgotten what was set: its bars are paler than those that are still shown.
        wait_for("the picture to come back", 60, lambda: velmora.shows_bars(full=False))
        velmora.screenshot(os.path.join(os.environ["KERNEL_OUT"], "back.png"))
        self.assertEqual(velmora.close(), 0)


if __name__ == "__main__":
    unittest.main()
