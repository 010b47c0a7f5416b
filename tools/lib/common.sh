# What the scripts of tools/ share: a work directory that goes at exit with
# the processes they started, a gateway configuration on free ports, the
# session of every family, and counted checks. Ports are asked of the
# simulator (lumbrix-sim ports). Sourced by bash.

# work_dir NAME: WORK, a new temporary directory. At exit the commands of
# ON_EXIT run when set, every process in PIDS is stopped (TERM, then KILL
# after a second), and WORK goes.
work_dir() {
  WORK=$(mktemp -d "${TMPDIR:-/tmp}/lumbrix-$1.XXXXXX")
  PIDS=()
  trap 'eval "${ON_EXIT:-}"; stop_processes "${PIDS[@]}"; rm -rf "$WORK"' EXIT
  trap 'exit 130' INT TERM
}

# stop_processes PID...: TERM to each, then KILL to any still there after a
# second; children of the calling shell are reaped.
stop_processes() {
  local pid tries
  for pid in "$@"; do
    kill -TERM "$pid" 2> /dev/null
  done
  for pid in "$@"; do
    tries=0
    while kill -0 "$pid" 2> /dev/null && [ $tries -lt 20 ]; do
      sleep 0.05
      tries=$((tries + 1))
    done
    kill -KILL "$pid" 2> /dev/null
    wait "$pid" 2> /dev/null
  done
}

# free_ports_config SIM... -- SOURCE DEST [SED-ARGUMENT...]: DEST is SOURCE, a
# gateway configuration on the ports of config/lumbrix.json, on four free
# ports (the App client's own port the kernel's choice), edited further by
# the sed arguments; sets XOLT_PORT (the link service), RADIO_PORT (where the
# "transmit" client sends), PROTOBUF_PORT (the App service) and APP_PORT
# (where the "app" client sends).
free_ports_config() {
  local sim=()
  while [ "$1" != -- ]; do
    sim+=("$1")
    shift
  done
  read -r XOLT_PORT RADIO_PORT PROTOBUF_PORT APP_PORT < <("${sim[@]}" ports free 4)
  sed -e "s/25100/$XOLT_PORT/" -e "s/25101/$RADIO_PORT/" -e "s/25200/$PROTOBUF_PORT/" -e "s/25201/$APP_PORT/" \
    -e "s/25202/0/" "${@:4}" "$2" > "$3"
}

# run_session FILE STEP SECTION: for every request of the session file,
# STEP TITLE TEXTS WORDS... (the words after "lumbrix-sim app", the texts its
# output must hold, separated by ";"); for every section line SECTION TITLE.
run_session() {
  local title words texts
  while IFS='|' read -r -u 3 title words texts; do
    case $title in
      '## '*) "$3" "${title#'## '}" ;;
      '#'* | '') ;;
      *) "$2" "$(echo $title)" "$texts" $words ;;
    esac
  done 3< "$1"
}

# holds FILE TEXTS: the file holds every text of the list (";" between them).
holds() {
  local text
  IFS=';' read -r -a texts <<< "$2"
  for text in "${texts[@]}"; do
    text=$(echo "$text" | sed 's/^ *//; s/ *$//')
    contains "$1" "$text" || return 1
  done
}

# contains FILE TEXT: the file holds the text (a fixed string); lacks FILE
# TEXT: it does not (in any case).
contains() {
  grep -qF -- "$2" "$1" || { tail -15 "$1"; echo "no \"$2\" in $1"; return 1; }
}
lacks() {
  if grep -iF -- "$2" "$1" | head -5 | grep .; then return 1; fi
}

# check DESCRIPTION COMMAND...: runs the command, counts and prints the
# result; checks_passed prints the counts and fails when a check failed.
PASSED=0
FAILED=0
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
checks_passed() {
  echo "${1:-}$PASSED passed, $FAILED failed"
  [ $FAILED -eq 0 ]
}
