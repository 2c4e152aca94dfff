# SPDX-License-Identifier: MIT
"""The main job on real input: a camera through V4L2 and a microphone through the sound server, on a PipeWire session of
its own, worked with real clicks. Run it inside tests/support/with_pipewire.sh."""

import contextlib
import os
import subprocess
import sys
import time

from desktop import Camera, Failure, FrameTrace, Screen, Velmora, decode_errors, probe, wait_for
from synchronisation import offsets

PROGRAMS = os.environ["VELMORA_PROGRAMS"]
FRAMES = int(os.environ.get("VELMORA_FRAMES", "300"))


def check(condition, what):
    if not condition:
        raise Failure(what)


def unseen(seen, stations):
    """Of the frames between the first and the last that were seen, those that were not, each with its last station. A
    picture that was shown while nobody looked at the screen, on a machine that stood still, is nobody's fault."""
    lost = {}
    for (before, _), (number, pause) in zip(seen, seen[1:]):
        for missing in range(before + 1, number):
            station = stations.get(missing, "nowhere")
            if station != "screen" or pause < 1000 / 30:
                lost[missing] = station
            else:
                print(f"frame {missing} was on the screen while nobody looked for {pause:.0f} ms", flush=True)
    return lost


def check_each_frame_once(*options):
    with contextlib.closing(Screen(reach_session=True)) as screen:
        trace = FrameTrace(screen)
        with Camera(PROGRAMS, *options, "--log", trace.made):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            check(application.title() == "Test Camera", f"the title is {application.title()!r}")
            seen = application.watch_pattern(FRAMES / 30 + 1)[:FRAMES]
            numbers = [number for number, _ in seen]
            check(numbers == sorted(set(numbers)), f"{options}: not each frame once and in order: {numbers}")
            check(len(numbers) > FRAMES * 0.9, f"{len(numbers)} frames seen")
            lost = unseen(seen, trace.stations())
            check(not lost, f"{options}: frames missing, with where they were last seen: {lost}")
            print(f"{' '.join(options)}: {len(numbers)} frames on the screen, each once and in order", flush=True)
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
    speaker = subprocess.Popen([os.path.join(PROGRAMS, "test_speaker")])
    try:
        with Camera(PROGRAMS, "--size", "640x480", "--rate", "30", "--format", "mjpeg"):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            for number in range(1, 4):
                path = os.path.join(screen.folder, f"take {number}.mov")
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
    check_each_frame_once("--size", "640x480", "--rate", "30", "--format", "yuyv")
    check_each_frame_once("--size", "1280x720", "--rate", "30", "--format", "mjpeg")
    check_camera_comes_back()
    check_three_recordings()


if __name__ == "__main__":
    try:
        main()
    except Failure as failure:
        sys.exit(f"FAILED: {failure}")
