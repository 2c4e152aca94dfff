#!/bin/sh
# SPDX-License-Identifier: MIT
# Builds Velmora and starts it, installing first what is missing. On a machine without a display it runs on a screen in
# memory: there it records five seconds of the live picture with real clicks and tells where movie and screenshot are.
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
