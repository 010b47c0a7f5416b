#!/usr/bin/env bash
# gateway-smoke.sh BINARY [WRAPPER...]
#
# A quick check of a gateway binary that has no test build of its own (the
# static aarch64 one), run through WRAPPER when given (e.g. qemu-aarch64):
# without arguments it prints its usage and exits 1; with a configuration on
# free loopback ports and the CPU list "0" it opens both listeners, runs the
# pinning command on its own pid, and keeps running until SIGTERM ends it.
# Every wait is bounded.
set -euo pipefail
binary=$1
shift
dir=$(mktemp -d)
pid=""
cleanup() {
    if [ -n "$pid" ]; then kill -KILL "$pid" 2>/dev/null || true; fi
    rm -rf "$dir"
}
trap cleanup EXIT
fail() {
    echo "gateway smoke test FAILED: $1" >&2
    tail -n 40 "$2" >&2
    exit 1
}

status=0
"$@" "$binary" > "$dir/usage.txt" 2>&1 || status=$?
[ "$status" -eq 1 ] || fail "no arguments: exit $status, not 1" "$dir/usage.txt"
grep -q "^Usage age: $binary " "$dir/usage.txt" || fail "no usage line" "$dir/usage.txt"

service() { echo "{\"socketType\": 2, \"protocolType\": \"$1\", \"listenIp\": \"127.0.0.1\", \"listenPort\": 0}"; }
client() { echo "{\"serviceName\": \"$1\", \"serviceId\": $2, \"socketType\": \"udp\", \"remoteIp\": \"127.0.0.1\", \"remotePort\": 9}"; }
config="{\"log\": {\"level\": \"Info\", \"file\": \"$dir/aiService.log\"},
 \"serviceEntity\": [$(service xolt), $(service protobuf)],
 \"clientEntity\": [$(client app 0), $(client transmit 2)]}"

: > "$dir/out.txt"
"$@" "$binary" "$config" 0 > "$dir/out.txt" 2>&1 &
pid=$!
for _ in $(seq 100); do
    [ "$(grep -c "Success to init udp server" "$dir/out.txt")" -eq 2 ] && break
    kill -0 "$pid" 2>/dev/null || fail "the gateway ended during start-up" "$dir/out.txt"
    sleep 0.1
done
[ "$(grep -c "Success to init udp server" "$dir/out.txt")" -eq 2 ] || fail "listeners not open within 10 s" "$dir/out.txt"
grep -q "Set cpu list, cmd:taskset -p 1 $pid" "$dir/out.txt" || fail "no pinning command for pid $pid" "$dir/out.txt"

kill -TERM "$pid"
for _ in $(seq 50); do
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
done
kill -0 "$pid" 2>/dev/null && fail "still running 5 s after SIGTERM" "$dir/out.txt"
status=0
wait "$pid" || status=$?
pid=""
[ "$status" -eq $((128 + 15)) ] || fail "ended with status $status, not by SIGTERM" "$dir/out.txt"
echo "gateway smoke test of $binary: usage, start-up, CPU pinning and SIGTERM all as expected"
