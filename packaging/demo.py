# SPDX-License-Identifier: MIT
"""Velmora on a machine without a display: waits for the live picture, records five seconds by pressing the button,
takes a screenshot, closes the window and prints where everything is.

Usage: demo.py FOLDER-OF-PROGRAMS OUTPUT-FOLDER
"""

import os
import sys
import time

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "tests", "whole"))
from desktop import Failure, Screen, Velmora, decode_errors, probe  # pylint: disable=wrong-import-position

SECONDS = 5


def main(programs, output):
    os.makedirs(output, exist_ok=True)
    movie = os.path.abspath(os.path.join(output, "Demo.mov"))
    picture = os.path.abspath(os.path.join(output, "Demo.png"))
    if os.path.exists(movie):
        os.remove(movie)
    screen = Screen()
    try:
        started = time.monotonic()
        velmora = Velmora(screen, os.path.abspath(programs))
        print(f"Live picture of \"{velmora.title()}\" after {time.monotonic() - started:.1f} s; recording {SECONDS} s")
        velmora.record(movie)
        time.sleep(SECONDS)
        velmora.screenshot(picture)
        velmora.click("btnstartcapture1")
        time.sleep(1)
        exit_code = velmora.close()
    finally:
        screen.close()
    for kind, track in sorted(probe(movie).items(), reverse=True):
        print(f"{kind}: {track['codec_name']}, {track['nb_read_packets']} packets, {float(track['duration']):.2f} s")
    errors = decode_errors(movie)
    print("A full decode " + ("found: " + errors if errors else "found nothing wrong"))
    print(f"Movie:      {movie}\nScreenshot: {picture}")
    return 1 if errors or exit_code else 0


if __name__ == "__main__":
    try:
        sys.exit(main(*sys.argv[1:3]))
    except Failure as failure:
        sys.exit(f"Velmora: {failure}")
