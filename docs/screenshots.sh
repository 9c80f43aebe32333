#!/usr/bin/env bash
# Pictures of the window in its states, over an emulated AirSpy HF+: docs/images/window-*.png.
# usage: docs/screenshots.sh [BUILD FOLDER]    (default: build/server, as ./run --emulated hf leaves it)
# Needs xvfb, imagemagick, and for the dark ones qt6-gtk-platformtheme and gnome-themes-extra.
set -euo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."

build=$(realpath "${1:-build/server}")
images=docs/images
scratch=$(mktemp -d)
display_server=
program=
bystander=

stop() {
    local process
    for process in "$@"; do
        [ -n "$process" ] || continue
        kill "$process" 2>/dev/null || true
        wait "$process" 2>/dev/null || true
    done
}
trap 'stop "$program" "$bystander" "$display_server"; rm -rf "$scratch"' EXIT

start_display() {
    mkfifo "$scratch/display"
    Xvfb -displayfd 3 -screen 0 2560x1600x24 3>"$scratch/display" 2>/dev/null &
    display_server=$!
    DISPLAY=:$(head -n 1 "$scratch/display")
    export DISPLAY
}

# start PROGRAM [VARIABLE=VALUE...]: with settings of its own; its output is in $scratch/<program>.out.
start() {
    local name=$1
    shift
    mkdir -p "$scratch/runtime" "$scratch/$name/feedline"
    chmod 700 "$scratch/runtime"
    printf '[General]\nsdrPortNumber=50000\nsdrType=0\nsdrUdpAdr=%s\n' "${address:-127.0.0.1}" \
        >"$scratch/$name/feedline/feedline.conf"
    env -u DBUS_SESSION_BUS_ADDRESS XDG_CONFIG_HOME="$scratch/$name" XDG_RUNTIME_DIR="$scratch/runtime" \
        LD_LIBRARY_PATH="$build/emulator" FEEDLINE_EMULATOR_DEVICES="${devices:-hf}" "$@" \
        "$build/app/$name" >"$scratch/$name.out" 2>"$scratch/$name.log" &
}

# wait_for TEXT FILE: the programs' streams are never buffered.
wait_for() {
    local tries=0
    until grep -q "$1" "$2" 2>/dev/null; do
        tries=$((tries + 1))
        [ $tries -lt 300 ] || { echo "no \"$1\" in $2" >&2; return 1; }
        sleep 0.1
    done
}

# picture NAME: the window alone, after the status lines had their second.
picture() {
    sleep 2.5
    import -window root "$scratch/root.png"
    convert "$scratch/root.png" -trim +repage -strip "$images/window-$1.png"
    echo "$images/window-$1.png"
}

# Each state: picture's NAME [VARIABLE=VALUE...].
idle() {
    start feedline "${@:2}"
    program=$!
    wait_for "Waiting for incoming" "$scratch/feedline.out"
    picture "$1"
    stop "$program"
}

serving() {
    start feedline "${@:2}"
    program=$!
    wait_for "Waiting for incoming" "$scratch/feedline.out"
    exec 4<>/dev/tcp/127.0.0.1/50000
    printf '\x0a\x00\x20\x00\x00\x60\x56\x6c\x00\x00' >&4 # tune to 7.1 MHz
    printf '\x08\x00\x18\x00\x80\x02\x00\x00' >&4         # run
    picture "$1"
    exec 4<&- 4>&-
    stop "$program"
}

# The port is taken, and the address is none.
failed() {
    start feedlined
    bystander=$!
    wait_for "Waiting for incoming" "$scratch/feedlined.out"
    address=somewhere start feedline "${@:2}"
    program=$!
    wait_for "bind failed" "$scratch/feedline.out"
    picture "$1"
    stop "$program" "$bystander"
}

alert() {
    devices=none start feedline "${@:2}"
    program=$!
    wait_for "n 0" "$scratch/feedline.log"
    picture "$1"
    stop "$program"
}

mkdir -p "$images"
start_display
dark=(QT_QPA_PLATFORMTHEME=gtk3 GTK_THEME=Adwaita:dark)
for state in idle serving failed alert; do
    "$state" "$state-light"
    "$state" "$state-light-2x" QT_SCALE_FACTOR=2
    "$state" "$state-dark" "${dark[@]}"
    "$state" "$state-dark-2x" "${dark[@]}" QT_SCALE_FACTOR=2
done
