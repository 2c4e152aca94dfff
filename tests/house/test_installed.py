# SPDX-License-Identifier: MIT
"""The installation: documents of the programs, and the examples, built and run with the installed library."""

import os
import re
import shutil
import subprocess
import sys
import tempfile
import unittest

sys.path.insert(0, os.path.join(os.path.dirname(os.path.abspath(__file__)), "..", "whole"))
from desktop import Screen, decode_errors, probe, wait_for  # pylint: disable=wrong-import-position

SOURCES = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
BUILD = os.path.dirname(os.environ["VELMORA_PROGRAMS"])


def run(*command, **options):
    done = subprocess.run(command, stdout=subprocess.PIPE, stderr=subprocess.STDOUT, text=True, check=False, **options)
    if done.returncode != 0:
        raise AssertionError(f"{command} ended with {done.returncode}:\n{done.stdout}")
    return done.stdout


class Installed(unittest.TestCase):
    @classmethod
    def setUpClass(cls):
        cls.folder = tempfile.mkdtemp(dir=BUILD, prefix="installed-")
        cls.addClassCleanup(shutil.rmtree, cls.folder)
        cls.prefix = os.path.join(cls.folder, "prefix")
        run("cmake", "--install", BUILD, "--prefix", cls.prefix)

    def installed(self, *parts):
        return os.path.join(self.prefix, *parts)

    def find(self, name):
        return next(folder for folder, _, files in os.walk(self.prefix) if name in files)

    def test_manual_pages_tell_each_option_that_the_programs_have(self):
        for program in ("velmora", "velmora-record", "velmora-recover"):
            with self.subTest(program):
                text = run(self.installed("bin", program), "--help")
                page = run("gzip", "-dc", self.installed("share", "man", "man1", program + ".1.gz")).replace("\\-", "-")
                # The help of some programs does not list itself.
                listed = set(re.findall(r"--[a-z][a-z-]*", text)) | {"--help"}
                self.assertEqual(listed, set(re.findall(r"--[a-z][a-z-]*", page)) | {"--help"})
                for code in re.findall(r"^\.B (\d)$", page, re.MULTILINE):
                    self.assertIn(code, text)

    def test_completion_offers_options_and_devices(self):
        script = ('. "$1"; COMP_WORDS=("${@:2}"); COMP_CWORD=$(($# - 2)); _velmora_record "$2"; '
                  'printf "%s\\n" "${COMPREPLY[@]}"')
        for words, offered in ((["--se"], "--seconds\n--set\n--settings\n"), (["--camera", "Test P"], "Test Pattern\n")):
            self.assertEqual(run("bash", "-c", script, "bash",
                                 self.installed("share", "bash-completion", "completions", "velmora-record"),
                                 self.installed("bin", "velmora-record"), *words), offered)

    def test_examples_build_and_run(self):
        examples = os.path.join(self.folder, "examples")
        launcher = shutil.which("ccache")
        run("cmake", "-S", self.find("HeadlessRecorder.h"), "-B", examples, "-G", "Ninja", "-DCMAKE_BUILD_TYPE=Release",
            "-DCMAKE_PREFIX_PATH=" + self.prefix, "-DCMAKE_CXX_FLAGS=-Wall -Wextra -Werror",
            *(["-DCMAKE_CXX_COMPILER_LAUNCHER=" + launcher] if launcher else []))
        run("cmake", "--build", examples)
        movies = {name: os.path.join(self.folder, name + ".mov") for name in ("headless", "own", "window")}
        told = run(os.path.join(examples, "record-headless"), "Test Pattern", "1", movies["headless"])
        self.assertIn(f": {probe(movies['headless'])['video']['nb_read_packets']} frames", told)
        run(os.path.join(examples, "own-camera"), "1", movies["own"])
        self.use_window(os.path.join(examples, "live-window"), movies["window"])
        for name, width in (("headless", "640"), ("own", "320"), ("window", "640")):
            with self.subTest(name):
                self.assertEqual(probe(movies[name])["video"]["width"], width)
                self.assertEqual(decode_errors(movies[name]), "")

    def use_window(self, program, movie):
        """Presses the window's button twice, the second time once there is a movie to finish."""
        screen = Screen()
        self.addCleanup(screen.close)
        process = screen.start([program, movie])
        window = wait_for("the example's window", 20, lambda: screen.windows(process))[0]
        left, top, width, height = screen.rectangle(window)
        wait_for("the eight bars of the live picture", 20,
                 lambda: len(set(screen.pixels(left, top + height // 8, width, 1)[0])) > 6)
        button = (left + 320, top + height - 19)
        screen.click(*button)
        wait_for("a movie with a fragment", 20, lambda: os.path.exists(movie) and os.path.getsize(movie) > 100000)
        screen.click(*button)
        wait_for("the finished movie", 20, lambda: subprocess.run(
            ["velmora-recover", movie], executable=self.installed("bin", "velmora-recover"), capture_output=True,
            check=False).stdout.count(b"nothing was written"))
        screen.xdotool("windowactivate", "--sync", window)
        screen.key("alt+F4")
        self.assertEqual(process.wait(20), 0)

    def test_pkg_config_finds_the_library(self):
        environment = {**os.environ, "PKG_CONFIG_PATH": self.find("velmora.pc")}
        flags = run("pkg-config", "--cflags", "--libs", "velmora", env=environment).split()
        self.assertIn("-I" + self.installed("include", "velmora"), map(os.path.normpath, flags))
        source = os.path.join(self.folder, "version.cpp")
        with open(source, "w", encoding="ascii") as file:
            file.write('#include <Version.h>\n#include <platform/movies/MovieRecovery.h>\n#include <cstdio>\n'
                       "int main() { platform::RecoveredMovie movie; std::string written;\n"
                       '    std::printf("%s %d", velmora::kVersion, '
                       'platform::RecoverMovie("/none.mov", {}, movie, written)); }\n')
        run("c++", "-std=c++20", source, "-o", source + ".out", *flags)
        with open(os.path.join(SOURCES, "CMakeLists.txt"), encoding="ascii") as file:
            version = re.search(r"project\(Velmora VERSION (\S+)", file.read()).group(1)
        self.assertEqual(run(source + ".out"), version + " -43")  # the platform's code for a missing file


if __name__ == "__main__":
    unittest.main()
