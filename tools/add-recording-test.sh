#!/bin/sh
# Turns a recording of the gateway into a regression test: copies the
# configuration of the gateway that made it and its capture files (the
# live file and its backups, any order) into tests/e2e/recordings/NAME/.
# e2e.SimulatorTest.RecordingsReplayAsRecorded replays every recording there
# against a freshly started gateway with lumbrix-sim replay --compare.
#
#   tools/add-recording-test.sh NAME CONFIG CAPTURE...
set -eu

if [ $# -lt 3 ]; then
  sed -n '2,9s/^# \{0,1\}//p' "$0" >&2
  exit 2
fi
NAME=$1
CONFIG=$2
shift 2
DIR=$(cd "$(dirname "$0")/.." && pwd)/tests/e2e/recordings/$NAME
if [ -e "$DIR" ]; then
  echo "add-recording-test: $DIR is there already" >&2
  exit 2
fi
mkdir -p "$DIR"
cp "$CONFIG" "$DIR/lumbrix.json"
for capture in "$@"; do
  cp "$capture" "$DIR/"
done
echo "added $DIR: make test replays it (e2e.SimulatorTest.RecordingsReplayAsRecorded)"
