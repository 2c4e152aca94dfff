#!/bin/sh
# SPDX-License-Identifier: MIT
# Makes the icon's pixel sizes from velmora.svg. They are kept in the tree, so that a build needs no renderer; run this
# after a change of the drawing (package librsvg2-bin).
set -eu
cd "$(dirname "$0")"
for size in 16 32 48 128 256; do
    rsvg-convert -w "$size" -h "$size" velmora.svg -o "velmora-$size.png"
done
