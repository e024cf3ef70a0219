#!/usr/bin/env bash
# Shows pm at work: a platform event becomes four mails, and a test trap arrives.
# Everything runs on loopback in a temporary folder, which is removed afterwards.
set -euo pipefail
cd "$(dirname "$0")/.."
. scripts/lib.sh

dir='' started=()
cleanup() {
    trap - EXIT
    trap '' INT TERM HUP # another signal must not interrupt the cleanup
    for pid in "${started[@]}"; do kill "$pid" 2>/dev/null || true; done
    for pid in "${started[@]}"; do wait "$pid" 2>/dev/null || true; done
    [ -z "$dir" ] || rm -rf "$dir"
}
trap cleanup EXIT
trap 'exit 130' INT
trap 'exit 143' TERM HUP

# Runs a command in the background and waits for it, so that a signal ends this script at once.
run() {
    "$@" &
    started+=($!)
    wait $!
}

fail() {
    echo "demo: $*" >&2
    exit 1
}

run scripts/setup.sh
run build release pm pmctl

# Not below /tmp: pm gets a private /tmp, so that it does not disturb an installed pm.
dir=$(mktemp -d /var/tmp/pm-demo.XXXXXX)
export PM_HOST_ROOT=$dir/root
mkdir -p "$dir/tmp" "$PM_HOST_ROOT/etc"
cp "$builds/release/pm" "$dir/pm"
pmctl=$builds/release/pmctl/pmctl

say "Starting a mail server and a trap receiver on loopback"
mkfifo "$dir/mails" "$dir/traps"
touch "$dir/mails.txt"
/usr/bin/python3 -B scripts/smtp_sink.py <"$dir/mails" >"$dir/mails.txt" 2>&1 &
started+=($!)
exec 3>"$dir/mails"
until read -r mail_port <"$dir/mails.txt" && [ -n "$mail_port" ]; do
    kill -0 "${started[-1]}" 2>/dev/null ||
        fail "the mail server did not start: $(cat "$dir/mails.txt")"
    sleep 0.02
done
trap_port=$(/usr/bin/python3 -c 'import socket
s = socket.socket(type=socket.SOCK_DGRAM); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
cat >"$dir/snmptrapd.conf" <<END
disableAuthorization yes
format1 trap: enterprise %N, generic %w, specific %q\n%v;\n
END
MIBS='' SNMP_PERSISTENT_DIR=$dir snmptrapd -f -n -Lo -C -c "$dir/snmptrapd.conf" -On -Ox \
    "udp:127.0.0.1:$trap_port" >"$dir/traps" 2>&1 &
started+=($!)
exec 4<"$dir/traps"

# await_trap_line TEXT [show]: reads the trap receiver's lines up to one with TEXT, and prints
# them with show.
await_trap_line() {
    local line
    while read -r -t 10 line <&4; do
        [ "${2:-}" != show ] || printf '%s\n' "$line"
        case $line in *"$1"*) return 0 ;; esac
    done
    return 1
}
await_trap_line "NET-SNMP version" || fail "snmptrapd did not start"
echo "SMTP on 127.0.0.1:$mail_port, SNMP traps on 127.0.0.1:$trap_port"

say "Settings"
{
    echo '[settings]'
    echo 'pm_str_email_server_address = "127.0.0.1"'
    for n in 1 2 3 4; do
        echo "pm_bool_email_alert${n}_enabled = true"
        echo "pm_str_email_alert${n}_destination = \"admin$n@example.com\""
        echo "pm_str_email_alert${n}_subject = \"Server alert for admin $n\""
        echo "pm_str_email_alert${n}_body = \"Rack 12, room $n\""
    done
    echo '[attributes]'
    echo "\"Norvu.Embedded.1#Remotehosts.1#smtpport\" = $mail_port"
    echo '"Norvu.Embedded.1#Remotehosts.1#SenderEmail" = "norvu@example.com"'
    echo '"Norvu.Embedded.1#IPv4.1#Address" = "192.0.2.10"'
    echo "\"Norvu.Embedded.1#SNMP.1#AlertPort\" = $trap_port"
    echo '"Norvu.Embedded.1#SNMPAlert.1#Destination" = "127.0.0.1"'
    echo '[hardware]'
    echo 'host_name = "host12"'
    echo 'community = "public"'
    echo 'smbios_guid = "00112233-4455-6677-8899-aabbccddeeff"'
} | tee "$PM_HOST_ROOT/etc/pm.conf"

say "Starting pm"
if private=$(private_mounts); then
    # shellcheck disable=SC2086
    $private sh -c 'mount --bind "$0/tmp" /tmp && exec "$0/pm"' "$dir" &
else
    echo "This machine allows no private mounts: pm uses the shared /tmp."
    "$dir/pm" &
fi
pm=$!
started+=("$pm")
until "$pmctl" --timeout 5 list >"$dir/list.txt" 2>&1; do
    kill -0 "$pm" 2>/dev/null || fail "pm did not start"
    sleep 0.02
done
cat "$dir/list.txt"

say "pmctl event event_ipmi_pet --message 'Fan 3 failed'"
run "$pmctl" --timeout 60 event event_ipmi_pet --message 'Fan 3 failed' || fail "the event failed"
tail -n +2 "$dir/mails.txt"

expect() { # line, how often, file
    [ "$(grep -cxF -- "$1" "$3")" -eq "$2" ] || fail "expected $2 times: $1"
}
for n in 1 2 3 4; do
    expect "To: admin$n@example.com" 1 "$dir/mails.txt"
    expect "Subject: Server alert for admin $n" 1 "$dir/mails.txt"
    expect "Message: Rack 12, room $n" 1 "$dir/mails.txt"
done
expect "From: norvu@example.com" 4 "$dir/mails.txt"
expect "Fan 3 failed" 4 "$dir/mails.txt"
expect "To launch the Norvu Web Interface, click here: https://192.0.2.10" 4 "$dir/mails.txt"

say "pmctl test-trap 1"
run "$pmctl" test-trap 1 || fail "the test trap failed"
await_trap_line ";" show >"$dir/trap.txt" || fail "no trap arrived"
cat "$dir/trap.txt"
grep -q 'generic 6, specific .1001' "$dir/trap.txt" || fail "this is not the test trap"
# GUID first, host name last.
tr -s ' \n' ' ' <"$dir/trap.txt" |
    grep -q '00 11 22 33 44 55 66 77 88 99 AA BB CC DD EE FF .*68 6F 73 74 31 32 00 C1' ||
    fail "the trap lacks the system's GUID or host name"

say "Four mails and a trap arrived as expected."
