#!/usr/bin/env bash
# Checks the Wireshark dissector against a real session: runs the demo with a
# capture (tools/demo.sh, LUMBRIX_DEMO_PCAP), decodes the capture with tshark
# and lumbrix.lua (with the link tables BUILD_DIR/xolt-catalogue.lua), and
# looks for every message family, its payload fields, the App bodies and the
# deliberately broken CRC shown as bad.
#
#   tools/wireshark/test-dissector.sh [BUILD_DIR]   (make test-dissector)
set -u

BUILD_DIR=$(cd "${1:-build}" 2> /dev/null && pwd) || { echo "test-dissector: no build directory ${1:-build}" >&2; exit 2; }
HERE=$(cd "$(dirname "$0")" && pwd)
ROOT=$(cd "$HERE/../.." && pwd)
for tool in tshark mergecap; do
  if ! command -v $tool > /dev/null; then
    echo "test-dissector: $tool is missing (make test-dissector installs it)" >&2
    exit 2
  fi
done

# work_dir, check, contains, lacks
. "$ROOT/tools/lib/common.sh"
work_dir dissector
if ! LUMBRIX_DEMO_PCAP="$WORK/session.pcap" LUMBRIX_DEMO_RECORD="$WORK/gateway.pcap" "$ROOT/tools/demo.sh" "$BUILD_DIR" > "$WORK/demo.txt" 2>&1; then
  echo "test-dissector: the demo session failed:" >&2
  tail -40 "$WORK/demo.txt" >&2
  exit 1
fi
# shellcheck disable=SC1091
. "$WORK/session.pcap.ports"

cd "$WORK" || exit 2
TSHARK=(tshark -r session.pcap -X "lua_script:$HERE/lumbrix.lua" -X "lua_script1:$BUILD_DIR/xolt-catalogue.lua"
  -o "xolt.ports:$XOLT_PORT,$RADIO_PORT" -o "quelby.ports:$PROTOBUF_PORT,$APP_PORT"
  -o 'uat:protobuf_search_paths:"/usr/include","FALSE"'
  -o "uat:protobuf_search_paths:\"$ROOT/src/msgHandle/proto\",\"TRUE\"")
"${TSHARK[@]}" > summary.txt 2> tshark.err
"${TSHARK[@]}" -V > decoded.txt 2>> tshark.err
# The gateway's own recording of the session, listed the same way.
"${TSHARK[@]}" -T fields -e _ws.col.Info 2>> tshark.err | sort > session.info
TSHARK[2]=gateway.pcap
"${TSHARK[@]}" -T fields -e _ws.col.Info 2>> tshark.err | sort > gateway.info
comm -23 session.info gateway.info > unrecorded.txt

check "the script loads and runs cleanly" lacks tshark.err "error"
check "no Lua error in any packet" lacks decoded.txt "Lua Error"
check "no malformed packet" lacks decoded.txt "Malformed"

echo "-- link frames: header, checksums, names and payload fields"
check "header fields" contains decoded.txt "Destination: DEV_RC (14)"
check "header checksum shown as good" contains decoded.txt "Header checksum status: Good (1)"
check "CRC shown as good" contains decoded.txt "CRC status: Good (1)"
check "RC settings request" contains summary.txt "GW→RC 150 RC settings RC_CMD_GET_GIMBAL_SPEED"
check "RC settings answer field" contains decoded.txt "speed: 60"
check "rocker mode answer" contains summary.txt "RC→GW 150 RC settings RC_CMD_GET_MODE"
check "set-gimbal-speed CRC closed with 150" contains decoded.txt "Good only with CRC extra 150"
check "calibration request" contains decoded.txt "cmd: RC_CMD_CALIBRATION (13)"
check "calibration state report" contains decoded.txt "midvalidflag: 1"
check "system time on the command channel" contains decoded.txt "utctimeinterval: 1700000000"
check "system time acknowledgement" contains summary.txt "RC→GW 110 Command acknowledgement RC system time"
check "drone UTC time" contains decoded.txt "gps_time: 1700000000000"
check "nest command" contains summary.txt "GW→NEST 182 Nest command NEST_CMD_HATCH_CONTROL"
check "nest command fields" contains decoded.txt "unixtime: 1700000000"
check "nest acknowledgement" contains summary.txt "NEST→GW 183 Nest command acknowledgement NEST_CMD_HATCH_CONTROL"
check "virtual sticks" contains decoded.txt "rightvertical: 100"
check "pairing request" contains summary.txt "GW→RC 200 AT command REQUEST_PAIR"
check "pairing progress" contains decoded.txt "progress: 100"
check "quick match" contains decoded.txt "choice: 2"
check "version query" contains summary.txt "GW→RC 219 Version query"
check "version answer" contains decoded.txt "transmitter version: TX-1.4.2"
check "stick state report" contains decoded.txt "rightvertical: 660"
check "RC state report" contains decoded.txt "chargingvoltage: 8400"
check "key event" contains decoded.txt "key_id: zoom in (9)"
check "nest status report" contains decoded.txt "pressure: 101325"
check "nest battery report" contains decoded.txt "cellvoltage6: 4181"
check "bad CRC in the list" contains summary.txt "RC→GW 144 RC key event key photo [BAD CRC]"
check "bad CRC shown as bad" contains decoded.txt "CRC status: Bad (0)"
check "bad CRC expert info" contains decoded.txt "[Expert Info (Error/Checksum): Bad CRC]"

echo "-- the gateway's own recording: every datagram the simulators saw, decoded the same"
check "recording decoded" contains gateway.info "PARAM_GET_MSG response seq 101 (Remote) SUCCESS"
check "bad CRC in the recording" contains gateway.info "RC→GW 144 RC key event key photo [BAD CRC]"
check "nothing missing from the recording" lacks unrecorded.txt ""

echo "-- App envelopes: header and bodies through the App protocol"
check "request header" contains summary.txt "PARAM_GET_MSG request seq 101 (App)"
check "answer header" contains summary.txt "PARAM_GET_MSG response seq 101 (Remote) SUCCESS"
check "envelope through protobuf" contains decoded.txt "message_id = NEST_CABIN_CONTROL_MSG(786433) (enum)"
check "request body" contains decoded.txt "Field(2): nestaction = 2 (int32)"
check "answer data" contains decoded.txt "Answer data: DroneParamMessageResponse"
check "parameter value" contains decoded.txt "Field(1): value = 60 (int32)"
check "versions answer" contains decoded.txt "softwareversion = TX-1.4.2 (string)"
check "time acknowledgement" contains summary.txt "RC_SYSTEM_TIME_MSG response"
check "nest answer" contains summary.txt "NEST_CABIN_CONTROL_MSG response"
check "pairing progress report" contains decoded.txt "Report: ParameterInt32"
check "button event" contains decoded.txt "buttontype = RC_BUTTON_TYPE_ZOOM_IN(8) (enum)"
check "nest report" contains decoded.txt "Report: NestStatusInfoNtfy"

checks_passed
