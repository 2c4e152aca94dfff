# SPDX-License-Identifier: MIT
"""Where the flashes of the picture and the beeps of the sound lie in a movie of Test Pattern and Test Tone."""

import array
import subprocess


def flash_times(path):
    """Seconds at which a frame begins to be white in the area of the colour bars."""
    times = [float(line.split(",")[0]) for line in subprocess.run(
        ["ffprobe", "-v", "error", "-select_streams", "v", "-show_entries", "packet=pts_time", "-of", "csv=p=0", path],
        capture_output=True, text=True, check=True).stdout.split()]
    gray = subprocess.run(
        ["ffmpeg", "-v", "error", "-i", path, "-map", "0:v", "-vf", "crop=iw*6/8:ih*3/8:iw/8:0,scale=4:4,format=gray",
         "-fps_mode", "passthrough", "-f", "rawvideo", "-"], capture_output=True, check=True).stdout
    levels = [min(gray[i:i + 16]) for i in range(0, len(gray), 16)]
    return [time for time, level, before in zip(times, levels, [255] + levels) if level > 200 >= before]


def beep_times(path):
    """Seconds at which sound sets in after at least 200 ms of silence."""
    rate = 8000
    pcm = subprocess.run(["ffmpeg", "-v", "error", "-i", path, "-map", "0:a", "-af", f"aresample={rate}", "-ac", "1", "-f",
                          "s16le", "-"], capture_output=True, check=True).stdout
    samples = array.array("h", pcm[:len(pcm) // 2 * 2])
    times, silent_for = [], 0
    for index, sample in enumerate(samples):
        if abs(sample) > 1500:
            if silent_for > rate // 5:
                times.append(index / rate)
            silent_for = 0
        else:
            silent_for += 1
    return times


def offsets(path):
    """Seconds by which each beep comes after its flash (negative: before it)."""
    beeps = beep_times(path)
    found = []
    for flash in flash_times(path):
        nearest = min(beeps, key=lambda beep: abs(beep - flash), default=None)
        if nearest is not None and abs(nearest - flash) < 0.5:
            found.append(nearest - flash)
    return found
