#!/usr/bin/env bash
# Runs every fuzz target of a fuzz build for a bounded time and fails on any
# finding (crash, sanitizer report, leak, time-out, out-of-memory).
#
#   fuzz/run-fuzzers.sh BUILD_DIR SECONDS [TARGET...]
#
# Each target starts from the seeds it writes (FUZZ_SEED_DIR), the inputs
# kept in fuzz/corpus/<name>/ (regressions among them) and what earlier runs
# in BUILD_DIR found; new inputs go to BUILD_DIR/fuzz-corpus/<name>/. A finding
# is written to BUILD_DIR/fuzz-findings/ and reproduces with
#   BUILD_DIR/fuzz/fuzz_<name> /absolute/path/of/the/finding
# (absolute: the targets work in a directory of their own).
set -uo pipefail

here="$(cd "$(dirname "$0")" && pwd)"
build="$(cd "$1" && pwd)"
seconds="$2"
shift 2
targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  targets=(xolt_parser radio_to_app app_to_radio config)
fi

mkdir -p "$build/fuzz-findings"

# Reports fail the target; leaks are checked at exit and per input. The
# resident memory of a long run grows with the allocation stacks the address
# sanitizer keeps (deep JSON nesting makes many distinct ones), hence the
# generous -rss_limit_mb below.
export ASAN_OPTIONS="${ASAN_OPTIONS:-abort_on_error=1:detect_leaks=1:allocator_may_return_null=0}"
export UBSAN_OPTIONS="${UBSAN_OPTIONS:-halt_on_error=1:abort_on_error=1:print_stacktrace=1}"

# One target: its run, then its summary in its own file so that targets
# running side by side do not mix their lines.
run_target() {
  local name="$1" binary="$build/fuzz/fuzz_$1" work="$build/fuzz-corpus/$1"
  local log="$build/fuzz-findings/$1.log" kept=() dict=() start status
  mkdir -p "$work"
  rm -rf "$build/fuzz-seeds/$name" # written afresh by the target: no seed of an older one stays
  [ -d "$here/corpus/$name" ] && kept=("$here/corpus/$name")
  [ -f "$here/dict/$name.dict" ] && dict=(-dict="$here/dict/$name.dict")
  start=$(date +%s)
  FUZZ_SEED_DIR="$build/fuzz-seeds/$name" "$binary" -max_total_time="$seconds" -timeout=10 -rss_limit_mb=4096 -max_len=4096 \
    -close_fd_mask=1 -print_final_stats=1 -artifact_prefix="$build/fuzz-findings/$name-" \
    "${dict[@]}" "$work" "$build/fuzz-seeds/$name" "${kept[@]}" >"$log" 2>&1
  status=$?
  local elapsed=$(( $(date +%s) - start )) units
  units=$(grep -a -m 1 "^stat::number_of_executed_units" "$log" | awk '{print $2}')
  {
    echo "=== fuzz_$name: ${seconds}s"
    echo "    ${units:-0} inputs run, $(( ${units:-0} / (elapsed > 0 ? elapsed : 1) )) inputs a second"
    grep -a -m 1 -E "^stat::peak_rss_mb" "$log" || true
    echo "    corpus: $(ls "$work" | wc -l) inputs, ${elapsed}s, exit status $status"
    if [ $status -ne 0 ]; then
      echo "!!! fuzz_$name found a problem ($log):"
      grep -a -m 8 -E "runtime error|ERROR: |SUMMARY: |Test unit written|^0x" "$log"
      echo "--- end of its log:"
      tail -n 30 "$log"
    fi
  } >"$log.summary"
  return $status
}

# As many targets at a time as there are CPUs (FUZZ_JOBS to choose).
jobs="${FUZZ_JOBS:-$(nproc 2>/dev/null || echo 1)}"
failed=()
for (( i = 0; i < ${#targets[@]}; i += jobs )); do
  batch=("${targets[@]:i:jobs}")
  pids=()
  for name in "${batch[@]}"; do
    run_target "$name" &
    pids+=($!)
  done
  for k in "${!batch[@]}"; do
    wait "${pids[$k]}" || failed+=("${batch[$k]}")
    cat "$build/fuzz-findings/${batch[$k]}.log.summary"
  done
done

echo "fuzz: $(( ${#targets[@]} - ${#failed[@]} )) passed, ${#failed[@]} failed"
if [ ${#failed[@]} -ne 0 ]; then
  echo "targets with findings: ${failed[*]}"
  exit 1
fi
