"""Measures the real programs on a screen in memory, against other programs that do the same job at the same camera.

  whole_process.py PROGRAMS peers     live picture of a 1920x1080 MJPEG camera: CPU seconds against a GStreamer pipeline
  whole_process.py PROGRAMS start     from exec to the first live frame on the screen, Test Pattern
  whole_process.py PROGRAMS memory    growth of the process under live picture; VELMORA_BENCH_SECONDS (60) after the
                                      first minute
  whole_process.py PROGRAMS record    velmora-record against ffmpeg and a GStreamer pipeline, with sound

PROGRAMS is the folder of the built programs. Each line printed is a row of the table of run.sh."""

import os
import re
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "tests", "whole"))
from desktop import Screen, Velmora, probe, wait_for  # noqa: E402

PROGRAMS = os.path.abspath(sys.argv[1])
SECONDS = 10
CAMERA = ["--name", "BenchCamera", "--size", "1920x1080", "--rate", "30", "--format", "mjpeg", "--frame-bytes", "500000"]


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
    """A test camera of its own for each program: a node can stay stuck after a client left it."""

    def __init__(self, *options):
        self.process = subprocess.Popen([os.path.join(PROGRAMS, "test_camera"), *CAMERA, *options],
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


def run_velmora(screen):
    with Camera():
        began = time.monotonic()
        application = Velmora(screen, PROGRAMS, ["pw-v4l2"])
        numbers = application.read_pattern(began + SECONDS - time.monotonic())
        used = cpu_seconds(application.process.pid)
        application.process.terminate()
        application.process.wait()
    return used, numbers


# The sink shows each frame at once: waiting for its time, it would leave frames out and with them their cost.
def run_pipeline(screen):
    pipeline = ("pipewiresrc target-object=BenchCamera ! image/jpeg ! jpegdec ! clockoverlay ! videoconvert ! videoscale add-borders=false ! "
                "video/x-raw,width=640,height=480 ! ximagesink sync=false")
    with Camera():
        began = time.monotonic()
        process = screen.start(["gst-launch-1.0", *pipeline.split()])
        window = wait_for("the pipeline's window", 10, lambda: screen.windows(process))[0]
        reader = [os.path.join(PROGRAMS, "read_pattern"), screen.memory]
        place = [str(value) for value in screen.rectangle(window)]
        wait_for("the pipeline's picture", 10, lambda: screen.output(*reader, *place).split()[:1] not in ([], ["none"]))
        numbers = screen.output(*reader, *place, str(began + SECONDS - time.monotonic())).split()
        used = cpu_seconds(process.pid)
        process.terminate()
        process.wait()
    return used, numbers


def peers():
    ratios = []
    for _ in range(3):
        screen = Screen(reach_session=True)
        try:
            ours, our_numbers = run_velmora(screen)
        finally:
            screen.close()
        screen = Screen(reach_session=True)
        try:
            theirs, their_numbers = run_pipeline(screen)
        finally:
            screen.close()
        ratios.append((ours / theirs, ours, theirs, missing_frames(our_numbers), missing_frames(their_numbers)))
    ratio, ours, theirs, our_missing, their_missing = sorted(ratios)[1]
    row("peers: live picture 1080p MJPEG", f"{ratio:.2f}", "<= 0.8",
        f"CPU {ours:.2f} s against {theirs:.2f} s in {SECONDS} s; frames not seen: {our_missing} against {their_missing}; "
        f"median of 3, all: {', '.join(f'{r[0]:.2f}' for r in ratios)}")


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
    row("start: exec to first live frame", f"{sorted(times)[2]:.0f} ms", "<= 500 ms",
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


if __name__ == "__main__":
    {"peers": peers, "start": start, "memory": memory, "record": record}[sys.argv[2]]()
