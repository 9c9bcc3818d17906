# A stage for the program: a display of its own, kvrecorder's scenes and kvmon in front of them, steered by keys
# and mouse as its user would. Sourced by what shows the program; wants the folder BIN with both programs.

STAGE_WIDTH=${STAGE_WIDTH:-1200}
STAGE_HEIGHT=${STAGE_HEIGHT:-760}

stage_begin() {
    stage=$(mktemp -d)
    players=()
    trap stage_end EXIT
    Xvfb -displayfd 3 -screen 0 "${STAGE_WIDTH}x${STAGE_HEIGHT}x24" -nolisten tcp -dpi 96 \
        3>"$stage/display" 2>"$stage/xvfb.log" &
    players+=($!)
    stage_until "the display" test -s "$stage/display"
    DISPLAY=:$(cat "$stage/display")
    export DISPLAY
    # One window, as large as the display; dialogs stay as large as they are.
    cat >"$stage/openbox.xml" <<XML
<openbox_config xmlns="http://openbox.org/3.4/rc"><applications>
  <application type="normal"><decor>no</decor><maximized>yes</maximized></application>
  <application type="dialog"><decor>yes</decor></application>
</applications></openbox_config>
XML
    openbox --config-file "$stage/openbox.xml" >"$stage/openbox.log" 2>&1 &
    players+=($!)
}

stage_end() {
    local player
    for player in "${players[@]}"; do kill "$player" 2>/dev/null || true; done
    wait 2>/dev/null || true
    rm -rf "$stage"
}

stage_until() {  # what, command
    local what=$1 try
    shift
    for try in $(seq 200); do
        "$@" >/dev/null 2>&1 && return
        sleep 0.1
    done
    echo "stage: not within 20 s: $what" >&2
    exit 1
}

# The port that it was given is in its first line.
stage_recorder() {  # arguments of kvrecorder
    "$BIN/kvrecorder" --listen 127.0.0.1:0 --control "$stage/control" "$@" >"$stage/recorder.log" 2>&1 &
    recorder=$!
    players+=("$recorder")
    stage_until "the recorder" grep -q 'listening on' "$stage/recorder.log"
    port=$(sed -n 's/^kvrecorder: listening on .*:\([0-9]*\)$/\1/p' "$stage/recorder.log" | head -n 1)
}

stage_monitor() {  # arguments of kvmon; standard input may be its credential
    env -u DBUS_SESSION_BUS_ADDRESS HOME="$stage" XDG_CONFIG_HOME="$stage/config" LC_ALL=C.UTF-8 KVMON_DEBUG=0 \
        QT_QPA_PLATFORM=xcb "$BIN/kvmon" --data-dir "$stage/data" --server 127.0.0.1 --port "$port" "$@" \
        <"${STAGE_INPUT:-/dev/null}" >"$stage/monitor.log" 2>&1 &
    monitor=$!
    players+=("$monitor")
    stage_until "the window" xdotool search --onlyvisible --pid "$monitor"
}

stage_login() { printf 'guard:guard' | base64 >"$stage/auth"; STAGE_INPUT=$stage/auth; }

stage_stop_monitor() {
    kill "$monitor" 2>/dev/null || true
    wait "$monitor" 2>/dev/null || true
    unset STAGE_INPUT
}

# What the recorder is told, as "status 3 motion on": docs/recorder.md has all.
order() { "$BIN/kvrecorder" --control "$stage/control" --send "$*" >/dev/null; }

# The pointer moves as a hand moves it, so that a film shows where it goes.
pointer_x=$((STAGE_WIDTH / 2)) pointer_y=$((STAGE_HEIGHT / 2))
glide() {  # x y [steps]
    local steps=${3:-18} i script=
    for i in $(seq "$steps"); do
        # Slow, quick, slow.
        read -r sx sy < <(awk -v i="$i" -v n="$steps" -v x0="$pointer_x" -v y0="$pointer_y" -v x1="$1" -v y1="$2" \
            'BEGIN { t = i / n; t = t * t * (3 - 2 * t); printf "%d %d\n", x0 + (x1 - x0) * t, y0 + (y1 - y0) * t }')
        script+="mousemove $sx $sy sleep 0.02 "
    done
    # shellcheck disable=SC2086
    xdotool $script
    pointer_x=$1 pointer_y=$2
}
press() { xdotool key --clearmodifiers "$@"; }
click() { glide "$1" "$2" "${4:-18}"; sleep 0.12; xdotool click "${3:-1}"; }
drag() {  # from x y to x y
    glide "$1" "$2"
    sleep 0.15
    xdotool mousedown 1
    sleep 0.1
    glide "$3" "$4" 30
    sleep 0.2
    xdotool mouseup 1
}

# All cameras fill their cells, whatever the arrangement: by the menu of the first cell.
fill_cells() {
    xdotool mousemove 200 200 click 3 sleep 0.8 mousemove 260 347 click 1 sleep 0.8 mousemove 300 369 click 1 \
        sleep 0.8 mousemove 460 391 click 1 sleep 0.8
}

# What the display shows now, as a PNG.
shot() {  # file
    ffmpeg -nostdin -loglevel error -y -f x11grab -draw_mouse "${SHOT_MOUSE:-0}" -video_size "${STAGE_WIDTH}x${STAGE_HEIGHT}" \
        -i "$DISPLAY" -frames:v 1 "$1"
}
