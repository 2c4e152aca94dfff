# SPDX-License-Identifier: MIT
"""Takes the guide's screenshots from the running program, on a screen in memory, so that they show what is there.

Usage: tests/support/with_pipewire.sh python3 docs/guide/screenshots.py FOLDER-OF-PROGRAMS [OUTPUT-FOLDER]

The screenshots go beside the guide unless told otherwise. Only the page of a camera's controls shows a camera of the
session; on the others are the built-in devices, as on the reader's own first start.
"""

import os
import signal
import subprocess
import sys
import time

HERE = os.path.dirname(os.path.abspath(__file__))
sys.path.insert(0, os.path.join(HERE, "..", "..", "tests", "whole"))
from desktop import Camera, Screen, Velmora, wait_for  # pylint: disable=wrong-import-position

FLASH_LOOKS = 10
NEARLY_WHITE = 240
SETTLED = 1.0  # seconds until a window that was just opened or changed has painted all of it


class Photographer:
    """The program on its screen, and where its pictures go."""

    def __init__(self, programs, output, reach_session=False):
        self.programs = os.path.abspath(programs)
        self.output = output
        self.screen = Screen(reach_session=reach_session)
        self.velmora = None

    def __enter__(self):
        self.velmora = Velmora(self.screen, self.programs)
        return self

    def __exit__(self, *_):
        self.screen.close()

    def go_to_main_window(self):
        """Keys go to the main window from here on; after a dialog, the window manager may take its time for that."""
        self.screen.xdotool("windowactivate", "--sync", self.velmora.window)

    def window(self):
        """The window that came up beside the main one."""
        return wait_for("another window", 20, self.velmora.dialogs)[0]

    def frame(self, window):
        """Where a window is on the screen, with what the window manager puts round it."""
        left, top, width, height = self.screen.rectangle(window)
        extents = self.screen.output("xprop", "-id", str(window), "_NET_FRAME_EXTENTS").split("=")[-1]
        west, east, north, south = (int(side) for side in extents.split(","))
        return left - west, top - north, width + west + east, height + north + south

    def look(self, rectangle):
        """The pixels of a part of the screen, past the moment of each second in which the Test Pattern is white."""
        for _ in range(FLASH_LOOKS):
            rows = self.screen.rows(*rectangle)
            if min(rows[min(150, len(rows) - 1)][600:603]) < NEARLY_WHITE:
                break
            time.sleep(0.1)
        return rows

    def take(self, name, window=None):
        self.screen.xdotool("mousemove", 10000, 10000)  # the pointer is in the screen's memory too
        time.sleep(SETTLED)
        rectangle = self.frame(window or self.velmora.window)
        subprocess.run(["ffmpeg", "-v", "error", "-y", "-f", "rawvideo", "-pixel_format", "bgr0", "-video_size",
                        f"{rectangle[2]}x{rectangle[3]}", "-i", "-", os.path.join(self.output, name + ".png")],
                       input=b"".join(self.look(rectangle)), check=True)

    def settings(self, menu, names):
        """The pages of the settings dialog of a menu, which is so many to the right of the first one. A page without a
        name is passed over."""
        self.go_to_main_window()
        self.screen.key("F10", "Down", *["Right"] * menu, "Down", "Return")
        dialog = self.window()
        self.screen.xdotool("windowactivate", "--sync", dialog)
        for name in names:
            if name:
                self.take(name, dialog)
            self.screen.key("ctrl+Tab")
        self.screen.key("Escape")
        wait_for("the dialog to close", 20, lambda: not self.velmora.dialogs())

    def still_picture(self):
        self.go_to_main_window()
        self.look(self.frame(self.velmora.window))
        self.screen.key("ctrl+g")
        window = self.window()
        left, top, width, height = self.screen.rectangle(window)
        self.screen.xdotool("mousemove", left + width // 2, top + height // 2, "click", 3)
        self.take("still-picture", window)
        # The first one closes the menu, and one that comes meanwhile is lost.
        wait_for("the window to close", 20, lambda: self.screen.key("Escape") or not self.velmora.dialogs(), 0.5)

    def recording_cut_off(self):
        self.velmora.record(os.path.join(self.screen.folder, "Lecture.mov"))
        time.sleep(3)
        self.take("recording")
        self.velmora.process.send_signal(signal.SIGKILL)
        self.velmora.process.wait()
        again = self.screen.start([os.path.join(self.programs, "velmora")])
        window = wait_for("the question", 20, lambda: next(
            (each for each in self.screen.windows(again) if self.screen.rectangle(each)[3] < 400), None))
        self.take("repair", window)
        self.screen.key("Escape")

    def take_all(self):
        self.take("main-window")
        self.settings(4, ("video-source", "video-compression"))
        self.settings(3, ("sound-source",))
        self.still_picture()
        self.recording_cut_off()


def main(programs, output=os.path.join(HERE, "images")):
    os.makedirs(output, exist_ok=True)
    with Photographer(programs, output) as photographer:
        photographer.take_all()
    with Camera(programs, "--name", "Desk Camera", "--size", "640x480", "--format", "yuyv", "--controls"), \
            Photographer(programs, output, reach_session=True) as photographer:
        photographer.settings(4, (None, None, "video-image"))


if __name__ == "__main__":
    main(*sys.argv[1:3])
