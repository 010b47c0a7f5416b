# For the scripts that start the gateway on loopback (tools/demo.sh,
# tools/dist/test-dist.sh): the session of every family, and stopping what
# the script started. Ports are asked of the simulator (lumbrix-sim ports).
# Sourced by bash.

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
    grep -qF -- "$text" "$1" || { echo "no \"$text\" in:"; cat "$1"; return 1; }
  done
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
