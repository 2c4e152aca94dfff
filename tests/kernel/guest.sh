#!/bin/bash
# SPDX-License-Identifier: MIT
# The guest's process 1, once its file systems are mounted: starts the usual services, then the tests, and writes their
# exit code to the folder that guest and host share. It must only end by shutting down the machine.
export PATH=/usr/local/sbin:/usr/local/bin:/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 HOME=/root
export PYTHONDONTWRITEBYTECODE=1 KERNEL_OUT=/velmora/out
tests=$(dirname "$0")
busybox=/velmora/bin/busybox

switch_off() {
    sync
    exec $busybox poweroff -f
}

mount_file_systems() {
    mount -t proc proc /proc
    mount -t sysfs sysfs /sys
    mount -t devtmpfs devtmpfs /dev
    mkdir -p /dev/pts /dev/shm
    mount -t devpts devpts /dev/pts
    mount -t tmpfs tmpfs /dev/shm
    mount -t tmpfs tmpfs /run
    mount -t 9p -o trans=virtio,version=9p2000.L,msize=524288 out "$KERNEL_OUT"
}

# Two devices of vivid: one with all its kinds of input, one with buffers of several planes. Both capture only.
start_machine() {
    $busybox ifconfig lo up
    mkdir -p /lib/modules
    ln -sfn "$modules" "/lib/modules/$(uname -r)"
    /lib/systemd/systemd-udevd --daemon
    modprobe vivid n_devs=2 node_types=1,1 num_inputs=4,1 input_types=0xe4,0 multiplanar=1,2
    modprobe snd-aloop
    modprobe snd-dummy
    modprobe vhci-hcd
    udevadm settle || udevadm settle # on a busy machine the first answer may be late
}

set -e
trap switch_off EXIT
mount_file_systems
exec </dev/null >/dev/console 2>&1
{ read -r modules; read -r VELMORA_PROGRAMS; read -r seconds; read -r command || true; } <"$KERNEL_OUT/guest"
export VELMORA_PROGRAMS
(sleep "$seconds"; echo "The tests took more than $seconds s."; switch_off) &
"$VELMORA_PROGRAMS/idle" &
start_machine
echo "The kernel $(uname -r) and its devices were up after $(cut -d' ' -f1 /proc/uptime) s."
set +e
${command:-"$tests/run_tests.sh"}
echo $? >"$KERNEL_OUT/exit-code"
