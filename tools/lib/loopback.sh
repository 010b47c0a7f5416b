# For the scripts that start the gateway on loopback (tools/demo.sh,
# tools/dist/test-dist.sh): UDP ports on this machine and stopping what the
# script started. Sourced by bash.

# True when something on this machine has the UDP port bound.
udp_bound() {
  local hex
  hex=$(printf ':%04X' "$1")
  awk -v p="$hex" 'NR > 1 && substr($2, length($2) - 4) == p { found = 1 } END { exit !found }' \
    /proc/net/udp /proc/net/udp6 2> /dev/null
}

# Waits up to about 5 s for the ports to be bound.
wait_bound() {
  local tries=0 port missing
  while [ $tries -lt 100 ]; do
    missing=0
    for port in "$@"; do
      udp_bound "$port" || missing=1
    done
    [ $missing = 0 ] && return 0
    sleep 0.05
    tries=$((tries + 1))
  done
  return 1
}

# Four free ports in a row between 25300 and 25999, from a random start.
pick_ports() {
  local base tries=0
  base=$((25300 + (RANDOM % 170) * 4))
  while [ $tries -lt 170 ]; do
    if ! udp_bound $base && ! udp_bound $((base + 1)) && ! udp_bound $((base + 2)) && ! udp_bound $((base + 3)); then
      echo $base
      return 0
    fi
    base=$((base + 4))
    [ $base -gt 25996 ] && base=25300
    tries=$((tries + 1))
  done
  return 1
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
