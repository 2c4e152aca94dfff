#!/bin/sh
# SPDX-License-Identifier: MIT
# The tests that run in the guest.
"$VELMORA_PROGRAMS/test_kernel" --gtest_brief=0
driver=$?
python3 "$(dirname "$0")/test_programs.py" --verbose && exit $driver
