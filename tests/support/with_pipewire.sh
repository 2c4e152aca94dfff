#!/bin/bash
# SPDX-License-Identifier: MIT
# Runs a command in a PipeWire session of its own: server, session manager, PulseAudio interface, and a null sink
# ("Test Sink") whose monitor is the default source. It has a bus of its own and needs neither systemd nor a sound
# card; with WITH_HARDWARE=1 it has the machine's own cards as well. Ends with the command's result and leaves nothing
# behind.
#
#   with_pipewire.sh COMMAND [ARGUMENT...]
set -u

directory=$(mktemp -d "${TMPDIR:-/tmp}/with-pipewire.XXXXXX")
pids=()

clean_up() {
    for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null; done
    for pid in "${pids[@]}"; do wait "$pid" 2>/dev/null; done
    rm -rf "$directory"
}
trap clean_up EXIT
trap 'exit 143' TERM
trap 'exit 130' INT

export XDG_RUNTIME_DIR=$directory/run XDG_CONFIG_HOME=$directory/config XDG_STATE_HOME=$directory/state
export PULSE_SERVER=unix:$directory/run/pulse/native
export DBUS_SESSION_BUS_ADDRESS=unix:path=$directory/run/bus
export HOME=$directory
unset PIPEWIRE_REMOTE PIPEWIRE_RUNTIME_DIR
wireplumber=$XDG_CONFIG_HOME/wireplumber
mkdir -p "$XDG_RUNTIME_DIR" "$XDG_STATE_HOME" "$XDG_CONFIG_HOME/pipewire/pipewire.conf.d" \
    "$wireplumber/main.lua.d" "$wireplumber/bluetooth.lua.d" "$wireplumber/wireplumber.conf.d"
chmod 700 "$XDG_RUNTIME_DIR"

cat >"$XDG_CONFIG_HOME/pipewire/pipewire.conf.d/test-sink.conf" <<'CONF'
context.objects = [
    { factory = adapter
      args = { factory.name = support.null-audio-sink
               node.name = test-sink
               node.description = "Test Sink"
               media.class = Audio/Sink
               audio.position = [ FL FR ]
               object.linger = true } }
]
CONF
# Tests must not use the machine's own devices, and searching for them needs a system bus. The session manager
# reads this in Lua up to its version 0.4, and in another form from 0.5 on.
[ -n "${WITH_HARDWARE:-}" ] || cat >"$wireplumber/main.lua.d/90-enable-all.lua" <<'LUA'
load_module("metadata")
default_access.enable()
device_defaults.enable()
load_script("intended-roles.lua")
LUA
echo >"$wireplumber/bluetooth.lua.d/90-enable-all.lua"
[ -n "${WITH_HARDWARE:-}" ] || cat >"$wireplumber/wireplumber.conf.d/no-hardware.conf" <<'CONF'
wireplumber.profiles = {
    main = { hardware.audio = disabled, hardware.bluetooth = disabled, hardware.video-capture = disabled }
}
CONF

# Runs a daemon of the session. Its messages are kept for a failed start.
start() {
    "$@" >"$directory/$(basename "$1").log" 2>&1 &
    pids+=($!)
}

# Waits until a command succeeds, a minute at most.
await() {
    for _ in $(seq 600); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    echo "with_pipewire.sh: no answer to: $*" >&2
    cat "$directory"/*.log >&2
    exit 1
}

start dbus-daemon --session --nofork --nopidfile --nosyslog --address="$DBUS_SESSION_BUS_ADDRESS"
await test -S "$XDG_RUNTIME_DIR/bus"
start pipewire
export PIPEWIRE_PID=$! # for tests that kill the server
await test -S "$XDG_RUNTIME_DIR/pipewire-0"
start wireplumber
export WIREPLUMBER_PID=$!
start pipewire-pulse
await test -S "$XDG_RUNTIME_DIR/pulse/native"
await pactl set-default-source test-sink.monitor
await sh -c 'test "$(pactl get-default-source)" = test-sink.monitor'

# Clients get real-time threads where the machine allows it: a cycle of the graph that is late costs a frame. Newer
# servers' clients have them by their usual configuration.
[ ! -e /usr/share/pipewire/client-rt.conf ] || export PIPEWIRE_CONFIG_NAME=client-rt.conf
"$@"
