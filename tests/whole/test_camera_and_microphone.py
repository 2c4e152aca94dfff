# SPDX-License-Identifier: MIT
"""The main job on real input: a camera through V4L2 and a microphone through the sound server, on a PipeWire session of
its own, worked with real clicks. Run it inside tests/support/with_pipewire.sh."""

import collections
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


def idle_share():
    """Returns a function that gives the share of idle processor time from now until it is called."""
    def read():
        with open("/proc/stat", encoding="ascii") as file:
            times = [int(word) for word in file.readline().split()[1:9]]
        return times[3], sum(times)
    idle, total = read()
    return lambda: (read()[0] - idle) / max(read()[1] - total, 1)


def check_each_frame_once(*options):
    """Reads the numbers of frames from the screen. For each one that is missing the trace must give a reason that is
    acceptable on a busy machine: the program was behind and counted it, or the frame was shown but not looked at."""
    with contextlib.closing(Screen(reach_session=True)) as screen:
        trace = FrameTrace(screen)
        with Camera(PROGRAMS, *options, "--log", trace.made):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            check(application.title() == "Test Camera", f"the title is {application.title()!r}")
            idle = idle_share()
            seen = application.watch_pattern(FRAMES, FRAMES)
            idle = idle()
            stations = trace.stations()
            check(application.close() == 0, "the exit code is not 0")
    check(seen and seen[-1][0] >= seen[0][0] + FRAMES - 1, f"{options}: not {FRAMES} frames: {seen}")
    last = seen[0][0] + FRAMES - 1
    numbers = [number for number, _ in seen if number <= last]
    check(numbers == sorted(set(numbers)), f"{options}: not each frame once and in order: {numbers}")
    missing = {}
    for (before, _), (number, pause) in zip(seen, seen[1:]):
        for unseen in range(before + 1, min(number, last + 1)):
            station = stations.get(unseen, "nowhere")
            missing[unseen] = "unwatched screen" if station == "screen" and pause >= 1000 / 30 else station
    print(f"{' '.join(options)}: {len(numbers)} of {FRAMES} frames seen, each once and in order; processors idle for "
          f"{idle:.0%}; missing: {dict(collections.Counter(missing.values()))}", flush=True)
    excused = (FrameTrace.SKIPPED, "unwatched screen", "screen")
    lost = {number: station for number, station in missing.items() if station not in excused}
    check(not lost, f"frames were lost, with where they were last seen: {lost}")
    # A picture may be up for a moment only, when a program that was held up shows one after the other.
    check(idle < 0.2 or len(missing) <= FRAMES // 5, "frames are left out on a machine that has time")


def check_three_recordings():
    screen = Screen(reach_session=True)
    speaker = subprocess.Popen([os.path.join(PROGRAMS, "test_speaker")])
    try:
        with Camera(PROGRAMS, "--size", "640x480", "--rate", "30", "--format", "mjpeg"):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            for number in range(1, 4):
                path = os.path.join(screen.folder, f"take {number}.mov")
                application.record(path)
                idle = idle_share()
                time.sleep(4)
                idle = idle()
                application.click("btnstartcapture1")
                wait_for("the movie to be finished", 10, lambda: decode_errors(path) == "")
                check_movie(path, idle)
            check(application.close() == 0, "the exit code is not 0")
    finally:
        screen.close()
        speaker.terminate()
        speaker.wait()


def check_movie(path, idle):
    tracks = probe(path)
    check(set(tracks) == {"video", "audio"}, f"{path} has tracks {sorted(tracks)}")
    frames = int(tracks["video"]["nb_read_packets"])
    check(90 <= frames <= 180, f"{path} has {frames} frames")
    found = offsets(path)
    check(len(found) >= 3, f"{path} has {len(found)} flashes with a beep")
    usual = sorted(found, key=abs)[len(found) // 2]
    print(f"{os.path.basename(path)}: {frames} frames, beeps after flashes by "
          f"{', '.join(f'{offset * 1000:.0f}' for offset in found)} ms; processors idle for {idle:.0%}", flush=True)
    # Where no processor has time, the camera and the speaker, programs themselves, are late.
    check(idle < 0.2 or abs(usual) <= 1 / 30 + 0.01, f"sound is {usual * 1000:.0f} ms behind the picture")


def main():
    check_each_frame_once("--size", "640x480", "--rate", "30", "--format", "yuyv")
    check_each_frame_once("--size", "1920x1080", "--rate", "30", "--format", "mjpeg")
    check_three_recordings()


if __name__ == "__main__":
    try:
        main()
    except Failure as failure:
        sys.exit(f"FAILED: {failure}")
