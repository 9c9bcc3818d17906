#!/usr/bin/env bash
# Makes the film of the console that the README leads to: ./run film.
# The arguments: the folder of the programs, and the file to write.
set -euo pipefail
BIN=$1 OUT=$2
HERE=$(dirname "${BASH_SOURCE[0]}")
STAGE_WIDTH=1000 STAGE_HEIGHT=680
. "$HERE/stage.sh"

stage_begin
stage_recorder --config "$HERE/site.toml"

# What is there before the camera runs: a view of the second four cameras, saved as its user does, and eight cells.
stage_login
stage_monitor --auth - --auto-start
sleep 6
press 3
sleep 1
fill_cells
press Escape
press Next
sleep 1.5
xdotool mousemove 963 26 click 1 sleep 0.6 mousemove 900 121 click 1 sleep 0.8 mousemove 740 121 click 1
stage_until "the window of the views" xdotool search --onlyvisible --name '^Views$'
xdotool sleep 0.8 mousemove 660 103 click 1 sleep 0.6
xdotool type --delay 30 Yard
press Return
sleep 0.4
xdotool mousemove 588 498 click 1 sleep 0.8
press 5
sleep 2
stage_stop_monitor

# Lossless first: what squeezes it well takes its time.
stage_monitor
xdotool mousemove 620 560
pointer_x=620 pointer_y=560
sleep 2
ffmpeg -nostdin -loglevel error -y -f x11grab -framerate 15 -draw_mouse 1 -video_size "${STAGE_WIDTH}x${STAGE_HEIGHT}" \
    -i "$DISPLAY" -c:v libx264 -preset ultrafast -qp 0 "$stage/film.mkv" &
camera=$!
players+=("$camera")
sleep 0.8
xdotool type --delay 70 guard
press Tab
xdotool type --delay 70 guard
sleep 0.2
press Return
sleep 2.6
drag 700 140 300 280
sleep 1
glide 110 560
xdotool click --repeat 2 --delay 90 1
sleep 1.4
xdotool click --repeat 2 --delay 90 1
sleep 1
press ctrl+1
sleep 1.6
press F11
sleep 0.9
press b
sleep 1.3
press Escape
sleep 0.6
kill -INT "$camera"
wait "$camera" || true
stage_stop_monitor

for pass in 1 2; do
    ffmpeg -nostdin -loglevel error -y -i "$stage/film.mkv" -vf scale=800:-2:flags=lanczos -an -c:v libvpx-vp9 -b:v 0 \
        -crf "${FILM_CRF:-44}" -deadline good -cpu-used 2 -row-mt 1 -g 240 -pass $pass -passlogfile "$stage/pass" \
        -f webm "$([ $pass = 1 ] && echo /dev/null || echo "$OUT")"
done
