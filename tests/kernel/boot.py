#!/usr/bin/env python3
# SPDX-License-Identifier: MIT
"""Runs the tests of this folder on Debian's own kernel and its drivers, in an emulated machine that needs no
privileges: the kernel's package is taken apart, not installed, and the guest uses this machine's files, read-only.

    boot.py FOLDER [COMMAND...]

The kernel and what the guest writes go to FOLDER; a command runs in the tests' place, for a look around. Ends with the
tests' exit code. Whatever happens in the guest, this ends: the guest switches itself off in time (KERNEL_SECONDS), and
is killed a little later if it does not. The guest's console is shown at the end."""

import lzma
import os
import pathlib
import shutil
import subprocess
import sys
import time

TESTS = pathlib.Path(__file__).resolve().parent
SECONDS = int(os.environ.get("KERNEL_SECONDS", 480))
PACKAGES = ("linux-image-amd64", "busybox-static")
# What the guest needs before it sees the host's files.
MODULES = ("virtio_pci", "9pnet_virtio", "9p", "overlay")
OPTIONS = "console=ttyS0 quiet panic=-1 mitigations=off nokaslr no_timer_check audit=0 random.trust_cpu=on tsc=reliable"
SERIAL = "serial.log"


def output(*command):
    return subprocess.run(command, capture_output=True, text=True, check=True).stdout


def real_package(name):
    """The package behind a name that only depends on the newest one."""
    words = [line.split() for line in output("apt-cache", "depends", name).splitlines()]
    return next((line[1] for line in words if line[0] == "Depends:" and line[1].startswith("linux-image-")), name)


def unpack(name, folder):
    """Fetches a package and unpacks it below `folder`, unless that has been done."""
    package = real_package(name)
    place = folder / package
    if place.exists():
        return place
    fetched = folder / "fetched"
    shutil.rmtree(fetched, ignore_errors=True)
    fetched.mkdir(parents=True)
    subprocess.run(["apt-get", "download", "-q", package], cwd=fetched, check=True)
    subprocess.run(["dpkg-deb", "-x", *fetched.glob("*.deb"), fetched / "files"], check=True)
    (fetched / "files").rename(place)
    return place


def modules_folder(kernel):
    """The kernel's modules, whether or not its package keeps them below /usr, with a list of what needs what."""
    base = kernel / "usr" if (kernel / "usr/lib/modules").exists() else kernel
    modules = next((base / "lib/modules").iterdir())
    if not (modules / "modules.dep").exists():
        subprocess.run(["depmod", "-b", base, modules.name], check=True)
    return modules


def early_modules(modules):
    """The contents of the first modules, each after those it needs."""
    needs = {}
    for line in (modules / "modules.dep").read_text().splitlines():
        path, _, needed = line.partition(":")
        needs[path] = needed.split()
    ordered = []
    for name in MODULES:
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
    return ["nice", "qemu-system-x86_64", "-nodefaults", "-no-user-config", "-machine", "q35", "-cpu", "max",
            "-accel", "tcg,thread=multi", "-smp", "2", "-m", "3072", "-display", "none", "-no-reboot",
            "-kernel", image, "-initrd", folder / "initial-files", "-append", OPTIONS,
            *share("/", "host", "readonly=on"), *share(out, "out"), "-serial", f"file:{out / SERIAL}"]


def run(command, out):
    """The tests' exit code; None where the guest never came to one."""
    with subprocess.Popen(command) as guest:
        try:
            guest.wait(SECONDS + 60)
        finally:
            guest.kill()
    code = out / "exit-code"
    return int(code.read_text()) if code.exists() and code.read_text().strip() else None


def main():
    folder = pathlib.Path(sys.argv[1]).resolve()
    kernel, busybox = (unpack(name, folder) for name in PACKAGES)
    modules = modules_folder(kernel)
    out = folder / "out"
    shutil.rmtree(out, ignore_errors=True)
    out.mkdir()
    (folder / "initial-files").write_bytes(initial_files(modules, busybox))
    settings = (str(modules), os.environ["VELMORA_PROGRAMS"], str(SECONDS), " ".join(sys.argv[2:]))
    (out / "guest").write_text("\n".join((*settings, "")))
    began = time.monotonic()
    code = run(guest_command(kernel, folder, out), out)
    print((out / SERIAL).read_text(errors="replace"))
    print(f"The kernel's tests took {time.monotonic() - began:.0f} s" + ("; the guest died." if code is None else "."))
    return 1 if code is None else code


if __name__ == "__main__":
    sys.exit(main())
