#!/usr/bin/env bash
# What an administrator does with the packages, in a Debian 12 of its own: install, run as an ordinary user, upgrade with
# settings kept, remove, purge. Root starts it; nothing of this machine changes. try_packages.sh FOLDER-OF-PACKAGES
set -euo pipefail
packages=$(realpath "$1")
# Mounts end with the namespace, whatever becomes of the script.
[ "${KV_OWN_MOUNTS:-}" = 1 ] || KV_OWN_MOUNTS=1 exec unshare --mount --propagation private -- "$0" "$packages"

work=$(mktemp -d)
# In memory: a package manager waits for each file of a disk.
mount -t tmpfs -o size=6g,mode=0755 packages "$work"
root=$work/root
recorder=
monitor=
# A shell waits for each program in the background: the program is its child.
stop() {
    local shell
    for shell in "$@"; do
        kill $(pgrep -P "$shell") 2>/dev/null || true
        wait "$shell" 2>/dev/null || true
    done
}
cleanup() {
    stop $recorder $monitor
    umount -R "$root/proc" "$root/dev/shm" 2>/dev/null || true
    umount -l "$work"
    rmdir "$work"
}
trap cleanup EXIT

say() { printf 'packages: %s\n' "$*" >&2; }
die() { say "FAILED: $*"; exit 1; }
in_root() { chroot "$root" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 DEBIAN_FRONTEND=noninteractive "$@"; }
as_guard() { in_root setpriv --reuid guard --regid guard --clear-groups /usr/bin/env HOME=/home/guard QT_QPA_PLATFORM=offscreen "$@"; }
apt() { in_root apt-get -qq -y --no-install-recommends "$@" >"$work/apt.log" 2>&1 || { tail -n 20 "$work/apt.log" >&2; die "apt-get $*"; }; }
ours() { dpkg-deb -f "$1" Package; }
# All that lasts, but for what the package manager and the linker keep of themselves.
inventory() {
    (cd "$root" && find . -xdev \( -path ./proc -o -path ./dev -o -path ./tmp -o -path ./run -o -path ./var/cache/apt \
        -o -path ./var/lib/apt -o -path ./var/lib/dpkg -o -path ./var/log -o -path ./var/cache/ldconfig \
        -o -path ./var/cache/debconf -o -path ./home/guard \) -prune -o -print | sort)
}
started() {  # log, pattern: gives what stands in its first group
    local found
    for _ in $(seq 1 300); do
        found=$(sed -n "s/$2/\\1/p" "$1" | head -n 1)
        [ -z "$found" ] || { echo "$found"; return; }
        sleep 0.1
    done
    cat "$1" >&2
    die "it did not start"
}

say "making a Debian 12"
apt-config dump Acquire >"$work/acquire.conf"
kept=$packages/debian12.tar
if [ ! -f "$kept" ]; then
    mapfile -t sources < <(grep -ls . /etc/apt/sources.list /etc/apt/sources.list.d/*.list /etc/apt/sources.list.d/debian.sources)
    mmdebstrap --quiet --format=tar --mode=root --variant=apt --aptopt="$work/acquire.conf" bookworm "$kept.new" "${sources[@]}"
    mv "$kept.new" "$kept"
fi
mkdir "$root"
tar --extract --numeric-owner --directory "$root" --file "$kept"
mount -t proc proc "$root/proc"
mkdir -p "$root/dev/shm"
mount -t tmpfs shm "$root/dev/shm"
echo force-unsafe-io >"$root/etc/dpkg/dpkg.cfg.d/unsafe-io"
in_root useradd --create-home guard
apt update

mkdir "$work/old" "$root/new" "$root/old"
for package in "$packages"/*.deb; do
    cp "$package" "$root/new"
    # The same under an older version.
    dpkg-deb --raw-extract "$package" "$work/old/tree"
    version=$(dpkg-deb -f "$package" Version)
    sed -i "s/$version/$version~before/g" "$work/old/tree/DEBIAN/control"
    dpkg-deb --root-owner-group --build "$work/old/tree" "$root/old" >/dev/null
    rm -rf "$work/old/tree"
done
names=$(for package in "$packages"/*.deb; do ours "$package"; done)

say "what they stand on"
# The list of what they bring along, without themselves.
needed=$(in_root sh -c 'apt-get -s -y --no-install-recommends install /new/*.deb' | sed -n 's/^Inst \([^ ]*\).*/\1/p' |
    grep -vxF "$names")
apt install $needed
inventory >"$work/before"

say "installing the older version"
apt install $(cd "$root" && printf '/%s ' old/*.deb)
in_root kvrecorder --version
in_root sh -c 'ls /usr/share/man/man1/kvmon.1.gz /usr/share/metainfo/kvmon.metainfo.xml' >/dev/null || say "manual pages were left out by the system's own choice"

watch_wall() {  # picture
    as_guard kvrecorder --listen 127.0.0.1:0 >"$work/recorder.log" 2>&1 &
    recorder=$!
    port=$(started "$work/recorder.log" '^kvrecorder: listening on .*:\([0-9]*\)$')
    echo admin:admin | tr -d '\n' | base64 | as_guard kvmon --server 127.0.0.1 --port "$port" --auth - --check-connection
    echo admin:admin | tr -d '\n' | base64 | as_guard kvmon --server 127.0.0.1 --port "$port" --auth - --auto-start \
        --picture "/home/guard/$1" --picture-after 6
    [ "$(stat -c %s "$root/home/guard/$1")" -gt 50000 ] || die "the wall shows nothing"
}
say "watching as an ordinary user"
watch_wall before.png

say "refused logins and the token"
for word in one two three; do
    curl -s -o /dev/null -u "guard:$word" "http://127.0.0.1:$port/cgi-bin/get_init_info.cgi" || true
    curl -s -o /dev/null -u "guard:$word" "http://127.0.0.1:$port/get_init_info.cgi" || true
done
curl -s -o /dev/null -u "admin:admin" "http://127.0.0.1:$port/cgi-bin/get_init_info.cgi" || true
grep -c 'sign-in refused from 127.0.0.1 of guard' "$work/recorder.log" || die "no refusal was told"
token=0123456789abcdefTOKEN
(umask 077; echo "$token" >"$root/home/guard/token"); in_root chown guard: /home/guard/token
in_root setpriv --reuid guard --regid guard --clear-groups /usr/bin/env HOME=/home/guard NOTIFY_SOCKET=/nowhere \
    kvmon --serve 127.0.0.1:0 --web-token-file /home/guard/token >"$work/web.log" 2>&1 &
monitor=$!
page=$(started "$work/web.log" '^kvmon: open http:\/\/127.0.0.1:\([0-9]*\)\/$')
socket=(-H 'Connection: Upgrade' -H 'Upgrade: websocket' -H 'Sec-WebSocket-Version: 13' -H 'Sec-WebSocket-Key: a2V5a2V5a2V5a2V5a2V5aw==')
curl -s -o /dev/null --max-time 5 "${socket[@]}" "http://127.0.0.1:$page/control?token=wrong" || true
curl -s -o /dev/null --max-time 3 "${socket[@]}" "http://127.0.0.1:$page/control?token=$token" || true
started "$work/web.log" '^kvmon: sign-in \(accepted\) from 127.0.0.1 of a page$' >/dev/null
! grep -q "$token" "$work/web.log" || die "the token stands in the log"
for log in recorder web; do
    fail2ban-regex --print-all-matched "$work/$log.log" "$root/etc/fail2ban/filter.d/kvmon.conf" >"$work/f2b" 2>&1 || true
    lines=$(grep -c 'sign-in refused' "$work/$log.log")
    grep -q "^Lines:.* $lines matched" "$work/f2b" || { cat "$work/f2b" "$work/$log.log" >&2; die "fail2ban does not read the log of $log"; }
    say "fail2ban matches $lines of $lines refusals of $log"
done
stop $recorder $monitor
recorder= monitor=

say "upgrading with settings kept"
sed -i 's/^name = .*/name = "Edited"/' "$root/etc/kvrecorder.toml"
mkdir -p "$root/etc/kvmon"
printf '[Desktop]\nServerPort=1234\n' >"$root/etc/kvmon/settings.ini"
sum=$(sha256sum <"$root/home/guard/.local/share/kvmon/settings.db")
apt install $(cd "$root" && printf '/%s ' new/*.deb)
in_root dpkg-query -W -f '${Package} ${Version}\n' $names
grep -q '^name = "Edited"$' "$root/etc/kvrecorder.toml" || die "the recorder's configuration is not kept"
[ "$sum" = "$(sha256sum <"$root/home/guard/.local/share/kvmon/settings.db")" ] || die "the user's settings are not kept"
in_root kvrecorder --check /etc/kvrecorder.toml
watch_wall after.png
stop $recorder
recorder=

say "exposure of the services"
for unit in kvrecorder kvmon-web; do
    systemd-analyze security --offline=true --threshold=20 "$root/lib/systemd/system/$unit.service" | tail -n 1
done

say "under systemd, in a copy of its own"
cp -a --one-file-system "$root" "$work/booted"
apt_in() { chroot "$work/booted" /usr/bin/env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin DEBIAN_FRONTEND=noninteractive apt-get -qq -y --no-install-recommends "$@"; }
apt_in install systemd-sysv dbus curl >"$work/apt.log" 2>&1 || { tail -n 20 "$work/apt.log" >&2; die "systemd could not be installed"; }
"$(dirname "$(realpath "$0")")/try_services.sh" "$work/booted"
rm -rf "$work/booted"

say "removing, purging"
rm -r "$root/etc/kvmon"
mkdir -p "$root/var/lib/private/kvrecorder/recordings"
apt remove $names
[ -f "$root/etc/kvrecorder.toml" ] || die "a removal takes the configuration away"
apt purge $names
rmdir "$root/var/lib/private" || die "what the service has kept is left"
inventory >"$work/after"
diff "$work/before" "$work/after" || die "something is left"
say "nothing is left; all is well"
