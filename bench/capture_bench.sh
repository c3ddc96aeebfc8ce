#!/usr/bin/env bash
# `pava decode` of a capture in MB/s of capture file, beside tshark reading
# the same capture with the generated Lua dissector and with no PAVA
# dissector at all (the floor of reading the file). Times are CPU time
# (user + system) of one run each, so that other work on the machine counts
# less; the wall-clock time is shown too.
#
#     bench/capture_bench.sh [BUILD_DIR] [MEGABYTES]     (build/release, 64)
set -euo pipefail
build=${1:-build/release}
mb=${2:-64}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
cap=$work/bench.pcap
"$build/bench/pava_make_capture" "$cap" "$mb"
size=$(stat -c %s "$cap")

run() {  # name, command...
  local name=$1; shift
  /usr/bin/time -f "%U %S %e" -o "$work/time" "$@" > "$work/out" 2> "$work/err"
  read -r user sys real < "$work/time"
  awk -v n="$name" -v s="$size" -v u="$user" -v y="$sys" -v r="$real" \
    'BEGIN { c = u + y; printf "%-34s %8.2f s CPU %8.2f s wall %10.1f MB/s\n", n, c, r, s / 1e6 / c }'
}

echo "capture: $((size / 1000000)) MB, $(tshark -r "$cap" -T fields -e frame.number 2>/dev/null | tail -1) packets"
run "pava decode" "$build/tools/pava" decode "$cap" -o /dev/null
run "pava decode --join" "$build/tools/pava" decode --join "$cap" -o /dev/null
run "pava decode --port 9 (no stream taken)" "$build/tools/pava" decode --port 9 "$cap" -o /dev/null
run "tshark, no PAVA dissector" tshark -r "$cap" -T fields -e tcp.len
run "tshark, pava.lua" tshark -r "$cap" -X "lua_script:$build/tools/pava.lua" -o pava.port:7766 -T fields -e pava.id
echo "frames: pava $("$build/tools/pava" decode "$cap" | wc -l), tshark with pava.lua $(tr ',' '\n' < "$work/out" | grep -c . || true)"
