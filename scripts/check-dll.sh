#!/usr/bin/env bash
# Cross-builds the 32-bit Windows DLL and checks that it exports exactly the
# entry points of the C++ and the C interface, undecorated, needs nothing beyond
# the system's DLLs and has its DllMain; and that 32-bit Windows callers see the
# record layout the i386 tests check.
set -euo pipefail
cd "$(dirname "$0")/.."

need=(g++-mingw-w64-i686-posix binutils-mingw-w64-i686)
missing=()
for p in "${need[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ ${#missing[@]} -gt 0 ]; then
  sudo=""; [ "$(id -u)" -eq 0 ] || sudo="sudo"
  DEBIAN_FRONTEND=noninteractive $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

cmake --workflow --preset windows-x86
dll=build/windows-x86/ZMPavaAnalyzer.dll
dump=$(i686-w64-mingw32-objdump -p "$dll")
exports=$(sed -n '/Ordinal\/Name Pointer/,/^$/p' <<<"$dump" | grep -E '^\s+\[ *[0-9]+\]' | sed -E 's/^\s+\[ *[0-9]+\] //' | LC_ALL=C sort | tr '\n' ' ')
expected="Data_To_Pava Pava_SetLogOutput Pava_To_Data pava_decode pava_describe pava_dissect pava_dissection_count pava_dissection_free pava_dissection_span pava_encode pava_encode_into pava_frames_at pava_frames_count pava_frames_free pava_frames_new pava_get_bytes pava_get_int pava_header pava_ids pava_joiner_finish pava_joiner_free pava_joiner_new pava_joiner_part pava_joiner_pop pava_joiner_problem pava_joiner_push pava_list_resize pava_list_size pava_member_at pava_member_count pava_plausible_header pava_rc_text pava_record_copy pava_record_free pava_record_new pava_record_reset pava_record_walk pava_set_bytes pava_set_int pava_set_log pava_version pava_wire_size "
[ "$exports" = "$expected" ] || { echo "unexpected exports: $exports"; echo "expected:           $expected"; exit 1; }
grep -q 'file format pei-i386' <<<"$dump" || { echo "not a 32-bit DLL"; exit 1; }
imports=$(grep 'DLL Name' <<<"$dump" | awk '{print $3}' | sort | tr '\n' ' ')
[ "$imports" = "KERNEL32.dll msvcrt.dll " ] || { echo "unexpected imports: $imports"; exit 1; }
# The DLL's entry point is the CRT's DLL startup, which calls our DllMain.
symbols=$(i686-w64-mingw32-nm "$dll")
grep -qE ' T _DllMain@12$' <<<"$symbols" || { echo "no DllMain in $dll"; exit 1; }
base=$(awk '$1 == "ImageBase" {print $2}' <<<"$dump")
entry=$(awk '$1 == "AddressOfEntryPoint" {print $2}' <<<"$dump")
startup=$(awk '$3 == "_DllMainCRTStartup@12" {print $1}' <<<"$symbols")
[ -n "$startup" ] && [ $((16#$base + 16#$entry)) -eq $((16#$startup)) ] || {
  echo "the entry point of $dll is not the CRT's DLL startup"; exit 1; }
# The record layout seen by 32-bit Windows callers is the one the Linux i386
# build checks (tests/record_layout.h): compiled here with the DLL's compiler.
i686-w64-mingw32-g++-posix -std=c++11 -Wall -Wextra -Wpedantic -Werror -fsyntax-only -Icore tests/record_layout.cpp
echo "windows-x86: $dll exports $exports; record layout as on Linux i386"
