# SPDX-License-Identifier: MIT
"""velmora-record as a program: for each way a recording can go, in both of its modes, the exit code, the text, and what
is on the disk afterwards."""

import glob
import json
import os
import re
import signal
import subprocess

from programs import (TEST_PATTERN, DeskTest, decode_errors, frame_numbers, probe, run_tests_at_once, sound_bytes,
                      wait_for)

RECORDED, WRONG_USE, NO_DEVICE, UNWRITABLE, DISK_FULL, FAILED = range(6)
MODES = {"direct": (), "live": ("--live",)}
LARGE = ("--codec", "2vuy")  # 18 MB a second
SHORT = (*TEST_PATTERN, "--seconds", "0.5")

# What the C library does when the disk goes bad: a sync that fails once something has been written.
FAILING_SYNC = b"""
#include <errno.h>
int fdatasync(int file) { (void)file; errno = EIO; return -1; }
int fsync(int file) { (void)file; errno = EIO; return -1; }
"""


# An encoder that fails from its twentieth frame on.
FAILING_ENCODER = b"""
#define _GNU_SOURCE
#include <dlfcn.h>
int avcodec_send_frame(void* context, const void* frame)
{
    static int calls;
    int (*send)(void*, const void*) = (int (*)(void*, const void*))dlsym(RTLD_NEXT, "avcodec_send_frame");
    return frame != 0 && __sync_add_and_fetch(&calls, 1) >= 20 ? -5 : send(context, frame);
}
"""


class Recording(DeskTest):
    def check_refused(self, done, code, text, path=None):
        self.assertEqual((done.returncode, done.stdout), (code, b""), done.stderr)
        self.assertIn(text.encode(), done.stderr)
        self.assertEqual(done.stderr.count(b"velmora-record:"), 1, "one reason, said once")
        self.assertEqual(done.stderr.count(b"\n"), 1, "in one line")
        if path is not None:
            self.assertFalse(os.path.lexists(path), path)

    def check_movie(self, path, tracks, lines=None):
        """A movie that plays, with just these tracks filled; its counts are those that were printed."""
        self.assertEqual(decode_errors(path), "")
        filled = {kind: track for kind, track in probe(path).items() if track["nb_read_packets"].isdigit()}
        self.assertEqual(set(filled), tracks)
        if lines is not None:
            counted = re.search(rb"([0-9]+) frames, ([0-9]+) lost", lines.splitlines()[-1])
            self.assertIsNotNone(counted, lines)
            self.assertEqual(counted[1], filled["video"]["nb_read_packets"].encode(), lines)
            self.assertLess(int(counted[2]), 1000)
        return filled

    def test_wrong_use(self):
        desk = self.desk
        existing = desk.path("settings")
        with open(existing, "wb") as file:
            file.write(os.urandom(2000))
        for arguments, text in (
                ((), "no output named"),
                (("a.mov", "b.mov"), "more than one output"),
                (("--seconds", "x", "a.mov"), '--seconds: expected a positive number, got "x"'),
                (("--seconds", "1", "--seconds", "2", "a.mov"), "--seconds is given twice"),
                (("--size", "320", "a.mov"), "--size: expected"),
                (("--microfone", "none", "a.mov"), "did you mean --microphone?"),
                (("--so", "8000", "a.mov"), "may be any of --sound-rate"),
                (("--force=yes", "a.mov"), "--force takes no value"),
                (("-x", "a.mov"), "unknown option -x"),
                (("a%q.mov",), 'got "%q"'),
                (("--microphone", "none", "--gain", "1", "a.mov"), "--gain: there is no sound"),
                (("--sound-codec", "ulaw", "--sound-bits", "8", "a.mov"), "--sound-bits: expected 16"),
                (("--set", "Hue=1", "--set", "Hue=2", "a.mov"), "Hue is given twice"),
                (("--start-at", "2001-01-01 00:00", "a.mov"), "--start-at: expected a future time"),
                (("--list", "a.mov"), "--list records nothing"),
                ((*SHORT, "--codec", "avc2", "a.mov"), 'did you mean "avc1"'),
                ((*SHORT, "--format", "H264", "a.mov"), "--format: Test Pattern has no format"),
                ((*SHORT, "--codec", "png", "--quality", "5", "a.mov"), "--quality: png has no quality"),
                ((*SHORT, "--microphone", "none", "--set", "Zoom=1", "a.mov"), 'Test Pattern has no control "Zoom"'),
                ((*SHORT, "--settings", existing, "a.mov"), "contains no settings"),
                ((*SHORT, "--settings", existing + "2", "a.mov"), "can't read the settings")):
            with self.subTest(arguments=arguments):
                done = desk.record(*arguments, cwd=desk.folder)
                self.check_refused(done, WRONG_USE, text, desk.path("a.mov"))

    def test_information(self):
        for option, text in (("--help", "--microphone NAME|ID"), ("--version", "velmora-record 1."), ("-h", "Usage")):
            with self.subTest(option=option):
                done = self.desk.record(option, "a.mov", "b.mov")
                self.assertEqual((done.returncode, done.stderr), (RECORDED, b""))
                self.assertIn(text.encode(), done.stdout)
        listing = json.loads(self.desk.record("--json").stdout)
        pattern = listing["cameras"][-1]
        self.assertEqual((pattern["name"], pattern["id"]), ("Test Pattern", "test-pattern"))
        small = next(one for one in pattern["formats"] if one["format"] == "jpeg")
        self.assertEqual((small["name"], small["width"], small["height"]), ("Photo JPEG", 640, 480))
        self.assertIn(30, small["rates"])
        self.assertIn(48000, listing["microphones"][-1]["rates"])
        self.assertIn("jpeg", [one["code"] for one in listing["compressors"]])
        self.assertEqual(listing["decks"], [])
        text = self.desk.record("--list").stdout.decode()
        for title in ("Cameras:", "Microphones:", "Decks:\n  none", "Compressors:", "Test Pattern  [test-pattern]", "29.97",
                      "48000 Hz"):
            self.assertIn(title, text)

    def test_devices_that_are_not_there(self):
        path = self.desk.path("a.mov")
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                self.check_refused(self.desk.record(*mode, "--camera", "Nobody's", path), NO_DEVICE,
                                   'there is no camera "Nobody\'s"; there is "Test Pattern"', path)
                self.check_refused(self.desk.record(*mode, *SHORT, "--microphone", "Nobody's", path), NO_DEVICE,
                                   'there is no microphone "Nobody\'s"', path)
                if not glob.glob("/dev/video*"):
                    self.check_refused(self.desk.record(*mode, path), NO_DEVICE, "there is no camera", path)

    def test_records_what_was_asked_for(self):
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                path = self.desk.path(name + ".mov")
                done = self.desk.record(*mode, *TEST_PATTERN, "--seconds", "1", "--size", "1280x720", path)
                self.assertEqual(done.returncode, RECORDED, done.stderr)
                self.assertIn(b"there is no microphone; recording without sound", done.stderr)
                video = self.check_movie(path, {"video"}, done.stdout)["video"]
                self.assertEqual((video["width"], video["height"]), ("1280", "720"))
                self.assertAlmostEqual(float(video["duration"]), 1, delta=0.4)  # by the stamps of the frames
                before = os.path.getsize(path)
                self.check_refused(self.desk.record(*mode, *SHORT, path), UNWRITABLE, "exists; --force replaces it")
                self.assertEqual(os.path.getsize(path), before)
                done = self.desk.record(*mode, *SHORT, "--force", "--microphone", "Test Tone", path)
                self.assertEqual((done.returncode, done.stderr), (RECORDED, b""))
                self.check_movie(path, {"video", "audio"}, done.stdout)

    def test_outputs_that_are_no_place_for_a_movie(self):
        desk = self.desk
        os.mkfifo(desk.path("pipe"))
        os.mkdir(desk.path("folder"))
        os.symlink("nowhere", desk.path("link"))
        with open(desk.path("ab.mov"), "wb") as file:
            file.write(b"another movie")
        for name, text in (("pipe", "is a pipe"), ("folder", "is a folder"), ("link", "a broken link"),
                           ("/dev/null", "is a device"), ("missing/a.mov", "no such folder"),
                           ("ab.mov/a.mov", "folder is a file"), ("a\\b.mov", "can't contain a backslash"),
                           ("n" * 256, "name is too long")):
            with self.subTest(output=name):
                path = desk.path(name)
                kind = os.lstat(path).st_mode if len(name) < 256 and os.path.lexists(path) else None
                self.check_refused(desk.record(*SHORT, "--force", path), UNWRITABLE, text)
                if kind is not None:
                    self.assertEqual(os.lstat(path).st_mode, kind)
        with open(desk.path("ab.mov"), "rb") as file:
            self.assertEqual(file.read(), b"another movie")

    def test_names_of_any_bytes(self):
        folder = os.fsencode(self.desk.path("it's a \\ \"folder\""))
        os.mkdir(folder)
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                for given in (b"n" * 251 + b".mov", b"\xff\xfe latin \xe9.mov", "Grüße – 日本.mov".encode(),
                              b"new\nline.mov"):
                    path = os.path.join(folder, given)
                    done = self.desk.record(*mode, *SHORT, "--force", path)
                    self.assertEqual(done.returncode, RECORDED, done.stderr)
                    self.check_movie(path, {"video"})
                    self.assertEqual(os.listdir(folder), [given])
                    os.unlink(path)

    def test_disks_that_are_full_or_cannot_be_written(self):
        for name, mode in MODES.items():
            for options, code, text in (("ro", UNWRITABLE, "read-only"), ("size=1m", DISK_FULL, "disk is full"),
                                        ("size=8m", DISK_FULL, "the disk is full")):
                with self.subTest(mode=name, disk=options), self.desk.disk(options) as disk:
                    path = os.path.join(disk, "a.mov")
                    done = self.desk.record(*mode, *TEST_PATTERN, *LARGE, "--seconds", "50", path)
                    if options != "size=8m":
                        self.check_refused(done, code, text, path)
                        continue
                    # The movie ends where the disk is full.
                    self.assertEqual(done.returncode, code, done.stderr)
                    self.assertIn(text.encode(), done.stderr)
                    self.assertNotIn(b"finishing", done.stderr)
                    self.check_movie(path, {"video"})
                    self.assertGreater(os.path.getsize(path), 4_000_000)

    def preload(self, source):
        """Makes programs use functions of this C code in place of those of the libraries."""
        library = self.desk.path("failing.so")
        subprocess.run(["cc", "-shared", "-fPIC", "-x", "c", "-o", library, "-"], input=source, check=True)
        self.desk.environment["LD_PRELOAD"] = library

    def test_a_failing_disk(self):
        self.preload(FAILING_SYNC)
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                done = self.desk.record(*mode, *SHORT, "--force", self.desk.path("a.mov"))
                self.assertEqual(done.returncode, FAILED, done.stderr)
                self.assertRegex(done.stderr, b"can no longer be written|finishing the movie failed")

    def test_a_limit_to_the_size_of_files(self):
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                path = self.desk.path(name + ".mov")
                command = self.desk.command(*mode, *TEST_PATTERN, *LARGE, "--seconds", "50", path)
                done = subprocess.run(["prlimit", "--fsize=3000000", "--", *command], env=self.desk.environment,
                                      capture_output=True, timeout=60, check=False)
                self.assertEqual(done.returncode, DISK_FULL, done.stderr)
                self.assertEqual(done.stderr.count(b"the disk is full"), 1)
                self.check_movie(path, {"video"})

    def test_an_encoder_that_fails(self):
        self.preload(FAILING_ENCODER)
        path = self.desk.path("a.mov")
        for codec in ("avc1", "png"):
            with self.subTest(codec=codec):
                done = self.desk.record(*TEST_PATTERN, "--microphone", "Test Tone", "--codec", codec, "--seconds", "1.5",
                                        "--force", path)
                self.assertEqual(done.returncode, RECORDED)
                self.assertIn(b"a frame could not be compressed; recording continues", done.stderr)
                tracks = self.check_movie(path, {"video", "audio"}, done.stdout)
                self.assertLess(int(tracks["video"]["nb_read_packets"]), 20)
                self.assertGreater(float(tracks["audio"]["duration"]), 0.9)

    def test_signals_finish_the_movie(self):
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                for number in (signal.SIGINT, signal.SIGTERM, signal.SIGHUP):
                    path = self.desk.path(f"{name} {number}.mov")
                    process = self.desk.start(*mode, *TEST_PATTERN, path)
                    wait_for("half a second of it", 20, lambda: b" frames" in process.stdout.readline())
                    process.send_signal(number)
                    lines, errors = process.communicate(timeout=30)
                    self.assertEqual(process.returncode, RECORDED, errors)
                    self.check_movie(path, {"video"}, lines)

    def test_a_reader_that_goes_away_does_not_end_a_recording(self):
        path = self.desk.path("a.mov")
        process = self.desk.start(*SHORT, path)
        process.stdout.close()
        process.stderr.close()
        self.assertEqual(process.wait(30), RECORDED)
        self.check_movie(path, {"video"})

    def check_splits(self, mode, codec):
        """A recording in several files, joined again: no frame and no sample is missing or in two of them."""
        report = self.desk.path("report.json")
        done = self.desk.record(*mode, *TEST_PATTERN, "--microphone", "Test Tone", "--sound-rate", "48000", "--codec",
                                codec, "--split-seconds", "1", "--seconds", "3.6", "--report", report,
                                self.desk.path("%n.mov"))
        self.assertEqual((done.returncode, done.stderr), (RECORDED, b""))
        with open(report, encoding="utf-8") as file:
            summary = json.load(file)
        files = [entry["file"] for entry in summary["files"]]
        self.assertGreaterEqual(len(files), 3)
        self.assertEqual(files, [self.desk.path(f"{number:03}.mov") for number in range(1, len(files) + 1)])
        numbers, sound = [], b""
        for entry in summary["files"]:
            self.assertTrue(entry["whole"], entry)
            self.assertEqual(decode_errors(entry["file"]), "")
            numbers += frame_numbers(entry["file"])
            # Where the encoder stood still for a second, sound has gone ahead into the file before.
            if "audio" in probe(entry["file"]):
                sound += sound_bytes(entry["file"])
        self.assertEqual(len(numbers), summary["frames"])
        self.assertEqual(len(summary["lostFrames"]), summary["lost"] + summary["damaged"])
        self.assertEqual(sorted(set(numbers)), numbers, "each frame once, in order")
        self.assertLessEqual(numbers[-1] - numbers[0] + 1 - len(numbers), summary["lost"], "missing and not counted")
        # The Test Tone beeps on each whole second: the silence between two beeps would be longer or shorter.
        heard = [at for at, sample in enumerate(memoryview(sound).cast("h")) if sample != 0]
        beeps = [at for before, at in zip(heard, heard[1:]) if at - before > 4800]
        self.assertGreaterEqual(len(beeps), 2)
        self.assertEqual({after - before for before, after in zip(beeps, beeps[1:])}, {48000})
        return summary["files"]

    def test_splits_lose_nothing(self):
        for name, mode in MODES.items():
            for codec in ("jpeg", "avc1"):
                with self.subTest(mode=name, codec=codec):
                    for entry in self.check_splits(mode, codec):
                        os.unlink(entry["file"])

    def test_limits(self):
        path = self.desk.path("%n of %Y.mov")
        for name, mode in MODES.items():
            with self.subTest(mode=name):
                done = self.desk.record(*mode, *TEST_PATTERN, "--frames", "7", "--force", path)
                self.assertEqual(done.returncode, RECORDED, done.stderr)
                named = glob.glob(self.desk.path("001 of 2*.mov"))
                self.assertEqual(len(named), 1)
                self.assertEqual(self.check_movie(named[0], {"video"}, done.stdout)["video"]["nb_read_packets"], "7")
        done = self.desk.record(*TEST_PATTERN, "--codec", "2vuy", "--split-size", "5M", "--seconds", "1",
                                self.desk.path("s.mov"))
        self.assertEqual(done.returncode, RECORDED, done.stderr)
        files = sorted(glob.glob(self.desk.path("s-*.mov")))
        self.assertGreaterEqual(len(files), 3)
        self.assertLess(max(map(os.path.getsize, files)), 5 << 20)
        # A file that can't be made leaves the recording in the present one.
        with open(self.desk.path("t-002.mov"), "wb") as file:
            file.write(b"another movie")
        done = self.desk.record(*TEST_PATTERN, "--split-seconds", "1", "--seconds", "1.5", self.desk.path("t.mov"))
        self.assertEqual(done.returncode, RECORDED, done.stderr)
        self.assertIn(b"t-002.mov exists; --force replaces it; recording continues in", done.stderr)
        self.check_movie(self.desk.path("t-001.mov"), {"video"}, done.stdout)

    def test_formats_of_sound_and_settings(self):
        path = self.desk.path("a.mov")
        for options, codec, rate, channels in (
                (("--sound-bits", "24", "--sound-rate", "44100"), "pcm_s24be", "44100", "2"),
                (("--sound-bits", "8", "--channels", "1"), "pcm_u8", None, "1"),
                (("--sound-codec", "twos"), "pcm_s16be", None, "2"),
                (("--sound-codec", "ulaw", "--sound-rate", "8000"), "pcm_mulaw", "8000", "2")):
            with self.subTest(options=options):
                done = self.desk.record(*SHORT, "--microphone", "Test Tone", *options, "--force", path)
                self.assertEqual((done.returncode, done.stderr), (RECORDED, b""))
                sound = self.check_movie(path, {"video", "audio"})["audio"]
                self.assertEqual((sound["codec_name"], sound["channels"]), (codec, channels))
                self.assertEqual(sound["sample_rate"], rate or sound["sample_rate"])
        settings = self.desk.path("settings")
        done = self.desk.record(*TEST_PATTERN, "--microphone", "Test Tone", "--codec", "png", "--channels", "1",
                                "--size", "1280x720", "--rate", "15", "--save-settings", settings)
        self.assertEqual((done.returncode, done.stdout, done.stderr), (RECORDED, b"", b""))
        done = self.desk.record("--settings", settings, *TEST_PATTERN, "--microphone", "Test Tone", "--seconds", "1",
                                "--force", path)
        self.assertEqual((done.returncode, done.stderr), (RECORDED, b""))
        tracks = self.check_movie(path, {"video", "audio"})
        self.assertEqual((tracks["video"]["codec_name"], tracks["video"]["width"], tracks["audio"]["channels"]),
                         ("png", "1280", "1"))


if __name__ == "__main__":
    run_tests_at_once()
