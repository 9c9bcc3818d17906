#!/usr/bin/env bash
# Draws the pictures of the help pages and of the README: ./run pictures.
# The arguments: the folder of the programs, the folder of the help, and where README's pictures go.
set -euo pipefail
BIN=$1 HELP=$2 DOCS=$3
HERE=$(dirname "${BASH_SOURCE[0]}")
STAGE_WIDTH=1000 STAGE_HEIGHT=680
. "$HERE/stage.sh"

# What the display shows in this rectangle, or all of it.
keep() {  # file [x y width height]
    local file=$1
    shift
    shot "$stage/shot.png"
    cwebp -quiet -m 6 -q "${QUALITY:-72}" ${1:+-crop "$@"} "$stage/shot.png" -o "$file"
}

stage_begin
# The signs of the cells, as the program draws them.
mkdir -p "$HELP/pictures"
KVMON_PICTURES=$HELP/pictures QT_QPA_PLATFORM=offscreen "$BIN/test_looks" \
    --gtest_filter=Looks.SignsAndEdgesOfButtonsAndCells >"$stage/signs.log"
stage_recorder --config "$HERE/site.toml"
stage_login

# --- what shows no words: the same in each language
stage_monitor --auth - --auto-start
sleep 7
order status 1 motion on
order status 6 event on
sleep 1.5
keep "$HELP/pictures/wall.webp"
cp "$stage/shot.png" "$DOCS/wall.png"
keep "$HELP/pictures/panel.webp" 814 330 166 246

# A cell on its way to another.
glide 700 140
xdotool mousedown 1
glide 260 250 24
sleep 0.6
SHOT_MOUSE=1 keep "$HELP/pictures/drag.webp" 16 60 790 552
xdotool key Escape sleep 0.3 mouseup 1

# Digital zoom, by the wheel over the large cell.
glide 230 220 8
xdotool click 3
sleep 0.6
press Down Return
sleep 0.6
xdotool click --repeat 12 --delay 60 4
sleep 4
keep "$HELP/pictures/zoom.webp" 18 63 586 412
xdotool click 3
sleep 0.6
press Down Return
sleep 6

# A wall that says what is wrong: no camera, no picture, recorded, an alarm.
order status 1 connect off
order status 2 loss on
order status 3 alarm on
order status 4 record on
order status 5 input on
sleep 1.2
keep "$HELP/pictures/marks.webp" 16 60 790 552
for state in "1 connect on" "2 loss off" "3 alarm off" "4 record off" "5 input off"; do order status $state; done
stage_stop_monitor

# --- what shows words
speak() {  # folder, the language's number
    local folder=$1 language=$2
    mkdir -p "$folder"
    rm -rf "$stage/data"
    unset STAGE_INPUT
    port=80 stage_monitor --language "$language"
    sleep 2.5
    keep "$folder/sign-in.webp" 188 142 444 396
    stage_stop_monitor
    stage_login
    stage_monitor --language "$language" --auth - --auto-start
    sleep 6
    press c
    sleep 1
    keep "$folder/cameras.webp" 16 60 590 414
    click 895 26
    sleep 0.5
    press F10
    sleep 1
    keep "$folder/menu.webp" 720 0 280 340
    press Escape
    sleep 0.3
    press s
    sleep 1
    keep "$folder/snapshot.webp" 16 420 790 250
    press F11
    sleep 1.5
    press b
    sleep 1
    keep "$folder/bar.webp" 0 0 1000 300
    press Escape
    sleep 0.5
    press F11
    sleep 1
    kill -STOP "$recorder"
    sleep 8
    keep "$folder/still.webp" 604 66 194 136
    kill -CONT "$recorder"
    sleep 2
}
speak "$HELP/eng" 0
speak "$HELP/ger" 6
stage_stop_monitor
