#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs missing packages, builds Velmora and starts it. Without a display it runs on a virtual one, records five seconds
# of the live picture with real clicks, and says where movie and screenshot are.
set -eu
cd "$(dirname "$0")"

has_display() { [ -n "${DISPLAY:-}${WAYLAND_DISPLAY:-}" ]; }

packaging/install-packages.sh build
has_display || packaging/install-packages.sh screen

export NINJA_STATUS="[%f of %t, %es] "
[ -f build/release/build.ninja ] || cmake --preset release
ninja -C build/release velmora velmora-record velmora-recover

if has_display; then
    exec build/release/bin/velmora
fi
ninja -C build/release read_pattern
export PYTHONDONTWRITEBYTECODE=1
exec python3 packaging/demo.py build/release/bin build/demo
