#!/bin/sh
# Installs this package on a controller through adb, from a desk:
#
#   sh install.sh [--dir DIR] [--tz RULE] [--start]
#
# Makes DIR (default /data/local/tmp/lumbrix) and DIR/log on the device,
# pushes the gateway, the simulator, lumbrix.json, lumbrix.rc and
# lumbrix-ctl.sh there with every path set to DIR and the time zone to RULE
# (a POSIX TZ rule, default CST-8), and makes the programs executable. With
# --start it then (re)starts the gateway through lumbrix-ctl.sh. ADB names
# the adb program (default adb); ANDROID_SERIAL picks the device when more
# than one is attached. The commands run on the device are plain toybox ones.

set -eu
here=$(cd "$(dirname "$0")" && pwd)
dir=/data/local/tmp/lumbrix
tz=CST-8
start=no
adb=${ADB:-adb}

usage() {
    echo "usage: sh install.sh [--dir DIR] [--tz RULE] [--start]" >&2
    exit 2
}

while [ $# -gt 0 ]; do
    case $1 in
    --dir)
        [ $# -ge 2 ] || usage
        dir=$2
        shift 2
        ;;
    --tz)
        [ $# -ge 2 ] || usage
        tz=$2
        shift 2
        ;;
    --start)
        start=yes
        shift
        ;;
    -h | --help)
        sed -n '2,13s/^# \{0,1\}//p' "$0"
        exit 0
        ;;
    *)
        echo "install.sh: unknown argument '$1'" >&2
        usage
        ;;
    esac
done
# Both go into sed replacements and device command lines as they are.
case $dir in
/*[!A-Za-z0-9_./-]* | /) echo "install.sh: --dir '$dir': letters, digits and _ . / - only" >&2 && exit 2 ;;
/*) ;;
*) echo "install.sh: --dir '$dir' is not an absolute path" >&2 && exit 2 ;;
esac
case $tz in
'' | *[!A-Za-z0-9+,.:/\<\>-]*) echo "install.sh: --tz '$tz' is not a POSIX TZ rule" >&2 && exit 2 ;;
esac
for file in lumbrix lumbrix-sim lumbrix.json lumbrix.rc lumbrix-ctl.sh; do
    if [ ! -f "$here/$file" ]; then
        echo "install.sh: $here/$file is missing" >&2
        exit 2
    fi
done

stage=$(mktemp -d "${TMPDIR:-/tmp}/lumbrix-install.XXXXXX")
trap 'rm -rf "$stage"' EXIT
trap 'exit 130' INT TERM
# The packaged files name /data/local/tmp/lumbrix and CST-8.
sed "s#/data/local/tmp/lumbrix#$dir#g" "$here/lumbrix.json" > "$stage/lumbrix.json"
sed -e "s#/data/local/tmp/lumbrix#$dir#g" -e "s#^\( *setenv TZ \).*#\1$tz#" "$here/lumbrix.rc" > "$stage/lumbrix.rc"
sed "s#^tz=.*#tz=$tz#" "$here/lumbrix-ctl.sh" > "$stage/lumbrix-ctl.sh"

echo "install.sh: installing into $dir"
$adb shell "mkdir -p $dir/log"
$adb push "$here/lumbrix" "$here/lumbrix-sim" "$stage/lumbrix.json" "$stage/lumbrix.rc" "$stage/lumbrix-ctl.sh" "$dir/"
$adb shell "chmod 755 $dir/lumbrix $dir/lumbrix-sim $dir/lumbrix-ctl.sh"
if [ $start = yes ]; then
    $adb shell "sh $dir/lumbrix-ctl.sh restart"
else
    echo "install.sh: start it with: $adb shell sh $dir/lumbrix-ctl.sh start"
fi
