#!/usr/bin/env bash
# Builds the test suite for 64-bit Windows (MinGW-w64, run under wine64) and
# for 32-bit x86 Linux (-m32, run under qemu-i386-static), runs it, and compares
# what the codecs produce for the golden corpus byte for byte with the native
# release build (build/release, from `cmake --workflow --preset release`).
set -euo pipefail
cd "$(dirname "$0")/.."

[ -x build/release/tests/pava_tool_tests ] || { echo "build the release preset first" >&2; exit 2; }

# A private wine prefix per run: created on first use, removed at the end.
WINEPREFIX=$(mktemp -d "${TMPDIR:-/tmp}/zmpava-wine.XXXXXX")
export WINEPREFIX WINEDEBUG=-all
wineserver=$(command -v wineserver || echo /usr/lib/wine/wineserver)
cleanup() { "$wineserver" -k >/dev/null 2>&1 || true; rm -rf "$WINEPREFIX" "$WINEPREFIX.lock"; }
trap cleanup EXIT
# One wine server for all test programs, started before any of them and kept
# while idle (-p): a server that one program started quits a few seconds after
# it, and two tests starting the next one at once can lose their connection.
"$wineserver" -p
scripts/wine-run.sh cmd /c exit >/dev/null 2>&1 || true

cmake --workflow --preset windows-x64
cmake --workflow --preset linux-i386

dumps=build/corpus-dumps
rm -rf "$dumps"
mkdir -p "$dumps"/{release,windows-x64,linux-i386}
corpus() {
  local dir=$1; shift
  PAVA_CORPUS_DUMP="$PWD/$dumps/$dir" "$@" --gtest_filter='Golden/Corpus.*' >"$dumps/$dir.log" 2>&1 || {
    cat "$dumps/$dir.log"; echo "corpus run failed: $dir" >&2; exit 1; }
}
corpus release build/release/tests/pava_tool_tests
corpus windows-x64 scripts/wine-run.sh build/windows-x64/bin/pava_tool_tests.exe
corpus linux-i386 qemu-i386-static build/linux-i386/tests/pava_tool_tests
files=$(ls "$dumps/release" | wc -l)
[ "$files" -gt 0 ] || { echo "the corpus produced no dump" >&2; exit 1; }
for target in windows-x64 linux-i386; do
  diff -r "$dumps/release" "$dumps/$target" >/dev/null || {
    echo "$target: the codecs' output for the golden corpus differs from the native build's" >&2
    diff -r "$dumps/release" "$dumps/$target" | head -20 >&2; exit 1; }
  echo "$target: golden corpus output identical to the native build ($files files)"
done
