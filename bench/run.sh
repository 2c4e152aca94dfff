#!/bin/bash
# SPDX-License-Identifier: MIT
# Builds the release programs, runs every benchmark and prints one table: what was measured, the result, its limit, and
# how it was measured. Each result is a ratio to a peer in the same run, or a physical quantity.
set -eu
cd "$(dirname "$0")/.."
packaging/install-packages.sh build screen test bench
cmake --preset release >/dev/null
cmake --build build/release
programs=$PWD/build/release/bin

printf '%-34s %16s   %-14s %s\n' measured figure bound how
"$programs/bench_live_path"
"$programs/bench_writer"
"$programs/bench_codecs"
python3 bench/whole_process.py "$programs" start
tests/support/with_pipewire.sh python3 bench/whole_process.py "$programs" peers
tests/support/with_pipewire.sh python3 bench/whole_process.py "$programs" latency
tests/support/with_pipewire.sh python3 bench/whole_process.py "$programs" record
tests/support/with_pipewire.sh python3 bench/whole_process.py "$programs" encode
python3 bench/whole_process.py "$programs" memory
