#!/bin/sh
# Builds the controller's archive OUT_DIR/lumbrix-VERSION-ARCH.tar.gz (make
# dist-aarch64 runs it through CMake's dist target):
#
#   tools/dist/make-archive.sh OUT_DIR VERSION ARCH STRIP GATEWAY SIMULATOR
#
# The archive holds one directory, lumbrix-VERSION-ARCH/, with the gateway
# and the simulator stripped by STRIP, the files of tools/dist/android (the
# version written into INSTALL) and the controller's lumbrix.json, made from
# config/lumbrix.json with jq. Older archives of ARCH in OUT_DIR go, so that
# OUT_DIR holds the one of this build.
set -eu
if [ $# -ne 6 ]; then
    echo "usage: make-archive.sh OUT_DIR VERSION ARCH STRIP GATEWAY SIMULATOR" >&2
    exit 2
fi
out_dir=$1
version=$2
arch=$3
strip=$4
gateway=$5
simulator=$6
here=$(cd "$(dirname "$0")" && pwd)
name=lumbrix-$version-$arch

stage=$(mktemp -d "${TMPDIR:-/tmp}/lumbrix-dist.XXXXXX")
trap 'rm -rf "$stage"' EXIT
mkdir "$stage/$name"
"$strip" -o "$stage/$name/lumbrix" "$gateway"
"$strip" -o "$stage/$name/lumbrix-sim" "$simulator"
cp "$here/android/lumbrix.rc" "$here/android/install.sh" "$here/android/lumbrix-ctl.sh" "$stage/$name/"
# The desk's configuration with the controller's paths (install.sh moves
# /data/local/tmp/lumbrix where --dir says); written out, so that they are
# found where they are changed: the pruning keys of the log (their
# defaults), the recorder (off) and the counters (every 60 s).
jq --arg dir /data/local/tmp/lumbrix --arg card /sdcard/lumbrix/aiLog/ '
  .log += {file: "\($dir)/log/aiService.log", totalSize: 4194304, minFileCnt: 5, logExternalPath: $card,
           logExternalImagePath: "\($card)aiImageTest/", logTransmitUrl: "\($dir)/log/"}
  | .record = {enable: false, file: "\($dir)/log/lumbrix.pcap", fileSize: 8388608, fileCnt: 4}
  | .stats = {interval: 60}' "$here/../../config/lumbrix.json" > "$stage/$name/lumbrix.json"
sed "s/@VERSION@/$version/g" "$here/android/INSTALL" > "$stage/$name/INSTALL"
chmod 755 "$stage/$name/lumbrix" "$stage/$name/lumbrix-sim" "$stage/$name/install.sh" "$stage/$name/lumbrix-ctl.sh"
chmod 644 "$stage/$name/lumbrix.json" "$stage/$name/lumbrix.rc" "$stage/$name/INSTALL"

rm -f "$out_dir"/lumbrix-*-"$arch".tar.gz
tar -czf "$out_dir/$name.tar.gz" -C "$stage" --owner=0 --group=0 --sort=name "$name"
echo "make-archive: $out_dir/$name.tar.gz"
