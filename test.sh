#!/bin/sh
# SPDX-License-Identifier: MIT
# Installs missing packages, builds Velmora and runs its tests. Arguments after the first option are passed to ctest.
#   ./test.sh              all tests, in the build that users get
#   ./test.sh --sanitize   all but those of the whole program, under AddressSanitizer and UndefinedBehaviorSanitizer
#   ./test.sh --threads    the modules that own threads, under ThreadSanitizer
#   ./test.sh --kernel     the programs on real drivers, in an emulated machine with Debian's own kernel
set -eu
cd "$(dirname "$0")"

preset=release
runner=""
whole=true
groups="build screen test"
exclude="whole|kernel"
case ${1:-} in
    --sanitize)
        shift
        preset=sanitize
        whole=false
        export LSAN_OPTIONS="suppressions=$PWD/tests/support/leak-sanitizer.supp print_suppressions=0"
        ;;
    --threads)
        shift
        preset=threads
        whole=false
        # The test of a killed recording forks.
        export TSAN_OPTIONS="suppressions=$PWD/tests/support/thread-sanitizer.supp die_after_fork=0"
        set -- --tests-regex '^platform/(digitizer|digitizer/pipewire|sound|movies|dv|grabber|compression)$' "$@"
        # This compiler's sanitizer fails with a kernel that randomizes addresses widely.
        setarch --addr-no-randomize true 2>/dev/null && runner="setarch --addr-no-randomize"
        ;;
    --kernel)
        shift
        whole=false
        groups="$groups kernel"
        exclude="whole"
        set -- --label-regex kernel --verbose "$@"
        ;;
esac

# shellcheck disable=SC2086  # several groups
packaging/install-packages.sh $groups
export NINJA_STATUS="[%f of %t, %es] "
cmake --preset "$preset" -D VELMORA_WARNINGS_AS_ERRORS=ON
ninja -C "build/$preset"

# Removed at the end with everything that tests leave behind. The path is short because sockets are created in it.
TMPDIR=$(mktemp -d /tmp/velmora-tests.XXXXXX)
export TMPDIR
trap 'rm -rf "$TMPDIR"' EXIT
trap 'exit 130' INT
trap 'exit 143' TERM
run() {
    # shellcheck disable=SC2086  # the runner is a command with its option
    $runner ctest --test-dir "build/$preset" --output-on-failure -j "$(nproc)" "$@"
}
run --label-exclude "$exclude" "$@"
if $whole; then run --label-regex whole "$@"; fi
