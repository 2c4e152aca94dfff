#!/bin/sh
# SPDX-License-Identifier: MIT
# The tests that run in the guest. The programs get a session that has the guest's sound cards, and time.
here=$(dirname "$0")
"$VELMORA_PROGRAMS/test_kernel" --gtest_brief=0
driver=$?
WITH_HARDWARE=1 VELMORA_PATIENCE=5 "$here/../support/with_pipewire.sh" python3 "$here/test_programs.py" --verbose &&
    exit $driver
