#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs the Debian packages that Velmora needs, in groups, and nothing when they are all there:
#   build   what compiles it, and with it what it runs with
#   screen  a screen of its own for a machine without one, and what works and judges a window on it
#   test    the servers and players that tests work with and are judged by
#   bench   what benchmarks are held against
# Usage: packaging/install-packages.sh GROUP...
set -eu

build="cmake ninja-build ccache g++ pkg-config git ca-certificates
    qt6-base-dev qt6-wayland libavcodec-dev libavutil-dev libswscale-dev libswresample-dev libturbojpeg0-dev libyuv-dev libpulse-dev libudev-dev
    libraw1394-dev libiec61883-dev libdc1394-dev libgtest-dev libpipewire-0.3-dev
    fonts-liberation fonts-dejavu-core"
screen="xvfb xauth openbox xdotool x11-utils imagemagick ffmpeg python3"
test="weston dbus at-spi2-core systemd pipewire pipewire-pulse pipewire-v4l2 wireplumber pulseaudio-utils mediainfo gstreamer1.0-tools
    gstreamer1.0-plugins-base gstreamer1.0-plugins-base-apps gstreamer1.0-plugins-good gstreamer1.0-pipewire gstreamer1.0-libav"

bench="gstreamer1.0-x"

wanted=""
for group in "$@"; do
    case $group in
        build) wanted="$wanted $build" ;;
        screen) wanted="$wanted $screen" ;;
        test) wanted="$wanted $test" ;;
        bench) wanted="$wanted $bench" ;;
        *)
            echo "install-packages.sh: no group '$group'" >&2
            exit 2
            ;;
    esac
done

set --
for package in $wanted; do
    status=$(dpkg-query -W -f='${db:Status-Status}' "$package" 2>/dev/null || true)
    [ "$status" = installed ] || set -- "$@" "$package"
done
[ $# -gt 0 ] || exit 0

as_root() {
    if [ "$(id -u)" -eq 0 ]; then
        "$@"
    else
        sudo "$@"
    fi
}
echo "Installing: $*"
as_root apt-get update -q
as_root env DEBIAN_FRONTEND=noninteractive apt-get install -q -y --no-install-recommends "$@"
