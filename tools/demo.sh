#!/usr/bin/env bash
# The gateway at work on a machine with no radio and no App: starts the
# gateway and the simulated radio side on loopback, runs a scripted App
# session through every family of messages, and prints a transcript of each
# step (the App's request, the frames between gateway and radio in hex, the
# gateway's answer). Stops everything it started, whatever happens.
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
STEP_TIMEOUT_MS=2000

for binary in "$GATEWAY" "$SIM"; do
  if [ ! -x "$binary" ]; then
    echo "demo: $binary is missing; build first (make demo does)" >&2
    exit 2
  fi
done
if [ -n "$PCAP_OUT" ] && ! command -v mergecap > /dev/null; then
  echo "demo: LUMBRIX_DEMO_PCAP needs mergecap (Debian package wireshark-common)" >&2
  exit 2
fi

WORK=$(mktemp -d "${TMPDIR:-/tmp}/lumbrix-demo.XXXXXX")
PIDS=()

# Every process the demo started in the background goes, TERM first, then
# KILL for one that is still there after a second.
cleanup() {
  stop_processes "${PIDS[@]}"
  PIDS=()
  rm -rf "$WORK"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

# run_session, holds, stop_processes
. "$(dirname "$0")/lib/loopback.sh"

# The gateway's link service, the radio side (where the "transmit" client
# sends), the gateway's App service, the App (where the "app" client sends).
read -r XOLT_PORT RADIO_PORT PROTOBUF_PORT APP_PORT < <("$SIM" ports free 4)
CONFIG="$WORK/lumbrix.json"
RECORD=""
[ -z "$RECORD_OUT" ] || RECORD=", \"record\": {\"enable\": true, \"file\": \"$RECORD_OUT\"}"
cat > "$CONFIG" << EOF
{
  "serviceEntity": [
    {"enable": true, "socketType": 2, "protocolType": "xolt", "listenIp": "127.0.0.1", "listenPort": $XOLT_PORT},
    {"enable": true, "socketType": 2, "protocolType": "protobuf", "listenIp": "127.0.0.1", "listenPort": $PROTOBUF_PORT}
  ],
  "clientEntity": [
    {"enable": true, "serviceName": "transmit", "serviceId": 2, "socketType": "udp",
     "remoteIp": "127.0.0.1", "remotePort": $RADIO_PORT},
    {"enable": true, "serviceName": "app", "serviceId": 0, "socketType": "udp",
     "remoteIp": "127.0.0.1", "remotePort": $APP_PORT, "localIp": "127.0.0.1", "localPort": 0}
  ],
  "log": {"level": "Info", "file": "$WORK/aiService.log", "fileCnt": 2, "logMode": 0, "fileSize": 4194304,
          "logExternalEnable": false, "logExternalPath": "$WORK/card/", "logExternalImagePath": "$WORK/card/images/",
          "logTransmitUrl": "$WORK/"}$RECORD
}
EOF

PCAP_DIR="$WORK/pcap"
mkdir -p "$PCAP_DIR"
CAPTURES=0
# PCAP_ARGS: --pcap FILE for the next simulator process, when a capture is
# asked for (each process writes its own file; they are merged at the end).
pcap_args() {
  PCAP_ARGS=()
  [ -n "$PCAP_OUT" ] || return 0
  CAPTURES=$((CAPTURES + 1))
  PCAP_ARGS=(--pcap "$(printf '%s/%03d-%s.pcap' "$PCAP_DIR" "$CAPTURES" "$1")")
}

section() {
  printf '\n==== %s ====\n' "$1"
}

rule() {
  printf '\n---- %s ----\n' "$1"
}

echo "Lumbrix demo: gateway and simulated radio on 127.0.0.1"
echo "  gateway link service  :$XOLT_PORT   <- radio frames"
echo "  simulated radio       :$RADIO_PORT   <- frames from the gateway's \"transmit\" client"
echo "  gateway App service   :$PROTOBUF_PORT   <- App requests"
echo "  simulated App         :$APP_PORT   <- answers from the gateway's \"app\" client"

# At level Info the gateway flushes its standard output with every log
# line, so its own printed lines (the bad-CRC one) show without delay.
"$GATEWAY" "$CONFIG" > "$WORK/gateway.out" 2>&1 &
GATEWAY_PID=$!
PIDS+=($GATEWAY_PID)
if ! "$SIM" ports wait "$XOLT_PORT" "$PROTOBUF_PORT"; then
  echo "demo: the gateway did not come up; its output:" >&2
  tail -20 "$WORK/gateway.out" >&2
  exit 1
fi
pcap_args radio
"$SIM" radio --config "$CONFIG" --duration 600000 "${PCAP_ARGS[@]}" > "$WORK/radio.out" 2>&1 &
RADIO_PID=$!
PIDS+=($RADIO_PID)
if ! "$SIM" ports wait "$RADIO_PORT"; then
  echo "demo: the simulated radio did not come up; its output:" >&2
  cat "$WORK/radio.out" >&2
  exit 1
fi

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

# step TITLE TEXTS [APP OPTIONS] COMMAND ARGS...: one App request through
# the gateway, with the radio side's frames between request and answer.
step() {
  local title=$1 texts=$2 rc radio_lines
  shift 2
  STEPS=$((STEPS + 1))
  SEQUENCE=$((SEQUENCE + 1))
  rule "$STEPS. $title"
  echo "\$ lumbrix-sim app $*"
  radio_lines=$(wc -l < "$WORK/radio.out")
  pcap_args "app"
  timeout 15 "$SIM" app --config "$CONFIG" --seq "$SEQUENCE" --timeout "$STEP_TIMEOUT_MS" "${PCAP_ARGS[@]}" "$@" \
    > "$WORK/step.out" 2> "$WORK/step.err"
  rc=$?
  [ $rc -ne 0 ] || holds "$WORK/step.out" "$texts" > "$WORK/holds.out" || rc=1
  settle "$WORK/radio.out"
  # The request, then what crossed the radio link, then the answer.
  awk '/^(<--|\(no answer)/ { exit } { print }' "$WORK/step.out"
  tail -n +"$((radio_lines + 1))" "$WORK/radio.out"
  awk 'found || /^(<--|\(no answer)/ { found = 1; print }' "$WORK/step.out"
  sed 's/^/  (app) /' "$WORK/step.err"
  [ $rc -ne 1 ] || head -1 "$WORK/holds.out"
  if [ $rc -ne 0 ]; then
    FAILED=$((FAILED + 1))
    echo "!! step failed: exit code $rc"
    gateway_alive
  fi
}

# Ends the demo when the gateway is gone, with its last words.
gateway_alive() {
  kill -0 "$GATEWAY_PID" 2> /dev/null && return 0
  echo "!! the gateway has stopped; the end of its output:"
  tail -20 "$WORK/gateway.out"
  exit 1
}

run_session "$(dirname "$0")/../kit/every-family.session" step section

section "Reports from the radio side (msgids 150, 144, 182) and a frame with a bad CRC"
STEPS=$((STEPS + 1))
echo "\$ lumbrix-sim app listen --count 8 &  lumbrix-sim radio --reports 150 --rounds 2 --bad-crc"
pcap_args "listen"
timeout 15 "$SIM" app --config "$CONFIG" --duration 5000 --count 8 "${PCAP_ARGS[@]}" listen \
  > "$WORK/listen.out" 2> "$WORK/listen.err" &
LISTENER=$!
PIDS+=($LISTENER)
"$SIM" ports wait "$APP_PORT" || true
gateway_lines=$(wc -l < "$WORK/gateway.out")
pcap_args "reports"
timeout 15 "$SIM" radio --config "$CONFIG" --listen 127.0.0.1:0 --reports 150 --rounds 2 --bad-crc "${PCAP_ARGS[@]}" \
  > "$WORK/reports.out" 2>&1
wait "$LISTENER"
rc=$?
grep -v '^radio: ' "$WORK/reports.out"
echo "gateway (standard output):"
tail -n +"$((gateway_lines + 1))" "$WORK/gateway.out" | grep -a 'XOLT_FRAMING_BAD_CRC' | sed 's/^/  /'
cat "$WORK/listen.out"
sed 's/^/  (app) /' "$WORK/listen.err"
if [ $rc -ne 0 ]; then
  FAILED=$((FAILED + 1))
  echo "!! step failed: exit code $rc"
fi

if [ -n "$PCAP_OUT" ]; then
  # Every simulator process wrote its own capture; closing the radio lets
  # its file end cleanly before the merge.
  kill -TERM "$RADIO_PID" 2> /dev/null
  wait "$RADIO_PID" 2> /dev/null
  mergecap -w "$PCAP_OUT" "$PCAP_DIR"/*.pcap
  printf 'XOLT_PORT=%s\nRADIO_PORT=%s\nPROTOBUF_PORT=%s\nAPP_PORT=%s\n' \
    "$XOLT_PORT" "$RADIO_PORT" "$PROTOBUF_PORT" "$APP_PORT" > "$PCAP_OUT.ports"
  echo
  echo "capture of the session: $PCAP_OUT"
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
