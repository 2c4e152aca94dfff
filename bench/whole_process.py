# SPDX-License-Identifier: MIT
"""Measures the real programs on a virtual display, relative to other programs that do the same with the same camera.

  whole_process.py PROGRAMS peers     live picture: CPU seconds against GStreamer pipelines at the same cameras, time of
                                      the main thread, memory
  whole_process.py PROGRAMS latency   from the capture stamp to the screen; from a click to its effect under load
  whole_process.py PROGRAMS start     from exec to the first live frame on the screen, Test Pattern
  whole_process.py PROGRAMS memory    growth of the process under live picture; VELMORA_BENCH_SECONDS (60) after the
                                      first minute
  whole_process.py PROGRAMS record    velmora-record against ffmpeg and a GStreamer pipeline, with sound
  whole_process.py PROGRAMS encode    velmora-record with a compressor against ffmpeg with the same, at the same camera

PROGRAMS is the folder of the built programs. Each line printed is a row of the table of run.sh."""

import contextlib
import os
import re
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "whole"))
from desktop import FrameTrace, Screen, Velmora, probe, wait_for  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv[1])
SECONDS = 10
CAMERA = ["--name", "BenchCamera", "--rate", "30"]
LARGE_FRAMES = ["--size", "1920x1080", "--format", "mjpeg", "--frame-bytes", "440000"]
SMALL_FRAMES = ["--size", "1920x1080", "--format", "mjpeg", "--frame-bytes", "150000"]
ULTRA_HD = ["--size", "3840x2160", "--format", "mjpeg", "--frame-bytes", "1700000"]
RAW = ["--size", "640x480", "--format", "yuyv"]


def row(name, figure, bound, note=""):
    print(f"{name:<34} {figure:>16}   {bound:<14} {note}", flush=True)


def cpu_seconds(pid):
    """User and system time of a process so far."""
    with open(f"/proc/{pid}/stat", encoding="ascii") as file:
        fields = file.read().rsplit(")", 1)[1].split()
    return (int(fields[11]) + int(fields[12])) / os.sysconf("SC_CLK_TCK")


def resident_kilobytes(pid):
    with open(f"/proc/{pid}/status", encoding="ascii") as file:
        return int(re.search(r"VmRSS:\s+(\d+)", file.read()).group(1))


class Camera:
    """A separate test camera for each program, since a node can hang after a client has disconnected."""

    def __init__(self, *options):
        self.process = subprocess.Popen([os.path.join(PROGRAMS, "test_camera"), *CAMERA, *(options or LARGE_FRAMES)],
                                        stdout=subprocess.PIPE, text=True)
        self.process.stdout.readline()
        time.sleep(0.5)

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.process.terminate()
        self.process.wait()


def missing_frames(numbers):
    """Frames that were not seen between the first and the last one, and repeats or steps back."""
    numbers = [int(number) for number in numbers]
    return numbers[-1] - numbers[0] + 1 - len(numbers) if numbers else None


def main_thread_seconds(pid):
    """Time that a process's first thread has spent on a processor."""
    with open(f"/proc/{pid}/task/{pid}/schedstat", encoding="ascii") as file:
        return int(file.read().split()[0]) / 1e9


class Run:
    """The cost of a program while its picture was watched for some seconds."""

    def __init__(self, pid, watch):
        used, main = cpu_seconds(pid), main_thread_seconds(pid)
        self.numbers = watch()
        self.used = cpu_seconds(pid) - used
        self.main = main_thread_seconds(pid) - main
        self.resident = resident_kilobytes(pid) // 1024
        self.missing = missing_frames(self.numbers)
        self.frames = int(self.numbers[-1]) - int(self.numbers[0]) + 1 if self.numbers else 1


def run_velmora(camera):
    with contextlib.closing(Screen(reach_session=True)) as screen, Camera(*camera):
        application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
        return Run(application.process.pid, lambda: application.read_pattern(SECONDS))


# The pipeline scales before it converts, which is the cheaper order, and keeps the shape as we do. The sink shows each
# frame at once: waiting for its time, it would leave frames out and with them their cost.
def run_pipeline(camera):
    width, height = map(int, camera[1].split("x"))
    decode = "image/jpeg ! jpegdec" if "mjpeg" in camera else f"video/x-raw,format=YUY2,width={width},height={height}"
    shown = f"video/x-raw,width=640,height={640 * height // width}"
    pipeline = (f"pipewiresrc target-object=BenchCamera ! {decode} ! videoscale ! {shown} ! clockoverlay ! videoconvert ! "
                "ximagesink sync=false")
    with contextlib.closing(Screen(reach_session=True)) as screen, Camera(*camera):
        process = screen.start(["gst-launch-1.0", *pipeline.split()])
        window = wait_for("the pipeline's window", 10, lambda: screen.windows(process))[0]
        reader = [os.path.join(PROGRAMS, "read_pattern"), screen.memory]
        place = [str(value) for value in screen.rectangle(window)]
        wait_for("the pipeline's picture", 10, lambda: screen.output(*reader, *place).split()[:1] not in ([], ["none"]))
        return Run(process.pid, lambda: screen.output(*reader, *place, str(SECONDS)).split())


def against_pipeline(name, camera, bound):
    """Three runs of each in turn; the median ratio is the row. Gives our run of it."""
    pairs = sorted(((run_velmora(camera), run_pipeline(camera)) for _ in range(3)), key=lambda p: p[0].used / p[1].used)
    ours, theirs = pairs[1]
    row(name, f"{ours.used / theirs.used:.2f}", bound,
        f"CPU {ours.used:.2f} s against {theirs.used:.2f} s in {SECONDS} s; frames not seen: {ours.missing} against "
        f"{theirs.missing}; median of 3, all: {', '.join(f'{our.used / their.used:.2f}' for our, their in pairs)}")
    return ours


def peers():
    large = against_pipeline("peers: 1080p MJPEG, 440 KB frames", LARGE_FRAMES, "<= 0.75")
    against_pipeline("peers: 1080p MJPEG, 150 KB frames", SMALL_FRAMES, "<= 0.65")
    against_pipeline("peers: raw 640x480", RAW, "<= 1.8")
    ultra = sorted((run_velmora(ULTRA_HD) for _ in range(3)), key=lambda run: run.used)[1]
    row("picture: 4K, CPU of a frame", f"{ultra.used * 1000 / ultra.frames:.1f} ms", "<= 20 ms",
        f"{ultra.frames} frames of 1.7 MB, {ultra.missing} not seen; median of 3")
    for name, run, time_bound, memory_bound in (("1080p", large, "<= 2 ms", "<= 110 MB"),
                                                ("4K", ultra, "<= 3 ms", "<= 300 MB")):
        row(f"picture: {name}, main thread's time", f"{run.main * 1000 / run.frames:.2f} ms", time_bound,
            f"of a frame, {run.frames} frames")
        row(f"picture: {name}, resident memory", f"{run.resident} MB", memory_bound)


def capture_to_screen():
    with contextlib.closing(Screen(reach_session=True)) as screen:
        trace = FrameTrace(screen)
        with Camera(*LARGE_FRAMES, "--log", trace.made):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            words = application.read_pattern(SECONDS, "times")
        seen = dict(zip(map(int, words[::2]), map(float, words[1::2])))
        numbers = {mark: int(number) for _, number, *marks in trace.lines(trace.made) for mark in marks}
        delays = sorted((seen[numbers[marks[0]]] - int(capture) / 1e9) * 1000
                        for event, _, capture, *marks in trace.lines(trace.passed)
                        if event == "arrived" and numbers.get(marks[0]) in seen)
    row("latency: capture to screen, 1080p", f"{delays[len(delays) // 2]:.1f} ms", "<= 25 ms",
        f"median of {len(delays)} frames, 95 % within {delays[len(delays) * 95 // 100]:.1f} ms")


def click_under_load():
    loops = [subprocess.Popen([sys.executable, "-c", "while True: pass"]) for _ in range(2)]
    delays = []
    try:
        with contextlib.closing(Screen(reach_session=True)) as screen, Camera(*ULTRA_HD):
            application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
            left, top, _, height = application.content()
            x, y = application.BOTTOM_LEFT["CheckBox1"]
            x, y = left + x, top + y + height - application.CONTENT[1]
            # One that runs already: starting it and its rest after a click would be measured as well.
            hand = screen.start(["xdotool", "-"], stdin=subprocess.PIPE, text=True)
            for i in range(21):
                before = screen.pixels(x - 14, y - 8, 28, 16)
                began = time.monotonic()
                hand.stdin.write(f"mousemove {x} {y} click 1\n")
                hand.stdin.flush()
                wait_for("the click's effect", 10, lambda b=before: screen.pixels(x - 14, y - 8, 28, 16) != b, pause=0.001)
                delays += [(time.monotonic() - began) * 1000] if i > 0 else []
                time.sleep(0.5)
    finally:
        for loop in loops:
            loop.kill()
    delays.sort()
    row("latency: a click while 4K streams", f"{delays[10]:.1f} ms", "<= 60 ms",
        f"with two busy loops beside; median of {len(delays)}, longest {delays[-1]:.1f} ms")


def latency():
    capture_to_screen()
    click_under_load()


def start():
    times = []
    rectangle = None
    # The first round is a warm one that shows where the window manager puts the picture.
    for _ in range(6):
        screen = Screen()
        try:
            if rectangle is None:
                rectangle = [str(value) for value in Velmora(screen, PROGRAMS).picture()]
                continue
            began = time.monotonic()
            screen.start([os.path.join(PROGRAMS, "velmora")])
            seen = screen.output(os.path.join(PROGRAMS, "read_pattern"), screen.memory, *rectangle, "first")
            times.append((float(seen) - began) * 1000)
        finally:
            screen.close()
    row("start: exec to first live frame", f"{sorted(times)[2]:.0f} ms", "<= 150 ms",
        "median of 5, all: " + ", ".join(f"{value:.0f}" for value in times))


def memory():
    seconds = float(os.environ.get("VELMORA_BENCH_SECONDS", "60"))
    screen = Screen()
    try:
        application = Velmora(screen, PROGRAMS)
        time.sleep(60)
        before = resident_kilobytes(application.process.pid)
        time.sleep(seconds)
        grown = resident_kilobytes(application.process.pid) - before
    finally:
        screen.close()
    row("memory: growth under live picture", f"{grown} KB", "< 1024 KB",
        f"in {seconds:.0f} s after the first minute, at {before} KB")


def finished(command, **options):
    """Runs a command to its end and returns its CPU seconds."""
    before = os.times()
    subprocess.run(command, check=True, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL, **options)
    after = os.times()
    return after.children_user + after.children_system - before.children_user - before.children_system


def record():
    folder = os.environ.get("TMPDIR", "/tmp")
    ours, live, copy, tee = (os.path.join(folder, f"velmora-bench-{name}.mov") for name in ("ours", "live", "copy", "tee"))
    pipeline = ("gst-launch-1.0 -e pipewiresrc target-object=BenchCamera num-buffers=300 ! image/jpeg ! tee name=t t. ! queue ! jpegdec ! "
                "clockoverlay ! videoconvert ! videoscale add-borders=false ! video/x-raw,width=640,height=480 ! ximagesink "
                f"t. ! queue ! mux. pulsesrc num-buffers=1000 ! audioconvert ! queue ! mux. qtmux name=mux ! "
                f"filesink location={tee}").split()
    screen = Screen(reach_session=True)
    recorder = os.path.join(PROGRAMS, "velmora-record")
    try:
        with Camera() as _:
            plain = finished(["pw-v4l2", recorder, "--seconds", str(SECONDS), ours])
        with Camera() as _:
            with_picture = finished(["pw-v4l2", recorder, "--live", "--seconds", str(SECONDS), live])
        with Camera() as _:
            peer = finished(["pw-v4l2", "ffmpeg", "-y", "-f", "v4l2", "-input_format", "mjpeg", "-video_size", "1920x1080",
                             "-i", "/dev/video0", "-f", "pulse", "-i", "default", "-t", str(SECONDS), "-c", "copy", copy])
        with Camera() as _:
            piped = finished(pipeline, env=screen.environment)
    finally:
        screen.close()
    frames = {name: probe(path).get("video", {}).get("nb_read_packets") for name, path in
              (("ours", ours), ("live", live), ("ffmpeg", copy), ("tee", tee))}
    row("record: against ffmpeg -c copy", f"{plain / peer:.2f}", "<= 1.2",
        f"CPU {plain:.2f} s against {peer:.2f} s; frames {frames['ours']} and {frames['ffmpeg']}")
    row("record: picture decoded as well", f"{with_picture / peer:.2f}", "(reported)",
        f"CPU {with_picture:.2f} s; frames {frames['live']}")
    row("record: against tee and qtmux", f"{with_picture / piped:.2f}", "<= 0.8",
        f"CPU {with_picture:.2f} s against {piped:.2f} s, both with picture; frames {frames['live']} and {frames['tee']}")
    for path in (ours, live, copy, tee):
        if os.path.exists(path):
            os.unlink(path)


def encode():
    """Each program takes as many frames from a camera of its own; the median ratio of three pairs is the row."""
    frames = 30 * SECONDS
    for name, camera, source, ours, theirs in (
            ("encode: H.264 1080p, with picture", ["--size", "1920x1080", "--format", "mjpeg", "--frame-bytes", "150000"],
             ["-input_format", "mjpeg", "-video_size", "1920x1080"], ["--live", "--codec", "avc1"],
             ["-c:v", "libx264", "-preset", "superfast", "-tune", "zerolatency", "-pix_fmt", "yuv420p"]),
            ("encode: FFV1 720p, with picture", ["--size", "1280x720", "--format", "yuyv"],
             ["-input_format", "yuyv422", "-video_size", "1280x720"], ["--live", "--codec", "FFV1"],
             ["-c:v", "ffv1", "-level", "3", "-slicecrc", "1", "-slices", "4", "-pix_fmt", "yuv422p"])):
        path = os.path.join(os.environ.get("TMPDIR", "/tmp"), "velmora-bench-encode.mov")
        pairs, kept = [], []
        for _ in range(3):
            with Camera(*camera):
                our_seconds = finished(["pw-v4l2", os.path.join(PROGRAMS, "velmora-record"), *ours, "--microphone", "none",
                                        "--frames", str(frames), "--force", path])
            kept.append(int(probe(path)["video"]["nb_read_packets"]))
            with Camera(*camera):
                their_seconds = finished(["pw-v4l2", "ffmpeg", "-y", "-f", "v4l2", *source, "-i", "/dev/video0", "-frames:v",
                                          str(frames), *theirs, path])
            pairs.append((our_seconds / their_seconds, our_seconds, their_seconds))
            os.unlink(path)
        ratio, our_seconds, their_seconds = sorted(pairs)[1]
        row(name, f"{ratio:.2f}", "<= 1.15",
            f"CPU {our_seconds:.2f} s against {their_seconds:.2f} s; frames {kept} of {frames}; median of 3, all: "
            + ", ".join(f"{one[0]:.2f}" for one in pairs))


if __name__ == "__main__":
    {"peers": peers, "latency": latency, "start": start, "memory": memory, "record": record, "encode": encode}[sys.argv[2]]()
