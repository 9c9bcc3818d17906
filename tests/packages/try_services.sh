#!/usr/bin/env bash
# What an administrator does with the services, on a Debian of its own that systemd has started: start, refuse, reload,
# hang, misconfigure, hand passwords on, open a page, stop. Root starts it. try_services.sh ROOT, which holds the packages
set -euo pipefail
root=$(realpath "$1")
host=
log=$(mktemp)
cleanup() {
    kill "$host" 2>/dev/null || true
    wait 2>/dev/null || true
    rm -f "$log"
}
trap cleanup EXIT

say() { printf 'services: %s\n' "$*" >&2; }
die() {
    say "FAILED: $*"
    inside journalctl --no-pager -o cat -n 30 -u kvrecorder -u kvmon-web >&2 || true
    exit 1
}
inside() { nsenter -t "$leader" -a -- env -i PATH=/usr/sbin:/usr/bin:/sbin:/bin LC_ALL=C.UTF-8 "$@"; }
soon() {  # seconds, command: until it is true
    local last=$((SECONDS + $1))
    shift
    until "$@" >/dev/null 2>&1; do
        [ "$SECONDS" -lt "$last" ] || return 1
        sleep 0.1
    done
}
property() { inside systemctl show --value -p "$2" "$1"; }
is() { [ "$(property "$1" "$2")" = "$3" ]; }
told() { inside journalctl --no-pager -o cat "${@:2}" | grep -q -- "$1"; }
connects() {  # user and password
    echo "$1" | tr -d '\n' | base64 | inside kvmon --server 127.0.0.1 --port 8090 --auth - --check-connection
}
answers() { inside curl -s -u admin:admin "http://127.0.0.1:8090/cgi-bin/get_init_info.cgi" | grep -q -- "$1"; }
cp "$root/etc/kvrecorder.toml" "$root/etc/kvrecorder.toml.installed"
configure() { inside sh -c 'cat >/etc/kvrecorder.toml'; }

say "starting a system"
systemd-nspawn --register=no --keep-unit --quiet --private-network --machine=kvservices --boot --directory "$root" \
    --console=pipe >"$log" 2>&1 </dev/null &
host=$!
started() { leader=$(pgrep -P "$host" | head -n 1) && [ -n "$leader" ] && inside systemctl is-system-running | grep -qE 'running|degraded'; }
soon 60 started || { cat "$log" >&2; say "FAILED: the system did not start"; exit 1; }

say "the recorder: start, sign-ins, reload"
inside systemctl start kvrecorder || die "the recorder did not start"
connects admin:admin || die "nobody can sign in"
inside curl -s -o /dev/null -u guard:wrong http://127.0.0.1:8090/cgi-bin/get_init_info.cgi || true
soon 5 told 'sign-in refused from 127.0.0.1 of guard' KV_EVENT=sign-in-refused KV_USER=guard KV_ADDRESS=127.0.0.1 ||
    die "the refusal has no fields in the journal"
configure <<'TOML'
listen = "127.0.0.1:8090"
[server]
name = "Depot"
[[users]]
name = "admin"
password = "admin"
# end
TOML
inside systemctl reload kvrecorder || die "systemd cannot reload it"
soon 10 answers 'server name=Depot' || die "a reload changes nothing"

say "a password that root alone can read"
configure <<'TOML'
listen = "127.0.0.1:8090"
[[users]]
name = "guard"
password_file = "@user"
# end
TOML
! inside kvrecorder --check /etc/kvrecorder.toml 2>/dev/null || die "a password that is not there is right"
inside sh -c 'umask 077; mkdir -p /etc/kvrecorder.credentials; echo gate >/etc/kvrecorder.credentials/user'
inside kvrecorder --check /etc/kvrecorder.toml || die "the password is not found before the start"
inside systemctl restart kvrecorder || die "the recorder is not handed the password"
connects guard:gate || die "the recorder does not know the password"
! connects guard:wrong 2>/dev/null || die "any password is right"

say "one that hangs"
inside sh -c 'mkdir -p /run/systemd/system/kvrecorder.service.d
    printf "[Service]\nWatchdogSec=3\n" >/run/systemd/system/kvrecorder.service.d/soon.conf'
inside systemctl daemon-reload
inside systemctl restart kvrecorder
inside systemctl kill --kill-whom=main --signal=STOP kvrecorder
soon 20 is kvrecorder NRestarts 1 || die "nobody starts it again"
soon 10 connects guard:gate || die "it does not come back"

say "a wrong configuration"
echo 'lisen = 1' | configure
! inside systemctl restart kvrecorder 2>/dev/null || die "a wrong configuration is taken"
is kvrecorder ExecMainStatus 2 || die "the status is $(property kvrecorder ExecMainStatus)"
sleep 3  # longer than RestartSec
is kvrecorder NRestarts 0 || die "it is tried again"
is kvrecorder ActiveState failed || die "it has not failed"
told 'lisen' -u kvrecorder || die "the journal does not tell what is wrong"
configure <"$root/etc/kvrecorder.toml.installed"
inside systemctl restart kvrecorder || die "it does not start once the configuration is right"

say "web pages: the first one starts the service"
token=0123456789abcdefTOKEN
inside sh -c "umask 077; mkdir -p /etc/kvmon; echo $token >/etc/kvmon/web.token; echo YWRtaW46YWRtaW4= >/etc/kvmon/web.auth"
inside systemctl start kvmon-web.socket
is kvmon-web ActiveState inactive || die "it runs before somebody asks"
inside curl -sf -o /dev/null http://127.0.0.1:8450/ || die "no page"
is kvmon-web ActiveState active || die "the page did not start the service"
inside curl -s -o /dev/null --max-time 5 -H 'Connection: Upgrade' -H 'Upgrade: websocket' -H 'Sec-WebSocket-Version: 13' \
    -H 'Sec-WebSocket-Key: a2V5a2V5a2V5a2V5a2V5aw==' "http://127.0.0.1:8450/control?token=$token" || true
told 'sign-in accepted from 127.0.0.1 of a page' -u kvmon-web || die "the page cannot sign in"
! told "$token" || die "the token stands in the journal"

say "stopping"
for unit in kvmon-web kvrecorder; do
    began=$SECONDS
    inside systemctl stop $unit $([ $unit != kvmon-web ] || echo kvmon-web.socket)
    [ $((SECONDS - began)) -le 5 ] || die "$unit took $((SECONDS - began)) s to stop"
    is $unit Result success || die "$unit did not end well: $(property $unit Result)"
done
say "all is well"
