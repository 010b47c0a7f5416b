#!/usr/bin/env bash
# Checks the Wireshark dissector against a real session: runs the demo with a
# capture (tools/demo.sh, LUMBRIX_DEMO_PCAP), decodes the capture with tshark
# and lumbrix.lua, and looks for every message family, its payload fields,
# the App bodies and the deliberately broken CRC shown as bad.
#
#   tools/wireshark/test-dissector.sh [BUILD_DIR]   (make test-dissector)
set -u

BUILD_DIR=${1:-build}
HERE=$(cd "$(dirname "$0")" && pwd)
ROOT=$(cd "$HERE/../.." && pwd)
for tool in tshark mergecap; do
  if ! command -v $tool > /dev/null; then
    echo "test-dissector: $tool is missing (make test-dissector installs it)" >&2
    exit 2
  fi
done

WORK=$(mktemp -d "${TMPDIR:-/tmp}/lumbrix-dissector.XXXXXX")
trap 'rm -rf "$WORK"' EXIT

if ! LUMBRIX_DEMO_PCAP="$WORK/session.pcap" LUMBRIX_DEMO_RECORD="$WORK/gateway.pcap" "$ROOT/tools/demo.sh" "$BUILD_DIR" > "$WORK/demo.txt" 2>&1; then
  echo "test-dissector: the demo session failed:" >&2
  tail -40 "$WORK/demo.txt" >&2
  exit 1
fi
# shellcheck disable=SC1091
. "$WORK/session.pcap.ports"

TSHARK=(tshark -r "$WORK/session.pcap" -X "lua_script:$HERE/lumbrix.lua"
  -o "xolt.ports:$XOLT_PORT,$RADIO_PORT" -o "quelby.ports:$PROTOBUF_PORT,$APP_PORT"
  -o 'uat:protobuf_search_paths:"/usr/include","FALSE"'
  -o "uat:protobuf_search_paths:\"$ROOT/src/msgHandle/proto\",\"TRUE\"")
"${TSHARK[@]}" > "$WORK/summary.txt" 2> "$WORK/tshark.err"
"${TSHARK[@]}" -V > "$WORK/decoded.txt" 2>> "$WORK/tshark.err"
# The gateway's own recording of the session, listed the same way.
"${TSHARK[@]}" -T fields -e _ws.col.Info 2>> "$WORK/tshark.err" | sort > "$WORK/session.info"
TSHARK[2]="$WORK/gateway.pcap"
"${TSHARK[@]}" -T fields -e _ws.col.Info 2>> "$WORK/tshark.err" | sort > "$WORK/gateway.info"
comm -23 "$WORK/session.info" "$WORK/gateway.info" > "$WORK/unrecorded.txt"

PASSED=0
FAILED=0
# expect WHAT FILE TEXT: the decoded output holds TEXT (a fixed string).
expect() {
  if grep -qF -- "$3" "$WORK/$2"; then
    PASSED=$((PASSED + 1))
    echo "ok    $1"
  else
    FAILED=$((FAILED + 1))
    echo "FAIL  $1: no \"$3\" in $2"
  fi
}
# refuse WHAT FILE TEXT: the output does not hold TEXT.
refuse() {
  if grep -qiF -- "$3" "$WORK/$2"; then
    FAILED=$((FAILED + 1))
    echo "FAIL  $1: \"$3\" in $2:"
    grep -iF -- "$3" "$WORK/$2" | head -5
  else
    PASSED=$((PASSED + 1))
    echo "ok    $1"
  fi
}

refuse "the script loads and runs cleanly" tshark.err "error"
refuse "no Lua error in any packet" decoded.txt "Lua Error"
refuse "no malformed packet" decoded.txt "Malformed"

echo "-- link frames: header, checksums, names and payload fields"
expect "header fields" decoded.txt "Destination: DEV_RC (14)"
expect "header checksum shown as good" decoded.txt "Header checksum status: Good (1)"
expect "CRC shown as good" decoded.txt "CRC status: Good (1)"
expect "RC settings request" summary.txt "GW→RC 150 RC settings RC_CMD_GET_GIMBAL_SPEED"
expect "RC settings answer field" decoded.txt "speed: 60"
expect "rocker mode answer" summary.txt "RC→GW 150 RC settings RC_CMD_GET_MODE"
expect "set-gimbal-speed CRC closed with 150" decoded.txt "Good only with CRC extra 150"
expect "calibration request" decoded.txt "cmd: RC_CMD_CALIBRATION (13)"
expect "calibration state report" decoded.txt "midvalidflag: 1"
expect "system time on the command channel" decoded.txt "utctimeinterval: 1700000000"
expect "system time acknowledgement" summary.txt "RC→GW 110 Command acknowledgement RC system time"
expect "drone UTC time" decoded.txt "gps_time: 1700000000000"
expect "nest command" summary.txt "GW→NEST 182 Nest command NEST_CMD_HATCH_CONTROL"
expect "nest command fields" decoded.txt "unixtime: 1700000000"
expect "nest acknowledgement" summary.txt "NEST→GW 183 Nest command acknowledgement NEST_CMD_HATCH_CONTROL"
expect "virtual sticks" decoded.txt "rightvertical: 100"
expect "pairing request" summary.txt "GW→RC 200 AT command REQUEST_PAIR"
expect "pairing progress" decoded.txt "progress: 100"
expect "quick match" decoded.txt "choice: 2"
expect "version query" summary.txt "GW→RC 219 Version query"
expect "version answer" decoded.txt "transmitter version: TX-1.4.2"
expect "stick state report" decoded.txt "rightvertical: 660"
expect "RC state report" decoded.txt "chargingvoltage: 8400"
expect "key event" decoded.txt "key_id: zoom in (9)"
expect "nest status report" decoded.txt "pressure: 101325"
expect "nest battery report" decoded.txt "cellvoltage6: 4181"
expect "bad CRC in the list" summary.txt "RC→GW 144 RC key event key photo [BAD CRC]"
expect "bad CRC shown as bad" decoded.txt "CRC status: Bad (0)"
expect "bad CRC expert info" decoded.txt "[Expert Info (Error/Checksum): Bad CRC]"

echo "-- the gateway's own recording: every datagram the simulators saw, decoded the same"
expect "recording decoded" gateway.info "PARAM_GET_MSG response seq 101 (Remote) SUCCESS"
expect "bad CRC in the recording" gateway.info "RC→GW 144 RC key event key photo [BAD CRC]"
refuse "nothing missing from the recording" unrecorded.txt ""

echo "-- App envelopes: header and bodies through the App protocol"
expect "request header" summary.txt "PARAM_GET_MSG request seq 101 (App)"
expect "answer header" summary.txt "PARAM_GET_MSG response seq 101 (Remote) SUCCESS"
expect "envelope through protobuf" decoded.txt "message_id = NEST_CABIN_CONTROL_MSG(786433) (enum)"
expect "request body" decoded.txt "Field(2): nestaction = 2 (int32)"
expect "answer data" decoded.txt "Answer data: DroneParamMessageResponse"
expect "parameter value" decoded.txt "Field(1): value = 60 (int32)"
expect "versions answer" decoded.txt "softwareversion = TX-1.4.2 (string)"
expect "time acknowledgement" summary.txt "RC_SYSTEM_TIME_MSG response"
expect "nest answer" summary.txt "NEST_CABIN_CONTROL_MSG response"
expect "pairing progress report" decoded.txt "Report: ParameterInt32"
expect "button event" decoded.txt "buttontype = RC_BUTTON_TYPE_ZOOM_IN(8) (enum)"
expect "nest report" decoded.txt "Report: NestStatusInfoNtfy"

echo "$PASSED passed, $FAILED failed"
[ $FAILED -eq 0 ]
