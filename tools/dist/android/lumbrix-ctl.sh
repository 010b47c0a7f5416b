#!/system/bin/sh
# Starts and stops the gateway on the controller, from the directory this
# script is in:
#
#   sh lumbrix-ctl.sh start|stop|restart|status
#
# start runs ./lumbrix lumbrix.json in the background with the time zone
# below (a POSIX rule: the static C library finds no /etc/localtime on
# Android), throws its standard output away (the log file under log/ has
# every line) and keeps its process id in lumbrix.pid. stop sends SIGTERM,
# and SIGKILL when the gateway is still there 5 s later. status exits 0 when
# it runs, 3 when not. LUMBRIX_WRAPPER is put before the program, e.g.
# LUMBRIX_WRAPPER="taskset 3" pins it to CPUs 0 and 1 (the gateway's own CPU
# list needs /bin/sh, which Android lacks).
#
# Written for Android's /system/bin/sh with toybox; any POSIX shell will do.

tz=CST-8
dir=$(cd "$(dirname "$0")" && pwd) || exit 1
pidfile=$dir/lumbrix.pid
pid=

# True when the process in the pid file is this gateway (a process id may
# have been reused); pid is then set.
running() {
    [ -f "$pidfile" ] || return 1
    pid=$(cat "$pidfile")
    case $pid in
    '' | *[!0-9]*) return 1 ;;
    esac
    kill -0 "$pid" 2> /dev/null || return 1
    cmd=$(tr '\000' ' ' < "/proc/$pid/cmdline" 2> /dev/null)
    case $cmd in
    *"lumbrix lumbrix.json"*) return 0 ;;
    esac
    return 1
}

start() {
    if running; then
        echo "lumbrix-ctl: already running, pid $pid"
        return 0
    fi
    cd "$dir" || return 1
    mkdir -p log
    # shellcheck disable=SC2086 # the wrapper is a command with its arguments
    TZ=$tz nohup ${LUMBRIX_WRAPPER-} ./lumbrix lumbrix.json > /dev/null 2>&1 &
    echo $! > "$pidfile"
    # A configuration that does not load ends the gateway at once.
    sleep 1
    if running; then
        echo "lumbrix-ctl: started, pid $pid"
        return 0
    fi
    rm -f "$pidfile"
    echo "lumbrix-ctl: the gateway ended at start-up; see the log under $dir/log" >&2
    return 1
}

stop() {
    if ! running; then
        rm -f "$pidfile"
        echo "lumbrix-ctl: not running"
        return 0
    fi
    kill -TERM "$pid"
    tries=0
    while running && [ $tries -lt 50 ]; do
        sleep 0.1
        tries=$((tries + 1))
    done
    if running; then
        kill -KILL "$pid"
        echo "lumbrix-ctl: killed, pid $pid"
    else
        echo "lumbrix-ctl: stopped, pid $pid"
    fi
    rm -f "$pidfile"
    return 0
}

case ${1-} in
start) start ;;
stop) stop ;;
restart) stop && start ;;
status)
    if running; then
        echo "lumbrix-ctl: running, pid $pid"
        exit 0
    fi
    echo "lumbrix-ctl: not running"
    exit 3
    ;;
*)
    echo "usage: sh lumbrix-ctl.sh start|stop|restart|status" >&2
    exit 2
    ;;
esac
