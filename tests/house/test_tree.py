# SPDX-License-Identifier: MIT
"""Automatic checks of this tree: licence lines, format, and whether files, presets and links in documents exist."""

import json
import os
import re
import shutil
import subprocess
import unittest

ROOT = os.path.abspath(os.path.join(os.path.dirname(__file__), "..", ".."))
SOURCE_ENDINGS = (".cpp", ".h", ".py", ".sh", ".cmake", ".in", "CMakeLists.txt")
# Other versions lay the same code out differently.
FORMATTER_VERSION = "14."


def files(*endings):
    """The tree's files with one of these endings, as paths below its root."""
    listed = subprocess.run(["git", "-C", ROOT, "ls-files", "--cached", "--others", "--exclude-standard"],
                            capture_output=True, text=True, check=False)
    if listed.returncode == 0 and listed.stdout:
        paths = listed.stdout.splitlines()
    else:  # an unpacked archive
        paths = [os.path.relpath(os.path.join(folder, name), ROOT) for folder, _, names in os.walk(ROOT)
                 for name in names if not folder.startswith(os.path.join(ROOT, "build"))]
    return [path for path in paths if path.endswith(endings) and os.path.isfile(os.path.join(ROOT, path))]


def text(path):
    with open(os.path.join(ROOT, path), encoding="utf-8") as file:
        return file.read()


class Tree(unittest.TestCase):
    def test_source_files_name_their_licence(self):
        without = [path for path in files(*SOURCE_ENDINGS) if "packaging/debian/" not in path
                   and "SPDX-License-Identifier: MIT" not in text(path)[:200]]
        self.assertEqual(without, [])

    def test_lines_end_as_they_should(self):
        wrong = [path for path in files(*SOURCE_ENDINGS, ".md", ".yml")
                 if re.search(r"[ \t\r]$", text(path), re.MULTILINE) or not text(path).endswith("\n")]
        self.assertEqual(wrong, [])

    def test_code_has_the_format_of_the_project(self):
        formatter = shutil.which("clang-format")
        version = subprocess.run([formatter, "--version"], capture_output=True, text=True,
                                 check=True).stdout if formatter else ""
        if "version " + FORMATTER_VERSION not in version:
            self.skipTest("this is for clang-format " + FORMATTER_VERSION)
        complaints = subprocess.run([formatter, "--dry-run", *files(".cpp", ".h")], cwd=ROOT, capture_output=True,
                                    text=True, check=True).stderr
        wrong = sorted(set(re.findall(r"^(\S+):\d+:\d+: warning", complaints, re.MULTILINE)))
        if wrong:
            self.fail("run: clang-format -i " + " ".join(wrong))

    def test_a_file_name_says_which_file_is_meant(self):
        names = [os.path.basename(path) for path in files(".cpp", ".h", ".py")]
        self.assertEqual(sorted(name for name in set(names) if names.count(name) > 1), [])

    def test_includes_go_by_the_include_path(self):
        """A path with ".." would evade the rule which module may include which."""
        climbing = [path for path in files(".cpp", ".h") if re.search(r'^\s*#\s*include "[^"]*\.\./', text(path), re.MULTILINE)]
        self.assertEqual(climbing, [])

    def test_tables_of_documents_are_whole(self):
        wrong = []
        for document in files(".md"):
            columns = 0
            for number, line in enumerate(text(document).splitlines(), 1):
                bars = line.count("|") if line.startswith("|") else 0
                if bars and (not line.endswith("|") or columns not in (0, bars)):
                    wrong.append(f"{document}:{number}")
                columns = bars
        self.assertEqual(wrong, [])

    def test_documents_lead_somewhere(self):
        broken = []
        for document in files(".md"):
            folder = os.path.dirname(document)
            for link in re.findall(r"\]\(([^)#\s]+)[^)]*\)", text(document)):
                if not re.match(r"[a-z]+:", link) and not os.path.exists(os.path.join(ROOT, folder, link)):
                    broken.append(f"{document}: {link}")
        self.assertEqual(broken, [])

    def test_documents_name_files_and_presets_that_exist(self):
        presets = {preset["name"] for preset in json.loads(text("CMakePresets.json"))["configurePresets"]}
        tops = "|".join(sorted({path.split("/")[0] for path in files("") if "/" in path}))
        wrong = []
        for document in files(".md"):
            for path in re.findall(rf"`(?:\./)?((?:{tops})/[\w./-]*\w/?)`", text(document).replace("\\", "")):
                if not os.path.exists(os.path.join(ROOT, path)) and not self.has_module(path):
                    wrong.append(f"{document}: {path}")
            for preset in re.findall(r"--preset[ =]([a-z]+)", text(document)):
                if preset not in presets:
                    wrong.append(f"{document}: preset {preset}")
        self.assertEqual(wrong, [])

    @staticmethod
    def has_module(path):
        """A module or class is often named without its ending: `compression/DecodeAhead`."""
        return any(os.path.exists(os.path.join(ROOT, path + ending)) for ending in (".h", ".cpp", ".md"))


if __name__ == "__main__":
    unittest.main(verbosity=0)
