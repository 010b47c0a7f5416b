#!/usr/bin/env bash
# The gateway at work on a machine with no radio and no App: starts the
# gateway (config/lumbrix.json on free ports) and the simulated radio side
# on loopback, runs a scripted App session through every family of
# messages, and prints a transcript of each step (the App's request, the
# frames between gateway and radio in hex, the gateway's answer). Stops
# everything it started, whatever happens.
#
#   tools/demo.sh [BUILD_DIR]        (make demo builds first, then runs this)
#
# LUMBRIX_DEMO_PCAP=FILE also writes the whole session into a capture file
# (needs mergecap), and FILE.ports the ports it used, as shell assignments.
# LUMBRIX_DEMO_RECORD=FILE has the gateway record the session itself there.
# Exit code 0 when every step got its answer.
set -u

BUILD_DIR=${1:-build}
GATEWAY="$BUILD_DIR/lumbrix"
SIM="$BUILD_DIR/lumbrix-sim"
PCAP_OUT=${LUMBRIX_DEMO_PCAP:-}
RECORD_OUT=${LUMBRIX_DEMO_RECORD:-}
HERE=$(dirname "$0")

for binary in "$GATEWAY" "$SIM"; do
  [ -x "$binary" ] || { echo "demo: $binary is missing; build first (make demo does)" >&2; exit 2; }
done
if [ -n "$PCAP_OUT" ] && ! command -v mergecap > /dev/null; then
  echo "demo: LUMBRIX_DEMO_PCAP needs mergecap (Debian package wireshark-common)" >&2
  exit 2
fi

# work_dir, free_ports_config, run_session, holds
. "$HERE/lib/common.sh"
work_dir demo
mkdir -p "$WORK/log" "$WORK/pcap"
CONFIG="$WORK/lumbrix.json"
free_ports_config "$SIM" -- "$HERE/../config/lumbrix.json" "$CONFIG" -e "s#\"log/#\"$WORK/log/#" \
  -e "s#/tmp/SD0/#$WORK/card/#"
[ -z "$RECORD_OUT" ] || sed -i "\$ s#^}#  , \"record\": {\"enable\": true, \"file\": \"$RECORD_OUT\"}\n}#" "$CONFIG"

CAPTURES=0
# PCAP_ARGS: --pcap FILE for the next simulator process, when a capture is
# asked for (each process writes its own file; they are merged at the end).
pcap_args() {
  PCAP_ARGS=()
  [ -n "$PCAP_OUT" ] || return 0
  CAPTURES=$((CAPTURES + 1))
  PCAP_ARGS=(--pcap "$(printf '%s/pcap/%03d-%s.pcap' "$WORK" "$CAPTURES" "$1")")
}

# background NAME PORTS COMMAND...: the command in the background (output
# in WORK/NAME.out) once it holds the ports; the demo ends when it does not.
background() {
  local name=$1 ports=$2
  shift 2
  "$@" > "$WORK/$name.out" 2>&1 &
  PIDS+=($!)
  "$SIM" ports wait $ports && return 0
  echo "demo: the $name did not come up; its output:" >&2
  tail -20 "$WORK/$name.out" >&2
  exit 1
}

section() {
  printf '\n==== %s ====\n' "$1"
}

echo "Lumbrix demo: gateway and simulated radio on 127.0.0.1"
echo "  gateway link service  :$XOLT_PORT   <- radio frames"
echo "  simulated radio       :$RADIO_PORT   <- frames from the gateway's \"transmit\" client"
echo "  gateway App service   :$PROTOBUF_PORT   <- App requests"
echo "  simulated App         :$APP_PORT   <- answers from the gateway's \"app\" client"

# At level Info the gateway flushes its standard output with every log
# line, so its own printed lines (the bad-CRC one) show without delay.
background gateway "$XOLT_PORT $PROTOBUF_PORT" "$GATEWAY" "$CONFIG"
GATEWAY_PID=${PIDS[0]}
pcap_args radio
background radio "$RADIO_PORT" "$SIM" radio --config "$CONFIG" --duration 600000 "${PCAP_ARGS[@]}"
RADIO_PID=${PIDS[1]}

STEPS=0
FAILED=0
SEQUENCE=100

# Waits until the file stops growing (at most about half a second).
settle() {
  local size last=-1 tries=0
  while [ $tries -lt 20 ]; do
    size=$(wc -c < "$1")
    [ "$size" = "$last" ] && return 0
    last=$size
    sleep 0.03
    tries=$((tries + 1))
  done
}

# A failed step: counted, and the demo ends when the gateway is gone, with
# its last words.
failed() {
  FAILED=$((FAILED + 1))
  echo "!! step failed: exit code $1"
  kill -0 "$GATEWAY_PID" 2> /dev/null && return 0
  echo "!! the gateway has stopped; the end of its output:"
  tail -20 "$WORK/gateway.out"
  exit 1
}

# step TITLE TEXTS [APP OPTIONS] COMMAND ARGS...: one App request through
# the gateway, with the radio side's frames between request and answer.
step() {
  local title=$1 texts=$2 rc radio_lines
  shift 2
  STEPS=$((STEPS + 1))
  SEQUENCE=$((SEQUENCE + 1))
  printf '\n---- %s ----\n' "$STEPS. $title"
  echo "\$ lumbrix-sim app $*"
  radio_lines=$(wc -l < "$WORK/radio.out")
  pcap_args "app"
  timeout 15 "$SIM" app --config "$CONFIG" --seq "$SEQUENCE" --timeout 2000 "${PCAP_ARGS[@]}" "$@" \
    > "$WORK/step.out" 2> "$WORK/step.err"
  rc=$?
  [ $rc -ne 0 ] || holds "$WORK/step.out" "$texts" > "$WORK/holds.out" || rc=1
  settle "$WORK/radio.out"
  # The request, then what crossed the radio link, then the answer.
  awk '/^(<--|\(no answer)/ { exit } { print }' "$WORK/step.out"
  tail -n +"$((radio_lines + 1))" "$WORK/radio.out"
  awk 'found || /^(<--|\(no answer)/ { found = 1; print }' "$WORK/step.out"
  sed 's/^/  (app) /' "$WORK/step.err"
  [ $rc -ne 1 ] || tail -1 "$WORK/holds.out"
  [ $rc -eq 0 ] || failed $rc
}

run_session "$HERE/../kit/every-family.session" step section

section "Reports from the radio side (msgids 150, 144, 182) and a frame with a bad CRC"
STEPS=$((STEPS + 1))
echo "\$ lumbrix-sim app listen --count 8 &  lumbrix-sim radio --reports 150 --rounds 2 --bad-crc"
pcap_args "listen"
background listen "$APP_PORT" timeout 15 "$SIM" app --config "$CONFIG" --duration 5000 --count 8 \
  "${PCAP_ARGS[@]}" listen
gateway_lines=$(wc -l < "$WORK/gateway.out")
pcap_args "reports"
timeout 15 "$SIM" radio --config "$CONFIG" --listen 127.0.0.1:0 --reports 150 --rounds 2 --bad-crc "${PCAP_ARGS[@]}" \
  > "$WORK/reports.out" 2>&1
wait "${PIDS[2]}"
rc=$?
grep -v '^radio: ' "$WORK/reports.out"
echo "gateway (standard output):"
tail -n +"$((gateway_lines + 1))" "$WORK/gateway.out" | grep -a 'XOLT_FRAMING_BAD_CRC' | sed 's/^/  /'
cat "$WORK/listen.out"
[ $rc -eq 0 ] || failed $rc

if [ -n "$PCAP_OUT" ]; then
  # Every simulator process wrote its own capture; closing the radio lets
  # its file end cleanly before the merge.
  stop_processes "$RADIO_PID"
  mergecap -w "$PCAP_OUT" "$WORK"/pcap/*.pcap
  printf 'XOLT_PORT=%s\nRADIO_PORT=%s\nPROTOBUF_PORT=%s\nAPP_PORT=%s\n' \
    "$XOLT_PORT" "$RADIO_PORT" "$PROTOBUF_PORT" "$APP_PORT" > "$PCAP_OUT.ports"
  printf '\ncapture of the session: %s\n' "$PCAP_OUT"
fi

# The gateway's recorder writes what it holds within 100 ms.
[ -z "$RECORD_OUT" ] || sleep 0.3

section "Summary"
if [ $FAILED -eq 0 ]; then
  echo "$STEPS steps, every one answered as expected"
  exit 0
fi
echo "$STEPS steps, $FAILED failed"
exit 1
