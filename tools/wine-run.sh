#!/usr/bin/env bash
# Runs a cross-built program under 64-bit Wine in the project's private
# prefix, so tests never touch a user's Wine set-up. CMake uses this as the
# emulator of the cross build.
set -euo pipefail
export WINEPREFIX="${TSN_WINEPREFIX:-${TMPDIR:-/tmp}/tsntxtr-wine}"
export WINEDEBUG="${WINEDEBUG:--all}"
export WINEDLLOVERRIDES="${WINEDLLOVERRIDES:-mscoree,mshtml=}"
WINE=/usr/lib/wine/wine64
if [ ! -x "$WINE" ]; then WINE=$(command -v wine64 || command -v wine); fi
if [ ! -d "$WINEPREFIX/drive_c" ]; then
  mkdir -p "$WINEPREFIX"
  "$WINE" wineboot -i >/dev/null 2>&1 || true
fi
exec "$WINE" "$@"
