#!/bin/busybox sh
# SPDX-License-Identifier: MIT
# The guest's first program: mounts the host's root read-only with a file system in memory over it, and continues there.
busybox=/bin/busybox
$busybox mkdir -p /proc /lower /upper /new
$busybox mount -t proc proc /proc
for module in /modules/*; do
    $busybox insmod "$module" || exec $busybox poweroff -f
done
$busybox mount -t 9p -o ro,trans=virtio,version=9p2000.L,msize=524288,cache=loose host /lower &&
    $busybox mount -t tmpfs -o size=60% tmpfs /upper &&
    $busybox mkdir /upper/files /upper/work &&
    $busybox mount -t overlay -o lowerdir=/lower,upperdir=/upper/files,workdir=/upper/work overlay /new &&
    $busybox mkdir -p /new/velmora/out /new/velmora/bin &&
    $busybox cp /bin/busybox /new/velmora/bin &&
    $busybox umount /proc || exec $busybox poweroff -f
tests=$($busybox cat /tests)
exec $busybox switch_root /new "$tests/guest.sh"
