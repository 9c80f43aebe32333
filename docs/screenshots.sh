#!/usr/bin/env bash
# SPDX-License-Identifier: MIT
# Pictures of the window while it serves a client from an emulated AirSpy HF+, twice as large as on the screen:
# docs/images/window-serving-light.png and -dark.png.
# usage: docs/screenshots.sh [BUILD FOLDER]    (default: build/server, as ./run --emulated hf leaves it)
# Needs xvfb, imagemagick, qt6-gtk-platformtheme and gnome-themes-extra.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=$(realpath "${1:-build/server}")
scratch=$(mktemp -d)
display_server=
program=

stop() {
    [ -n "$1" ] || return 0
    kill "$1" 2>/dev/null || true
    wait "$1" 2>/dev/null || true
}
trap 'stop "$program"; stop "$display_server"; rm -rf "$scratch"' EXIT

start_display() {
    mkfifo "$scratch/display"
    Xvfb -displayfd 3 -screen 0 2560x1600x24 3>"$scratch/display" 2>/dev/null &
    display_server=$!
    DISPLAY=:$(head -n 1 "$scratch/display")
    export DISPLAY
}

# start THEME
start() {
    mkdir -p "$scratch/runtime"
    chmod 700 "$scratch/runtime"
    printf '[General]\nsdrPortNumber=50000\n' >"$scratch/settings.conf"
    env -u DBUS_SESSION_BUS_ADDRESS FEEDLINE_SETTINGS="$scratch/settings.conf" XDG_RUNTIME_DIR="$scratch/runtime" \
        QT_QPA_PLATFORM=xcb QT_QPA_PLATFORMTHEME=gtk3 GTK_THEME="$1" QT_SCALE_FACTOR=2 \
        "$build/emulator/feedline-emulated" hf "$build/programs/feedline" >"$scratch/out" 2>"$scratch/log" &
    program=$!
}

# The program's streams are never buffered.
wait_until_it_listens() {
    local tries=0
    until grep -q "Waiting for incoming" "$scratch/out" 2>/dev/null; do
        tries=$((tries + 1))
        [ $tries -lt 300 ] || { cat "$scratch/out" "$scratch/log" >&2; return 1; }
        sleep 0.1
    done
}

tune_and_run() {
    exec 4<>/dev/tcp/127.0.0.1/50000
    printf '\x0a\x00\x20\x00\x00\x60\x56\x6c\x00\x00' >&4 # 7.1 MHz
    printf '\x08\x00\x18\x00\x80\x02\x00\x00' >&4
}

# picture FILE: the window alone, after the status lines had their second.
picture() {
    sleep 2.5
    import -window root "$scratch/root.png"
    convert "$scratch/root.png" -trim +repage -strip "$1"
    echo "$1"
}

start_display
for look in light:Adwaita dark:Adwaita:dark; do
    start "${look#*:}"
    wait_until_it_listens
    tune_and_run
    picture "docs/images/window-serving-${look%%:*}.png"
    exec 4<&- 4>&-
    stop "$program"
done
