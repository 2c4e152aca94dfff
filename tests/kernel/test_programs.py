# SPDX-License-Identifier: MIT
"""The real programs on the kernel's own drivers, in the guest that boot.py starts, within a PipeWire session that has the
kernel's sound cards. Pictures are judged by the driver's color bars, sound by a tone on the loopback card."""

import contextlib
import json
import os
import re
import signal
import subprocess
import sys
import time
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "record"))
from programs import PROGRAMS, Desk, Failure, decode_errors, probe, wait_for  # pylint: disable=wrong-import-position
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


class Case(unittest.TestCase):
    """A case that says what it took, and has a limit: both in the guest's time, which passes with what the guest does."""

    LIMIT = 120  # seconds

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
        self.desk = Desk()
        self.addCleanup(self.desk.close)
        session = {key: value for key, value in os.environ.items() if key.startswith(("PULSE", "XDG"))}
        self.desk.environment.update(session)
        self.path = self.desk.path("a.mov")

    def check_movie(self, path):
        """The tracks of a movie, which must decode without complaint."""
        self.assertEqual(decode_errors(path), "")
        return probe(path)


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

    def test_a_driver_that_leaves_and_comes_back(self):
        process = self.desk.start(*SMALL, "--microphone", "none", self.path)
        attach(False)
        self.assertIn(b"the camera is disconnected", process.stderr.readline())
        attach(True)
        self.assertRegex(process.stderr.readline(), rb"the camera is back; it was disconnected for [0-9.]+ s")
        wait_for("some more frames", 60, lambda: int(re.search(rb"([0-9]+) frames", process.stdout.readline())[1]) > 10)
        process.terminate()
        lines, errors = process.communicate()
        self.assertEqual(process.returncode, 0, errors)
        frames = int(re.search(rb"([0-9]+) frames", lines.splitlines()[-1])[1])
        self.assertEqual(frames, int(self.check_movie(self.path)["video"]["nb_read_packets"]))


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
        tone, wave = self.desk.path("tone.raw"), "0.5*sin(880*PI*t)"
        run("ffmpeg", "-v", "error", "-f", "lavfi", "-i", f"aevalsrc={wave if apart else wave + '|' + wave}:s=48000:d=120",
            "-f", sample, tone)
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
            done = self.desk.record(*SMALL, "--microphone", microphone, "--gain", "1", "--frames", "15", self.path)
        self.assertEqual(done.returncode, 0, done.stderr)
        tracks = self.check_movie(self.path)
        self.assertEqual(set(tracks), {"video", "audio"})
        self.assertGreater(float(tracks["audio"]["duration"]), 2)
        self.assertAlmostEqual(self.loudness(self.path), -9, delta=3)

    def test_the_gain_sets_the_mixer(self):
        microphone = self.microphone("snd_dummy")
        for gain, decibels in ((0.25, -12.0), (0.5, -6.0), (1, 0.0)):
            done = self.desk.record(*SMALL, "--microphone", microphone, "--gain", str(gain), "--frames", "2", "--force",
                                    self.path)
            self.assertEqual(done.returncode, 0, done.stderr)
            levels = re.findall(r"\[(-?[0-9.]+)dB\]", run("amixer", "-c", "Dummy", "sget", "Mic"))
            self.assertEqual(len(levels), 2)
            for level in levels:
                self.assertAlmostEqual(float(level), decibels, delta=0.45)  # the mixer has steps of 0.3 dB


class Window(Case):
    """The window on the driver's picture."""

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

    def test_the_live_picture_and_a_recording(self):
        run("v4l2-ctl", "-d", camera_node(), "--set-fmt-video", "width=320,height=180")
        set_driver("test_pattern=1", "osd_text_mode=2")
        screen = Screen(reach_session=True)
        self.addCleanup(screen.close)
        velmora = self.BarsWindow(screen, PROGRAMS)
        velmora.screenshot(os.path.join(os.environ["KERNEL_OUT"], "live.png"))
        path = os.path.join(screen.folder, "a.mov")
        velmora.record(path)
        wait_for("the recording", 20, lambda: os.path.exists(path) and os.path.getsize(path) > 20000)
        attach(False)
        attach(True)
        # The driver has forgotten what was set: its bars are paler than those that are still shown.
        wait_for("the picture to come back", 60, lambda: velmora.shows_bars(full=False))
        velmora.screenshot(os.path.join(os.environ["KERNEL_OUT"], "back.png"))
        velmora.click("btnstartcapture1")
        wait_for("the whole movie", 60, lambda: decode_errors(path) == "" and "audio" in probe(path))
        self.assertGreater(int(probe(path)["video"]["nb_read_packets"]), 10)
        self.assertEqual(velmora.close(), 0)


if __name__ == "__main__":
    unittest.main()
