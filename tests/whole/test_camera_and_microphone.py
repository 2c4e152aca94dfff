"""The main job on real input: a camera through V4L2 and a microphone through the sound server, on a PipeWire session of
its own, worked with real clicks. Run it inside tests/support/with_pipewire.sh."""

import contextlib
import os
import subprocess
import sys
import tempfile
import time

from desktop import Camera, Failure, Screen, Velmora, decode_errors, probe, wait_for
from synchronisation import offsets

PROGRAMS = os.environ["VELMORA_PROGRAMS"]
FRAMES = int(os.environ.get("VELMORA_FRAMES", "300"))


def check(condition, what):
    if not condition:
        raise Failure(what)


def with_patience(job, *arguments):
    """Does a job up to three times: a machine shared with others may stand still for longer than a frame, while a fault
    of ours shows each time."""
    for attempt in range(3):
        try:
            return job(*arguments)
        except Failure as failure:
            if attempt == 2:
                raise
            print(f"once more, for: {failure}", flush=True)


def check_each_frame_once(options):
    with contextlib.closing(Screen(reach_session=True)) as screen:
        with Camera(PROGRAMS, *options):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            check(application.title() == "Test Camera", f"the title is {application.title()!r}")
            numbers = [int(number) for number in application.read_pattern(FRAMES / 30 + 1)][:FRAMES]
            check(len(numbers) == FRAMES, f"{len(numbers)} frames seen")
            expected = list(range(numbers[0], numbers[0] + FRAMES))
            missing = sorted(set(expected) - set(numbers))
            check(numbers == expected, f"{options}: not each frame once and in order; missing {missing}")
            print(f"{' '.join(options)}: {FRAMES} frames on the screen, each once and in order", flush=True)
            check(application.close() == 0, "the exit code is not 0")


def check_camera_comes_back():
    with contextlib.closing(Screen(reach_session=True)) as screen:
        camera = Camera(PROGRAMS, "--size", "640x480", "--rate", "30", "--format", "yuyv")
        application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
        camera.stop()
        time.sleep(1)
        frozen = application.frame_number()
        application.choose("PopupMenu1", 1)
        check(application.process.poll() is None, "the application ended with its camera")
        with Camera(PROGRAMS, "--size", "640x480", "--rate", "30", "--format", "yuyv"):
            began = time.monotonic()
            wait_for("the picture to come back", 10, lambda: application.frame_number() not in (None, frozen))
            print(f"the picture was back {time.monotonic() - began:.1f} s after the camera", flush=True)
            check(application.close() == 0, "the exit code is not 0")


def check_three_recordings():
    screen = Screen(reach_session=True)
    folder = tempfile.mkdtemp(prefix="velmora-movies-")
    speaker = subprocess.Popen([os.path.join(PROGRAMS, "test_speaker")])
    try:
        with Camera(PROGRAMS, "--size", "640x480", "--rate", "30", "--format", "mjpeg"):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            for number in range(1, 4):
                path = os.path.join(folder, f"take {number}.mov")
                application.record(path)
                time.sleep(4)
                application.click("btnstartcapture1")
                wait_for("the movie to be finished", 10, lambda: decode_errors(path) == "")
                check_movie(path)
            check(application.close() == 0, "the exit code is not 0")
    finally:
        screen.close()
        speaker.terminate()
        speaker.wait()


def check_movie(path):
    tracks = probe(path)
    check(set(tracks) == {"video", "audio"}, f"{path} has tracks {sorted(tracks)}")
    frames = int(tracks["video"]["nb_read_packets"])
    check(90 <= frames <= 180, f"{path} has {frames} frames")
    found = offsets(path)
    check(len(found) >= 3, f"{path} has {len(found)} flashes with a beep")
    usual = sorted(found, key=abs)[len(found) // 2]
    check(abs(usual) <= 1 / 30 + 0.01, f"sound is {usual * 1000:.0f} ms behind the picture in {path}")
    print(f"{os.path.basename(path)}: {frames} frames, beeps after flashes by "
          f"{', '.join(f'{offset * 1000:.0f}' for offset in found)} ms", flush=True)


def main():
    with_patience(check_each_frame_once, ["--size", "640x480", "--rate", "30", "--format", "yuyv"])
    with_patience(check_each_frame_once, ["--size", "1280x720", "--rate", "30", "--format", "mjpeg"])
    check_camera_comes_back()
    with_patience(check_three_recordings)


if __name__ == "__main__":
    try:
        main()
    except Failure as failure:
        sys.exit(f"FAILED: {failure}")
