#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs the Debian packages that Velmora needs, in groups; does nothing if all are installed:
#   build    to compile it, including the libraries that it runs with
#   screen   a virtual display, and programs that operate and check windows on it
#   test     the servers and players used by the tests
#   kernel   an emulated machine, and programs that use the devices in it
#   bench    programs that the benchmarks compare with
#   check    clang-format and clang-tidy
#   package  to create and check Debian packages, and for the reference documentation
# First says what will be installed and how large it is. Servers are installed, but neither started nor enabled.
# Usage: packaging/install-packages.sh GROUP...
set -eu

build="cmake ninja-build ccache g++ pkg-config git ca-certificates cmark-gfm
    qt6-base-dev qt6-wayland libavcodec-dev libavutil-dev libswscale-dev libswresample-dev libturbojpeg0-dev libyuv-dev libpulse-dev libudev-dev
    libraw1394-dev libiec61883-dev libdc1394-dev libgtest-dev libpipewire-0.3-dev
    fonts-liberation fonts-dejavu-core"
screen="xvfb xauth openbox xdotool x11-utils imagemagick ffmpeg python3"
test="weston dbus-daemon pipewire pipewire-pulse pipewire-v4l2 wireplumber pulseaudio-utils mediainfo gstreamer1.0-tools
    gstreamer1.0-plugins-base gstreamer1.0-plugins-base-apps gstreamer1.0-plugins-good gstreamer1.0-pipewire gstreamer1.0-libav"
kernel="qemu-system-x86 kmod udev alsa-utils v4l-utils"
bench="gstreamer1.0-x"
check="clang-format clang-tidy"
package="dpkg-dev file lintian appstream desktop-file-utils librsvg2-bin man-db doxygen"

# Services that these packages would enable for every user, as package:unit. The tests start their own servers.
services="pipewire:pipewire.service pipewire:pipewire.socket pipewire-pulse:pipewire-pulse.service
    pipewire-pulse:pipewire-pulse.socket wireplumber:wireplumber.service"

is_installed() { [ "$(dpkg-query -W -f='${db:Status-Status}' "$1" 2>/dev/null || true)" = installed ]; }

wanted=""
for group in "$@"; do
    case $group in
        build) wanted="$wanted $build" ;;
        screen) wanted="$wanted $screen" ;;
        test) wanted="$wanted $test" ;;
        kernel) wanted="$wanted $kernel" ;;
        bench) wanted="$wanted $bench" ;;
        check) wanted="$wanted $check" ;;
        package) wanted="$wanted $package" ;;
        *)
            echo "install-packages.sh: no group '$group'" >&2
            exit 2
            ;;
    esac
done

set --
for package in $wanted; do
    is_installed "$package" || set -- "$@" "$package"
done
[ $# -gt 0 ] || exit 0

if [ "$(id -u)" -eq 0 ]; then
    as_root() { "$@"; }
elif command -v sudo >/dev/null; then
    as_root() { sudo "$@"; }
else
    {
        echo "Velmora needs packages that are not installed, and there is no sudo to install them with."
        echo "Run this as root, then start again:"
        echo "  apt-get update && apt-get install --no-install-recommends $*"
    } >&2
    exit 1
fi

new_units=""
for service in $services; do
    is_installed "${service%%:*}" || new_units="$new_units $service"
done

echo "Velmora needs these packages: $*"
as_root apt-get update -q
# Older and newer versions of apt word their summary differently.
LC_ALL=C apt-get install -o Debug::NoLocking=1 --assume-no --no-install-recommends "$@" 2>/dev/null |
    grep -E 'newly installed|Need to get|disk space will be used|Installing:|Download size|Space needed' || true
as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@"

# Disabled like the packages' own scripts would, so that updates of the packages keep it.
for service in $new_units; do
    unit=${service#*:}
    [ -e "/usr/lib/systemd/user/$unit" ] || continue
    as_root env DPKG_MAINTSCRIPT_PACKAGE="${service%%:*}" deb-systemd-helper --user disable "$unit" >/dev/null ||
        echo "install-packages.sh: $unit could not be disabled" >&2
done
