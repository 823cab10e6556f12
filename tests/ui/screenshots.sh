#!/usr/bin/env bash
# usage: screenshots.sh BUILD-FOLDER FOLDER
#
# Takes a picture of the dialog in each of its languages, FOLDER/<language>.png, on an X server of its own.
# GTK_THEME and GDK_SCALE pass through.
set -euo pipefail

dialog_host=$1/lib/dialog_host
folder=$2
scratch=$(mktemp -d)
processes=()

finish() {
    for process in "${processes[@]}"; do kill "$process" 2>/dev/null && wait "$process" 2>/dev/null || true; done
    rm -rf "$scratch"
}
trap finish EXIT

# window_of PROCESS: its window, once that is there. A search fails when another window goes away meanwhile.
window_of() {
    local window
    for _ in {1..300}; do
        window=$(xdotool search --onlyvisible --pid "$1" 2>/dev/null | head -n 1) || window=
        [ -z "$window" ] || { echo "$window"; return; }
        sleep 0.1
    done
    echo "screenshots: no window" >&2
    return 1
}

mkfifo "$scratch/display"
Xvfb -displayfd 7 -screen 0 1600x1000x24 -nolisten tcp -noreset 7>"$scratch/display" 2>"$scratch/log" &
processes+=($!)
read -r display <"$scratch/display"
export DISPLAY=:$display GDK_BACKEND=x11 NO_AT_BRIDGE=1 LC_ALL=C.UTF-8
unset WAYLAND_DISPLAY QMASYN10_UI
openbox >"$scratch/log" 2>&1 &
processes+=($!)

xdotool mousemove 0 0  # no tool tip in the picture

mkdir -p "$folder"
for language in 1031:de 1033:en 1034:es 1036:fr 1040:it 1043:nl; do
    "$dialog_host" "${language%:*}" &
    host=$!
    processes+=($host)
    window=$(window_of "$host")
    sleep 1.3
    import -frame -window "$window" -strip "$folder/${language#*:}.png"
    kill "$host"
    wait "$host" || true
done
