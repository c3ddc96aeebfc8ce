#!/usr/bin/env bash
# Runs a Windows program under wine64 without a display or questions: a private
# prefix (WINEPREFIX, created on first use), no debug chatter, no offer to
# install Mono or Gecko. CTest uses it as the emulator of the MinGW-w64 builds.
set -euo pipefail
[ $# -ge 1 ] || { echo "usage: $0 PROGRAM.exe [ARGS...]" >&2; exit 2; }

wine=$(command -v wine64 || true)
[ -n "$wine" ] || wine=/usr/lib/wine/wine64
[ -x "$wine" ] || { echo "wine64 is not installed (scripts/install-deps.sh installs it)" >&2; exit 2; }

export WINEPREFIX=${WINEPREFIX:-${TMPDIR:-/tmp}/zmpava-wine-$(id -u)}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES=${WINEDLLOVERRIDES:-mscoree,mshtml=}
export WINEARCH=win64
unset DISPLAY WAYLAND_DISPLAY

if [ ! -f "$WINEPREFIX/system.reg" ]; then
  mkdir -p "$WINEPREFIX"
  # One setup at a time: parallel tests would otherwise race to create it.
  (
    flock 9
    [ -f "$WINEPREFIX/system.reg" ] || "$wine" wineboot -i >/dev/null 2>&1
  ) 9>"$WINEPREFIX.lock"
fi
exec "$wine" "$@"
