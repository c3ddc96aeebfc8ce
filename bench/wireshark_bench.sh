#!/usr/bin/env bash
# tshark on one capture with the compiled plugin, with the generated Lua
# dissector and with no PAVA dissector, in one run. Times are CPU time
# (user + system) of one run each, so that other work on the machine counts
# less; the wall-clock time is shown too. Every run asks for one field per
# frame (-T fields), so the dissectors build their trees.
#
#     bench/wireshark_bench.sh [BUILD_DIR] [MEGABYTES]     (build/release, 52)
#
# Wireshark loads no personal plugins when it runs as root: there tshark runs
# as nobody, reading the capture from stdin and the plugin from a folder
# nobody can read.
set -euo pipefail
build=${1:-build/release}
mb=${2:-52}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
chmod 755 "$work"
cap=$work/bench.pcap
"$build/bench/pava_make_capture" "$cap" "$mb"
size=$(stat -c %s "$cap")
abi=$(basename "$(dirname "$(dirname "$(ls "$build"/wireshark-plugins/*/epan/pava.so)")")")
mkdir -p "$work/plugins/$abi/epan"
cp "$build/wireshark-plugins/$abi/epan/pava.so" "$work/plugins/$abi/epan/"
cp "$build/tools/pava.lua" "$work/"
chmod -R a+rX "$work"
user=()
[ "$(id -u)" -ne 0 ] || user=(setpriv --reuid=65534 --regid=65534 --clear-groups)

run() {  # name, plugin folder ("" for none), tshark arguments...
  local name=$1 plugins=$2; shift 2
  /usr/bin/time -f "%U %S %e" -o "$work/time" \
    "${user[@]}" env HOME=/nonexistent WIRESHARK_PLUGIN_DIR="${plugins:-$work/none}" \
    tshark -n -r - "$@" < "$cap" > "$work/out" 2> "$work/err"
  read -r u s r < "$work/time"
  awk -v n="$name" -v z="$size" -v u="$u" -v y="$s" -v r="$r" -v f="$(tr ',' '\n' < "$work/out" | grep -c . || true)" \
    'BEGIN { c = u + y; printf "%-28s %8.2f s CPU %8.2f s wall %8.1f MB/s %8d values\n", n, c, r, z / 1e6 / c, f }'
}

echo "capture: $((size / 1000000)) MB, $(tshark -r "$cap" -T fields -e frame.number 2>/dev/null | tail -1) packets"
run "tshark, no PAVA dissector" "" -T fields -e tcp.len
run "tshark, compiled plugin" "$work/plugins" -o pava.port:7766 -T fields -e pava.id
run "tshark, plugin, no joining" "$work/plugins" -o pava.port:7766 -o pava.join:FALSE -T fields -e pava.id
run "tshark, pava.lua" "" -X "lua_script:$work/pava.lua" -o pava.port:7766 -T fields -e pava.id
