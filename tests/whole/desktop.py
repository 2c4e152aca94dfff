# SPDX-License-Identifier: MIT
"""The real application on a screen of its own: a screen in memory, a window manager, real clicks and keys, and the
pixels that come out. The screen's memory is a file, so looking at it costs the application nothing."""

import os
import re
import shutil
import struct
import subprocess
import tempfile
import time


class Failure(Exception):
    """Something that should have happened on the screen did not."""


# Seconds: a busy machine may stand still for some of them, and an emulated one for more.
PATIENCE = 20 * int(os.environ.get("VELMORA_PATIENCE", "1"))


def wait_for(what, seconds, condition, pause=PATIENCE / 1000):
    """Asks `condition` until it gives something, and returns that."""
    end = time.monotonic() + max(seconds, PATIENCE)
    while True:
        result = condition()
        if result:
            return result
        if time.monotonic() > end:
            raise Failure(f"waited {max(seconds, PATIENCE)} s for {what}")
        time.sleep(pause)


class Screen:
    """An X server without hardware. Its programs get a home and a runtime folder of their own, hence no servers, unless
    they are to reach the sound server and the cameras of the session that this script runs in."""

    SESSION = ("XDG_RUNTIME_DIR", "DBUS_SESSION_BUS_ADDRESS", "PULSE_SERVER")

    def __init__(self, width=1280, height=960, reach_session=False, manager=True):
        self.folder = tempfile.mkdtemp(prefix="velmora-screen-")
        self.children = []
        self.environment = {
            key: value for key, value in os.environ.items()
            if key not in ("WAYLAND_DISPLAY", "DBUS_SESSION_BUS_ADDRESS", "PULSE_SERVER", "QT_QPA_PLATFORM",
                           "XDG_STATE_HOME")
        }
        self.environment.update(HOME=self.folder, XDG_RUNTIME_DIR=self.folder, LC_ALL="C.UTF-8")
        if reach_session:
            self.environment.update({key: os.environ[key] for key in self.SESSION if key in os.environ})
        read_end, write_end = os.pipe()
        # Without "-noreset" the server starts over when its last client leaves, and throws out one that just comes.
        server = ["Xvfb", "-displayfd", str(write_end), "-screen", "0", f"{width}x{height}x24", "-fbdir", self.folder,
                  "-nolisten", "tcp", "-noreset"]
        self.start(server, pass_fds=[write_end])
        os.close(write_end)
        with os.fdopen(read_end) as pipe:
            self.environment["DISPLAY"] = ":" + pipe.readline().strip()
        self.memory = os.path.join(self.folder, "Xvfb_screen0")
        # A window manager takes its keys anew at the first key that ever comes, and loses those that come meanwhile.
        self.key("Shift_L")
        if manager:
            self.start(["openbox"])
            wait_for("the window manager", 10, self.manager_answers)

    def manager_answers(self):
        """Changes a setting of the window manager's. Until it does that it may overlook a new window."""
        self.output("xdotool", "set_num_desktops", "1")
        return self.output("xdotool", "get_num_desktops").strip() == "1"

    def start(self, command, **options):
        options.setdefault("stdout", subprocess.DEVNULL)
        options.setdefault("stderr", subprocess.DEVNULL)
        child = subprocess.Popen(command, env=self.environment, **options)
        self.children.append(child)
        return child

    def output(self, *command):
        """What a command prints, or nothing where it fails."""
        return subprocess.run(command, env=self.environment, capture_output=True, text=True, check=False).stdout

    def xdotool(self, *arguments):
        subprocess.run(["xdotool", *map(str, arguments)], env=self.environment, check=True, capture_output=True)

    def click(self, x, y):
        self.xdotool("mousemove", x, y, "click", 1)

    def key(self, *names):
        self.xdotool("key", "--clearmodifiers", *names)

    def type(self, text):
        self.xdotool("type", "--delay", 5, text)

    def windows(self, process):
        """Windows of a process that are on the screen."""
        return [int(line) for line in self.output("xdotool", "search", "--all", "--onlyvisible", "--pid",
                                                  str(process.pid), "--class", ".").split()]

    def rectangle(self, window):
        """Left, top, width and height of a window's inside on the screen."""
        information = self.output("xwininfo", "-id", str(window))
        names = ("Absolute upper-left X", "Absolute upper-left Y", "Width", "Height")
        return tuple(int(re.search(name + r":\s+(-?\d+)", information).group(1)) for name in names)

    def rows(self, left, top, width, height):
        """Rows of bytes, four a pixel: blue, green, red and one unused. The memory is read at once, so that little
        changes meanwhile."""
        with open(self.memory, "rb") as file:
            header = struct.unpack(">25I", file.read(100))
            stride = header[12]
            file.seek(header[0] + 12 * header[19] + top * stride)
            memory = file.read(height * stride)
        return [memory[start + left * 4:start + (left + width) * 4] for start in range(0, height * stride, stride)]

    def pixels(self, left, top, width, height):
        """Rows of (red, green, blue)."""
        return [list(zip(row[2::4], row[1::4], row[0::4])) for row in self.rows(left, top, width, height)]

    def pixel(self, x, y):
        return self.pixels(x, y, 1, 1)[0][0]

    def screenshot(self, path, rectangle):
        """Writes a part of the screen as a PNG."""
        size = "x".join(map(str, rectangle[2:]))
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pix_fmt", "bgr0", "-s", size,
                        "-i", "-", path], input=b"".join(self.rows(*rectangle)), check=True)

    def close(self):
        for child in reversed(self.children):
            if child.poll() is None:
                child.terminate()
                try:
                    child.wait(5)
                except subprocess.TimeoutExpired:
                    child.kill()
                    child.wait()
        shutil.rmtree(self.folder, ignore_errors=True)


class Velmora:
    """The running application and its main window. Places are those of the window's layout, in pixels from the top
    left corner of its content, at the size it opens with."""

    PICTURE = (20, 14, 640, 480)
    BOTTOM_LEFT = {
        "PopupMenu1": (214, 522), "CheckBox1": (312, 593), "CheckBox2": (410, 591), "CheckBox3": (508, 589),
    }
    BOTTOM_RIGHT = {"btnstartcapture1": (620, 522)}
    CONTENT = (680, 634)

    SHAPES = ((4, 3), (16, 9))

    def __init__(self, screen, folder, wrapper=(), scale=1):
        self.screen = screen
        self.folder = folder
        self.scale = scale
        self.shape = self.SHAPES[0]
        if scale != 1:
            screen.environment["QT_SCALE_FACTOR"] = str(scale)
        self.process = screen.start([*wrapper, os.path.join(folder, "velmora")], stderr=None)
        self.window = wait_for("the main window", 20, self.find_window)
        wait_for("the live picture", 20, self.find_content)

    def find_window(self):
        """The main window. A question asked at the start may be on the screen before it, and belongs to it."""
        for window in self.screen.windows(self.process):
            if "window id" not in self.screen.output("xprop", "-id", str(window), "WM_TRANSIENT_FOR"):
                return window
        return None

    def content(self):
        """Left, top, width and height of the window's content on the screen."""
        left, top, width, height = self.screen.rectangle(self.window)
        return left, top + self.menu_height, width, height - self.menu_height

    def control(self):
        """Where the capture control is on the screen: it grows with the window."""
        left, top, width, height = self.content()
        x, y, right, bottom = (value * self.scale for value in self.PICTURE)
        return (left + x, top + y, right + width - self.CONTENT[0] * self.scale,
                bottom + height - self.CONTENT[1] * self.scale)

    def picture(self, control=None):
        """Where the picture is on the screen: in the middle of the control, in the shape of the camera's frames."""
        left, top, width, height = control or self.control()
        scale = min(width / self.shape[0], height / self.shape[1])
        inside = [int(side * scale + 0.5) for side in self.shape]
        return (left + (width - inside[0]) // 2, top + (height - inside[1]) // 2, *inside)

    def find_content(self):
        """Looks where the content begins, and whether it shows a picture there yet."""
        # The menu bar is part of the window but not of its content.
        self.menu_height = self.screen.rectangle(self.window)[3] - self.CONTENT[1] * self.scale
        return self.find_shape()

    def find_shape(self):
        """Looks which shape the frames have that the control shows; False while it shows none."""
        for self.shape in self.SHAPES:
            if self.frame_number() is not None:
                return True
        return False

    def title(self):
        return self.screen.output("xdotool", "getwindowname", str(self.window)).strip()

    def read_pattern(self, *seconds):
        reader = os.path.join(self.folder, "read_pattern")
        arguments = [*self.picture(), *seconds]
        return self.screen.output(reader, self.screen.memory, *map(str, arguments)).split()

    def watch_pattern(self, seconds, frames):
        """Each frame number as it appears, with the milliseconds since the previous look, until they span that many
        frames."""
        words = self.read_pattern(seconds, "looks", frames)
        return list(zip(map(int, words[::2]), map(float, words[1::2])))

    def frame_number(self):
        first = self.read_pattern()[:1]
        return int(first[0]) if first and first[0] != "none" else None

    def corners(self):
        """The marks seen at the top left, top right, bottom left and bottom right."""
        return self.read_pattern()[1:]

    def click(self, control):
        left, top, width, height = (value / self.scale for value in self.content())
        if control in self.BOTTOM_RIGHT:
            x, y = self.BOTTOM_RIGHT[control]
            x += width - self.CONTENT[0]
        else:
            x, y = self.BOTTOM_LEFT[control]
        self.screen.click(int((left + x) * self.scale), int((top + y + height - self.CONTENT[1]) * self.scale))

    def choose(self, control, row):
        """Chooses a row of a pop-up menu by keyboard."""
        self.click(control)
        time.sleep(0.3)
        self.screen.key("Home", *["Down"] * row, "Return")
        time.sleep(0.3)

    def record(self, path):
        """Presses "Record" and gives the save dialog the path."""
        self.click("btnstartcapture1")
        self.answer_dialog("ctrl+a", path)

    def answer_dialog(self, key, text=""):
        """Waits for a dialog, presses a key in it, types a text followed by Return, and waits for it to go."""
        dialog = wait_for("a dialog", 10, self.dialogs)[0]
        self.screen.xdotool("windowactivate", "--sync", dialog)
        self.screen.key(key)
        if text:
            self.screen.type(text)
            self.screen.key("Return")
        wait_for("the dialog to close", 10, lambda: dialog not in self.dialogs())

    def dialogs(self):
        """Windows besides the main one, without lists and menus that pop up."""
        return [window for window in self.screen.windows(self.process) if window != self.window
                and "Override Redirect State: no" in self.screen.output("xwininfo", "-id", str(window))]

    def screenshot(self, path):
        self.screen.screenshot(path, self.screen.rectangle(self.window))

    def close(self):
        """Closes the window as a user does and returns the exit code."""
        if self.process.poll() is None:
            self.screen.xdotool("windowactivate", "--sync", self.window)
            self.screen.key("alt+F4")
        return self.process.wait(PATIENCE)


class Camera:
    """A camera at the session's PipeWire server."""

    def __init__(self, folder, *options):
        self.process = subprocess.Popen([os.path.join(folder, "test_camera"), *options], stdout=subprocess.PIPE,
                                        text=True)
        self.process.stdout.readline()

    def __enter__(self):
        return self

    def __exit__(self, *_):
        self.stop()

    def stop(self):
        self.process.kill()
        self.process.wait()


class FrameTrace:
    """The way of each frame from the camera to the screen, so that of a missing one the last station is known: the
    camera's own log, then what the program writes at its stations, then who looked at the screen."""

    SKIPPED = "main thread, which left its picture out because it was behind"
    ENDS = {"shown": "screen", "skipped": SKIPPED, "undrawn": "main thread, which drew nothing"}

    def __init__(self, screen):
        self.made = os.path.join(screen.folder, "frames-made")
        self.passed = os.path.join(screen.folder, "frames-passed")
        screen.environment["VELMORA_FRAME_TRACE"] = self.passed

    @staticmethod
    def lines(path):
        with open(path, encoding="ascii") as file:
            return [line.split() for line in file]

    def stations(self):
        """For each frame that the camera made, its last station before the screen."""
        stations, fingerprints, captured = {}, {}, {}
        for event, number, *fingerprint in self.lines(self.made):
            stations[int(number)] = "camera" if event == "made" else "camera, for want of a free buffer"
            fingerprints.update({mark: int(number) for mark in fingerprint})
        for event, _, capture, *fingerprint in self.lines(self.passed):
            if event == "arrived":
                captured[capture] = fingerprints.get(fingerprint[0])
                stations[captured[capture]] = "queue"
            elif capture in captured:
                stations[captured[capture]] = self.ENDS[event]
        return stations


def probe(path):
    """The tracks of a movie as ffprobe sees them: kind to its fields."""
    fields = "codec_type,codec_name,width,height,sample_rate,channels,nb_read_packets,duration"
    text = subprocess.run(["ffprobe", "-v", "error", "-count_packets", "-show_entries", "stream=" + fields, "-of",
                           "default", path], capture_output=True, text=True, check=True).stdout
    tracks = {}
    for part in text.split("[STREAM]")[1:]:
        track = dict(line.split("=", 1) for line in part.splitlines() if "=" in line)
        tracks[track["codec_type"]] = track
    return tracks


def decode_errors(path):
    """What a full decode of a movie complains of; empty for a sound one. Frames keep their own measured times: brought
    to a steady rate, those of a camera that jitters would fall on one another."""
    return subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-fps_mode", "passthrough", "-enc_time_base", "-1", "-f",
                           "null", "-"], capture_output=True, text=True, check=False).stderr
