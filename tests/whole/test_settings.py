# SPDX-License-Identifier: MIT
"""The settings dialogs and the settings file, worked with keys on two cameras and a microphone. Run it inside
tests/support/with_pipewire.sh."""

import os
import sys
import tempfile
import time

from desktop import Camera, Failure, Screen, Velmora, decode_errors, probe, wait_for

PROGRAMS = os.environ["VELMORA_PROGRAMS"]
PLACE = tempfile.TemporaryDirectory(prefix="velmora-settings-")  # goes with the process
FOLDER = PLACE.name
FRONT = ("--name", "Front Camera", "--size", "640x480", "--format", "yuyv")
DESK = ("--name", "Desk Camera", "--size", "1280x720", "--size", "640x360", "--format", "mjpeg")
VIDEO = 4  # place in the menu bar


def check(condition, what):
    if not condition:
        raise Failure(what)


class Dialog:
    """A settings dialog, opened from the menu bar."""

    def __init__(self, application, menu):
        self.screen, self.application = application.screen, application
        self.screen.xdotool("windowactivate", "--sync", str(application.window))
        self.screen.key("F10", "Down", *["Right"] * menu, "Down", "Return")
        self.window = wait_for("the dialog", 10, application.dialogs)[0]
        self.screen.xdotool("windowactivate", "--sync", self.window)
        time.sleep(1)

    def set(self, letter, *keys, pause=0.7):
        """Goes to a row by its letter and presses keys there."""
        self.screen.key("alt+" + letter, *keys)
        time.sleep(pause)

    def next_page(self):
        self.screen.key("ctrl+Tab")
        time.sleep(0.3)

    def end(self, key):
        self.screen.key(key)
        wait_for("the dialog to close", 10, lambda: self.window not in self.application.dialogs())


def saved(application, name):
    """The settings as the menu writes them into a file."""
    path = os.path.join(FOLDER, name)
    application.screen.xdotool("windowactivate", "--sync", str(application.window))
    application.screen.key("ctrl+s")
    application.answer_dialog("ctrl+a", path)
    wait_for("the settings file", 10, lambda: os.path.exists(path) and os.path.getsize(path))
    with open(path, "rb") as file:
        return file.read()


def open_settings(application, name):
    application.screen.xdotool("windowactivate", "--sync", str(application.window))
    application.screen.key("ctrl+o")
    application.answer_dialog("ctrl+a", os.path.join(FOLDER, name))


def check_picture_runs(application):
    # Another camera's frames may have another shape, which shows once the last picture of the one before has gone.
    wait_for("a live picture", 10, application.find_shape)
    first = application.frame_number()
    wait_for("the picture to go on", 10,
             lambda: application.find_shape() and application.frame_number() not in (None, first))


def check_dialog(application):
    dialog = Dialog(application, VIDEO)
    # Keys that come before the camera is open meet the sizes of the one before.
    dialog.set("d", "Down", pause=3)
    dialog.set("z", "Down")
    dialog.next_page()
    dialog.set("p", "P", "r", "o")
    dialog.set("q", "Page_Up")
    dialog.end("Return")
    wait_for("the camera's name in the title", 10, lambda: application.title() == "Desk Camera")
    check_picture_runs(application)
    path = os.path.join(FOLDER, "kept.mov")
    application.record(path)
    time.sleep(2)
    application.click("btnstartcapture1")
    wait_for("the movie to be finished", 10, lambda: decode_errors(path) == "")
    video = probe(path)["video"]
    size = video["codec_name"], video["width"], video["height"]
    check(size == ("prores", "640", "360"), f"the movie is {size}")


def check_settings_file(application):
    """Saved settings come back whole, and where their camera is missing they still give a running session."""
    wanted = saved(application, "wanted")
    dialog = Dialog(application, VIDEO)
    dialog.set("d", "Up")
    dialog.end("Return")
    check(saved(application, "other") != wanted, "the dialogs changed nothing")
    open_settings(application, "wanted")
    check_picture_runs(application)
    check(saved(application, "opened") == wanted, "the settings opened are not those saved")


def main():
    screen = Screen(reach_session=True)
    try:
        with Camera(PROGRAMS, *FRONT), Camera(PROGRAMS, *DESK):
            application = Velmora(screen, PROGRAMS)
            check_dialog(application)
            check_settings_file(application)
            check(application.close() == 0, "the application failed at its end")
        elsewhere = Velmora(screen, PROGRAMS)
        open_settings(elsewhere, "wanted")
        elsewhere.answer_dialog("Return")  # says which camera is missing
        check_picture_runs(elsewhere)
        check(elsewhere.close() == 0, "the application without the camera failed at its end")
    finally:
        screen.close()


if __name__ == "__main__":
    sys.exit(main())
