#!/usr/bin/env bash
# The controller's archive put to work on this machine (make test-dist):
#
#   tools/dist/test-dist.sh [BUILD_DIR]     (default build-aarch64-static)
#
# Takes the one lumbrix-*-aarch64.tar.gz of BUILD_DIR, checks its contents,
# that its scripts pass sh -n (and dash -n), that both programs are static,
# stripped aarch64 executables of the archive's version, and what install.sh
# would do to a device (through a stand-in adb). Then, in a temporary
# directory, starts the packaged gateway with lumbrix-ctl.sh under qemu-user,
# on the packaged configuration with its paths moved into that directory and
# free ports, and the packaged simulator as radio side and App: one request of
# every family and a round of radio reports. Every wait is bounded, and
# whatever it started is stopped. Exit code 0 when every check passed.
set -u

BUILD_DIR=${1:-build-aarch64-static}
QEMU=${QEMU:-qemu-aarch64}
STEP_TIMEOUT_MS=5000
# run_session, holds, stop_processes
. "$(dirname "$0")/../lib/loopback.sh"

archives=("$BUILD_DIR"/lumbrix-*-aarch64.tar.gz)
if [ ${#archives[@]} -ne 1 ] || [ ! -f "${archives[0]}" ]; then
  echo "test-dist: no single lumbrix-*-aarch64.tar.gz in $BUILD_DIR (make dist-aarch64 builds it)" >&2
  exit 2
fi
for tool in "$QEMU" readelf dash; do
  command -v "$tool" > /dev/null || { echo "test-dist: $tool is missing" >&2; exit 2; }
done
ARCHIVE=${archives[0]}
NAME=$(basename "$ARCHIVE" .tar.gz)
VERSION=${NAME#lumbrix-}
VERSION=${VERSION%-aarch64}

WORK=$(mktemp -d "${TMPDIR:-/tmp}/lumbrix-test-dist.XXXXXX")
PKG=$WORK/$NAME
PIDS=()

# Stops the packaged gateway (started through lumbrix-ctl.sh, so not a child
# of this script) and every child left, TERM first, then KILL.
cleanup() {
  if [ -f "$PKG/lumbrix.pid" ]; then
    PIDS+=("$(cat "$PKG/lumbrix.pid")")
  fi
  stop_processes "${PIDS[@]}"
  rm -rf "$WORK"
}
trap cleanup EXIT
trap 'exit 130' INT TERM

PASSED=0
FAILED=0
# check DESCRIPTION COMMAND...: runs the command, counts and prints the result.
check() {
  local what=$1
  shift
  if "$@" > "$WORK/check.out" 2>&1; then
    PASSED=$((PASSED + 1))
    echo "ok    $what"
  else
    FAILED=$((FAILED + 1))
    echo "FAIL  $what"
    sed 's/^/      /' "$WORK/check.out" | tail -20
  fi
}

# contains FILE TEXT: the file holds the text (fixed string).
contains() {
  grep -qF -- "$2" "$1" || { echo "no \"$2\" in $1:"; cat "$1"; return 1; }
}

echo "test-dist: $ARCHIVE (version $VERSION)"

# ---- the archive
expected_contents() {
  printf '%s\n' "$NAME/" "$NAME/INSTALL" "$NAME/install.sh" "$NAME/lumbrix" "$NAME/lumbrix-ctl.sh" \
    "$NAME/lumbrix-sim" "$NAME/lumbrix.json" "$NAME/lumbrix.rc"
}
same_contents() {
  diff <(expected_contents) <(tar -tzf "$ARCHIVE" | LC_ALL=C sort)
}
check "the archive holds $NAME/ with the eight files" same_contents
tar -xzf "$ARCHIVE" -C "$WORK" || { echo "test-dist: cannot unpack $ARCHIVE" >&2; exit 1; }

for script in install.sh lumbrix-ctl.sh; do
  check "$script passes sh -n" sh -n "$PKG/$script"
  check "$script passes dash -n" dash -n "$PKG/$script"
  check "$script is executable" test -x "$PKG/$script"
done

# static_aarch64 FILE: an aarch64 executable with no program interpreter
# (static) and no symbol table (stripped).
static_aarch64() {
  readelf -h "$1" | grep -q 'Machine: *AArch64' || { echo "not aarch64"; return 1; }
  ! readelf -lW "$1" | grep -q INTERP || { echo "has a program interpreter"; return 1; }
  ! readelf -SW "$1" | grep -q '\.symtab' || { echo "not stripped"; return 1; }
}
check "lumbrix is a static, stripped aarch64 executable" static_aarch64 "$PKG/lumbrix"
check "lumbrix-sim is a static, stripped aarch64 executable" static_aarch64 "$PKG/lumbrix-sim"
sim_version() {
  [ "$("$QEMU" "$PKG/lumbrix-sim" --version)" = "lumbrix-sim $VERSION" ]
}
check "lumbrix-sim --version names $VERSION" sim_version
check "INSTALL names the version" contains "$PKG/INSTALL" "Lumbrix $VERSION for the remote controller"
check "the init service runs the gateway in group inet with a time zone" \
  grep -qzE 'service lumbrix /data/local/tmp/lumbrix/lumbrix /data/local/tmp/lumbrix/lumbrix.json
    class late_start
    user shell
    group inet
    setenv TZ CST-8' "$PKG/lumbrix.rc"
no_replay() {
  local code=0
  "$QEMU" "$PKG/lumbrix-sim" replay "$WORK/none.pcap" > "$WORK/replay.out" 2>&1 || code=$?
  [ $code -eq 2 ] && contains "$WORK/replay.out" "this build has no replay mode"
}
check "the device's simulator says it has no replay mode" no_replay

# ---- install.sh through a stand-in adb that logs its calls and keeps what is pushed
mkdir -p "$WORK/adb/pushed"
cat > "$WORK/adb/adb" << EOF
#!/bin/sh
echo "adb \$*" >> "$WORK/adb/calls"
if [ "\$1" = push ]; then
  shift
  while [ \$# -gt 1 ]; do cp "\$1" "$WORK/adb/pushed/"; shift; done
fi
EOF
chmod 755 "$WORK/adb/adb"
install_to_gw() {
  ADB="$WORK/adb/adb" sh "$PKG/install.sh" --dir /data/local/tmp/gw --tz EST5EDT
}
check "install.sh --dir /data/local/tmp/gw --tz EST5EDT runs" install_to_gw
installed() {
  local pushed=$WORK/adb/pushed
  contains "$WORK/adb/calls" "adb shell mkdir -p /data/local/tmp/gw/log" &&
    contains "$WORK/adb/calls" "adb push $PKG/lumbrix $PKG/lumbrix-sim " &&
    contains "$WORK/adb/calls" "/lumbrix-ctl.sh /data/local/tmp/gw/" &&
    contains "$WORK/adb/calls" \
      "adb shell chmod 755 /data/local/tmp/gw/lumbrix /data/local/tmp/gw/lumbrix-sim /data/local/tmp/gw/lumbrix-ctl.sh" &&
    contains "$pushed/lumbrix.json" '"file": "/data/local/tmp/gw/log/aiService.log"' &&
    contains "$pushed/lumbrix.json" '"logTransmitUrl": "/data/local/tmp/gw/log/"' &&
    contains "$pushed/lumbrix.rc" "service lumbrix /data/local/tmp/gw/lumbrix /data/local/tmp/gw/lumbrix.json" &&
    contains "$pushed/lumbrix.rc" "    setenv TZ EST5EDT" &&
    contains "$pushed/lumbrix-ctl.sh" "tz=EST5EDT" &&
    ! grep -q /data/local/tmp/lumbrix "$pushed/lumbrix.json" "$pushed/lumbrix.rc"
}
check "install.sh made the directory, pushed five files with DIR and the time zone in them, chmodded" installed

# ---- the packaged gateway and simulator at work
SIM=("$QEMU" "$PKG/lumbrix-sim")
read -r XOLT_PORT RADIO_PORT PROTOBUF_PORT APP_PORT < <("${SIM[@]}" ports free 4)
CONFIG=$PKG/lumbrix.json
sed -i -e "s#/data/local/tmp/lumbrix#$PKG#g" -e "s#/sdcard/lumbrix#$WORK/card#g" \
  -e "s/25100/$XOLT_PORT/" -e "s/25101/$RADIO_PORT/" -e "s/25200/$PROTOBUF_PORT/" -e "s/25201/$APP_PORT/" \
  -e "s/25202/0/" "$CONFIG"
ctl() {
  LUMBRIX_WRAPPER=$QEMU sh "$PKG/lumbrix-ctl.sh" "$@"
}
check "lumbrix-ctl.sh start starts the gateway" ctl start
check "the gateway listens on both services" "${SIM[@]}" ports wait "$XOLT_PORT" "$PROTOBUF_PORT"
LOG=$PKG/log/aiService.log
version_first() {
  # Only the logger's own start line may come before it.
  grep -v 'KSLog: start!' "$LOG" | head -1 | grep -qE "\[Error\] main\.cpp:[0-9]+ Lumbrix version $VERSION\$" ||
    { echo "the log begins:"; head -3 "$LOG"; return 1; }
}
check "the log begins with the version line" version_first
check "the counters are on, every 60 s" grep -q "Counters every 60 s" "$LOG"

"${SIM[@]}" radio --config "$CONFIG" --duration 120000 > "$WORK/radio.out" 2>&1 &
PIDS+=($!)
check "the packaged simulator stands in for the radio side" "${SIM[@]}" ports wait "$RADIO_PORT"

SEQUENCE=500
# app TEXTS WORDS...: one App request through the gateway and the simulated
# radio, answered with the texts.
app() {
  local texts=$1
  shift
  SEQUENCE=$((SEQUENCE + 1))
  timeout 30 "${SIM[@]}" app --config "$CONFIG" --seq "$SEQUENCE" --timeout "$STEP_TIMEOUT_MS" "$@" > "$WORK/app.out" &&
    holds "$WORK/app.out" "$texts"
}
request() {
  check "$1" app "${@:2}"
}
run_session "$(dirname "$0")/../../kit/every-family.session" request true
reports() {
  local listener code=0
  timeout 30 "${SIM[@]}" app --config "$CONFIG" --duration 10000 --count 4 listen > "$WORK/listen.out" 2>&1 &
  listener=$!
  "${SIM[@]}" ports wait "$APP_PORT" || return 1
  timeout 30 "${SIM[@]}" radio --config "$CONFIG" --listen 127.0.0.1:0 --reports 50 --rounds 1 > /dev/null 2>&1 ||
    code=$?
  wait "$listener" || code=$?
  [ $code -eq 0 ] && contains "$WORK/listen.out" RC_HARDWARE_STATE_NTFY && contains "$WORK/listen.out" RC_STATE_NTFY &&
    contains "$WORK/listen.out" RCHardwareButtonInfoNtfy && contains "$WORK/listen.out" NEST_STATUS_INFO_NTFY
}
check "radio reports: stick state, RC state, a key, a nest report" reports

check "lumbrix-ctl.sh status: running" ctl status
check "lumbrix-ctl.sh stop stops it" ctl stop
stopped() {
  local code=0
  ctl status || code=$?
  [ $code -eq 3 ] && [ ! -f "$PKG/lumbrix.pid" ] && ! "${SIM[@]}" ports held "$XOLT_PORT"
}
check "lumbrix-ctl.sh status: not running, and the port is free" stopped

echo "test-dist: $PASSED passed, $FAILED failed"
[ $FAILED -eq 0 ]
