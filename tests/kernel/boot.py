#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the tests of this folder on Debian's own kernel and its drivers, in an emulated machine that needs no
privileges: the kernel's package is taken apart, not installed, and the guest uses this machine's files, read-only.

    boot.py FOLDER [COMMAND...]

The kernel and what the guest writes go to FOLDER; a command runs in the tests' place, for a look around. Ends with the
tests' exit code. The guest's console is shown as it is written.

The guest's clock counts its own instructions, two nanoseconds for each; idle.cpp executes some while there is nothing
else to do. A busy machine therefore makes the tests take longer and lets nothing in the guest come too late, and every
limit in the guest is one of its progress: that of a case, and the one after which the guest switches itself off
(GUEST_SECONDS). Only an emulator that hangs is ended by the clock on the wall (HUNG_SECONDS)."""

import contextlib
import lzma
import os
import pathlib
import shutil
import subprocess
import sys
import time

TESTS = pathlib.Path(__file__).resolve().parent
GUEST_SECONDS = 600
HUNG_SECONDS = 1200
PACKAGES = ("linux-image-amd64", "busybox-static")
# What the guest needs before it can access the host's files.
MODULES = ("virtio_pci", "9pnet_virtio", "9p", "overlay")
OPTIONS = "console=ttyS0 quiet panic=-1 mitigations=off nokaslr no_timer_check audit=0 random.trust_cpu=on tsc=reliable"
EMULATOR = "qemu-system-x86_64"


class CannotRun(Exception):
    """Why there is no emulated machine here."""


def real_package(name):
    """The package behind a name that only depends on the newest one."""
    listed = subprocess.run(["apt-cache", "depends", name], capture_output=True, text=True, check=False).stdout
    words = [line.split() for line in listed.splitlines()]
    return next((line[1] for line in words if line[0] == "Depends:" and line[1].startswith("linux-image-")), name)


def fetch(name, folder):
    """Downloads the newest version of a package. Lists that are missing or older than the archive are renewed first,
    where the user may do that."""
    update = ["apt-get", "update", "-q"] if os.geteuid() == 0 else ["sudo", "-n", "apt-get", "update", "-q"]
    for renewed in (False, True):
        if renewed and shutil.which(update[0]):
            subprocess.run(update, check=False)
        # Root's folders may be closed to the user that apt downloads as.
        command = ["apt-get", "download", "-q", "-o", "Acquire::Retries=3", "-o", "APT::Sandbox::User=root",
                   real_package(name)]
        if subprocess.run(command, cwd=folder, check=False).returncode == 0:
            return next(folder.glob("*.deb"))
    raise CannotRun(f"apt-get could not download the package {name}, or what it depends on. What it says is above.")


def unpack(name, folder):
    """Fetches a package and unpacks it below `folder`, unless that has been done."""
    place = folder / real_package(name)
    if place.exists():
        return place
    fetched = folder / "fetched"
    shutil.rmtree(fetched, ignore_errors=True)
    fetched.mkdir(parents=True)
    subprocess.run(["dpkg-deb", "-x", fetch(name, fetched), fetched / "files"], check=True)
    place = folder / real_package(name)
    (fetched / "files").rename(place)
    shutil.rmtree(fetched)
    return place


def modules_folder(kernel):
    """The kernel's modules, whether or not its package keeps them below /usr, with a list of what needs what."""
    base = kernel / "usr" if (kernel / "usr/lib/modules").exists() else kernel
    modules = next((base / "lib/modules").iterdir())
    if not (modules / "modules.dep").exists():
        subprocess.run(["depmod", "-b", base, modules.name], check=True)
    return modules


def early_modules(modules):
    """The contents and paths of the first modules, each after those it needs; without what this kernel has built in."""
    needs = {}
    for line in (modules / "modules.dep").read_text().splitlines():
        path, _, needed = line.partition(":")
        needs[path] = needed.split()
    built_in = {pathlib.Path(path).stem for path in (modules / "modules.builtin").read_text().split()}
    ordered = []
    for name in MODULES:
        if name in built_in:
            continue
        path = next(path for path in needs if pathlib.Path(path).name.split(".")[0] == name)
        ordered += [each for each in [*reversed(needs[path]), path] if each not in ordered]
    return [(modules / path).read_bytes() for path in ordered], ordered


class Archive:
    """An initial file system in the kernel's format ("newc" of cpio)."""

    def __init__(self):
        self.bytes = bytearray()

    def add(self, name, mode, content=b""):
        fields = (0, mode, 0, 0, 1, 0, len(content), 0, 0, 0, 0, len(name) + 1, 0)
        self.bytes += b"070701" + b"".join(b"%08X" % field for field in fields)
        self._pad_after(name.encode() + b"\0")
        self._pad_after(content)

    def _pad_after(self, content):
        self.bytes += content
        self.bytes += bytes(-len(self.bytes) % 4)


def initial_files(modules, busybox):
    archive = Archive()
    for folder in ("bin", "modules"):
        archive.add(folder, 0o040755)
    archive.add("bin/busybox", 0o100755, next(busybox.glob("**/bin/busybox")).read_bytes())
    archive.add("init", 0o100755, (TESTS / "init.sh").read_bytes())
    archive.add("tests", 0o100644, str(TESTS).encode())
    for number, (content, path) in enumerate(zip(*early_modules(modules))):
        content = lzma.decompress(content) if path.endswith(".xz") else content
        archive.add(f"modules/{number:02}.ko", 0o100644, content)
    archive.add("TRAILER!!!", 0)
    return bytes(archive.bytes)


def share(path, tag, *options):
    return ["-virtfs", ",".join((f"local,path={path},mount_tag={tag},security_model=none,multidevs=remap", *options))]


def guest_command(kernel, folder, out):
    image = next((kernel / "boot").glob("vmlinuz-*"))
    # The emulator ends with this script, even where that is killed.
    return ["setpriv", "--pdeathsig", "KILL", EMULATOR, "-nodefaults", "-no-user-config", "-machine", "q35",
            "-cpu", "Nehalem-v1,+rdrand", "-accel", "tcg,thread=single", "-icount", "shift=1,sleep=on", "-m", "2048",
            "-display", "none", "-no-reboot", "-kernel", image, "-initrd", folder / "initial-files", "-append", OPTIONS,
            *share("/", "host", "readonly=on"), *share(out, "out"),
            "-chardev", f"stdio,id=console,logfile={out / 'serial.log'}", "-serial", "chardev:console"]


def run(command, out):
    """The tests' exit code; 1 where the guest never came to one."""
    began = time.monotonic()
    with contextlib.suppress(subprocess.TimeoutExpired):
        subprocess.run(command, stdin=subprocess.DEVNULL, timeout=HUNG_SECONDS, check=False)
    code = out / "exit-code"
    ended = code.exists() and code.read_text().strip()
    print(f"The kernel's tests took {time.monotonic() - began:.0f} s" + ("." if ended else "; the guest died."))
    return int(ended) if ended else 1


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    if not shutil.which(EMULATOR):
        raise CannotRun(f"{EMULATOR} is not installed; packaging/install-packages.sh kernel installs it.")
    kernel, busybox = (unpack(name, folder) for name in PACKAGES)
    modules = modules_folder(kernel)
    out = folder / "out"
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir()
    (folder / "initial-files").write_bytes(initial_files(modules, busybox))
    settings = (str(modules), os.environ["VELMORA_PROGRAMS"], str(GUEST_SECONDS), " ".join(sys.argv[2:]))
    (out / "guest").write_text("\n".join((*settings, "")))
    return run(guest_command(kernel, folder, out), out)


if __name__ == "__main__":
    try:
        sys.exit(main())
    except CannotRun as reason:
        sys.exit(f"boot.py: no emulated machine here: {reason}")
