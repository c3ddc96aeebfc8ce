#!/usr/bin/env bash
# Runs the libFuzzer harnesses (fuzz/) of the `fuzz` preset.
#
#   scripts/fuzz.sh ci [SECONDS]
#       every harness for SECONDS (default 60), all at once; any finding fails.
#   scripts/fuzz.sh campaign SECONDS [HARNESS...]
#       each harness in turn for SECONDS at the lowest priority, one process at
#       a time, going on after a finding; the corpus stays for the next campaign.
#   scripts/fuzz.sh case FINDING...
#       prints the golden corpus cases of findings (frames in wire form become
#       decode cases, records encode cases) for tests/data; fill in what the
#       fixed codec answers with PAVA_CORPUS_UPDATE=1 and review the diff.
#
# Findings (the inputs that broke an invariant, with the harness's log) are
# kept in build/fuzz/findings/; the working corpus in build/fuzz/corpus/.
set -euo pipefail
cd "$(dirname "$0")/.."

harnesses=(decode encode roundtrip)
out=${PAVA_FUZZ_OUT:-build/fuzz}
bin=${PAVA_FUZZ_BIN:-build/fuzz/fuzz}
# A small quarantine and no malloc fill: ASan still sees use after free of
# recent blocks, and the 8 KB frames stop dominating the run time.
export ASAN_OPTIONS="halt_on_error=1:abort_on_error=1:detect_leaks=1:max_malloc_fill_size=0:quarantine_size_mb=16${ASAN_OPTIONS:+:$ASAN_OPTIONS}"
export UBSAN_OPTIONS="halt_on_error=1:print_stacktrace=1${UBSAN_OPTIONS:+:$UBSAN_OPTIONS}"

build() {
  [ -n "${PAVA_FUZZ_NO_BUILD:-}" ] && return
  cmake --preset fuzz >/dev/null
  cmake --build --preset fuzz
}

seeds() {
  rm -rf "$out/seeds"
  python3 fuzz/make_seeds.py tests/data "$out/seeds"
}

# run HARNESS SECONDS LOG [extra libFuzzer flags]: one libFuzzer run; its status.
# An input normally runs in milliseconds; the timeout (wall clock) is generous
# because a campaign at the lowest priority on a busy machine can stall for seconds.
run() {
  local h=$1 seconds=$2 log=$3
  shift 3
  mkdir -p "$out/corpus/$h" "$out/findings"
  "$bin/fuzz_$h" -dict=fuzz/pava.dict -max_total_time="$seconds" -timeout="${timeout:-60}" -rss_limit_mb=2560 \
    -max_len=8400 -print_final_stats=1 -artifact_prefix="$out/findings/$h-" "$@" \
    "$out/corpus/$h" "$out/seeds/$h" >"$log" 2>&1
}

stats() {
  local h=$1 log=$2
  local execs cov
  execs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | grep -o '[0-9]*$' || echo 0)
  cov=$(grep -oE '(pulse|NEW|REDUCE|DONE|INITED) +cov: [0-9]+ ft: [0-9]+' "$log" | tail -1 | grep -oE 'cov: [0-9]+ ft: [0-9]+' || true)
  echo "$h: ${execs:-0} executions, ${cov:-no coverage line}"
}

case "${1:-ci}" in
  ci)
    seconds=${2:-60}
    build
    seeds
    pids=()
    for h in "${harnesses[@]}"; do
      run "$h" "$seconds" "$out/$h.log" & pids+=($!)
    done
    failed=0
    for i in "${!harnesses[@]}"; do
      h=${harnesses[$i]}
      if ! wait "${pids[$i]}"; then
        failed=1
        echo "fuzz_$h found a problem; reproducer and log:"
        ls "$out/findings/$h-"* 2>/dev/null || true
        grep -E 'invariant broken|ERROR|runtime error' "$out/$h.log" | head -5 || true
        cp "$out/$h.log" "$out/findings/" || true
      fi
      stats "$h" "$out/$h.log"
    done
    exit $failed
    ;;
  campaign)
    seconds=${2:?campaign SECONDS [HARNESS...]}
    shift 2
    [ $# -gt 0 ] && harnesses=("$@")
    build
    seeds
    for h in "${harnesses[@]}"; do
      end=$(($(date +%s) + seconds))
      round=0
      while [ "$(date +%s)" -lt "$end" ]; do
        round=$((round + 1))
        log="$out/campaign-$h-$round.log"
        if ! nice -n 19 bash -c "$(declare -f run); out=$out bin=$bin timeout=180 run $h $((end - $(date +%s))) $log"; then
          echo "fuzz_$h: finding in round $round (log $log)"
          grep -E 'invariant broken|ERROR|runtime error' "$log" | head -3 || true
        fi
        stats "$h" "$log"
      done
    done
    ;;
  case)
    shift
    for f in "$@"; do
      h=$(basename "$f" | sed -E 's/-(crash|leak|timeout|oom|slow-unit)-.*//')
      dump=$(mktemp)
      PAVA_FUZZ_DUMP=$dump "$bin/fuzz_$h" "$f" >/dev/null 2>&1 || true
      python3 fuzz/finding_case.py "$(basename "$f")" "$dump"
      rm -f "$dump"
    done
    ;;
  *)
    echo "usage: $0 ci [SECONDS] | campaign SECONDS [HARNESS...] | case FINDING..." >&2
    exit 2
    ;;
esac
