#!/usr/bin/env bash
# tools/check-layers.sh passes on the tree and fails, naming the file, on a
# tree where a kind includes an application header or another kind's.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
"$root/tools/check-layers.sh" "$root" >/dev/null
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
plant() { # FILE INCLUDE: a one-file tree, checked; prints the verdict
  rm -rf "$work/t" && mkdir -p "$work/t/tools" "$work/t/$(dirname "$1")"
  cp "$root/tools/check-layers.sh" "$work/t/tools/"
  printf '#include "%s"\n' "$2" >"$work/t/$1"
  (cd "$work/t" && git init -q && git add -A)
  "$work/t/tools/check-layers.sh" "$work/t" 2>&1 && echo "PASSED" || true
}
expect() { # WHAT OUTPUT PATTERN
  grep -q -- "$3" <<<"$2" || { echo "FAIL: $1: $2"; exit 1; }
}
expect "kinds -> app" "$(plant kinds/noise/noise.cpp app/presets.h)" "upward include: kinds/noise/noise.cpp"
expect "kind -> kind" "$(plant kinds/ripples.cpp kinds/noise/noise.h)" "sideways include: kinds/ripples.cpp"
expect "colour -> synth" "$(plant colour/fountain.cpp synth/fft.h)" "sideways include: colour/fountain.cpp"
expect "core -> kind" "$(plant core/image.cpp kind/descriptor.h)" "upward include: core/image.cpp"
expect "page access by include" "$(plant kinds/ripples.cpp core/page.h)" "page access in a kind: kinds/ripples.cpp includes core/page.h"
rm -rf "$work/t" && mkdir -p "$work/t/tools" "$work/t/kinds"
cp "$root/tools/check-layers.sh" "$work/t/tools/"
printf 'int w = ReadPageInteger(rec->dialog, 700);\n' >"$work/t/kinds/ripples.cpp"
(cd "$work/t" && git init -q && git add -A)
expect "page access by call" "$("$work/t/tools/check-layers.sh" "$work/t" 2>&1 || true)" \
  "page access in a kind: kinds/ripples.cpp reads"
expect "kind -> its own files" "$(plant kinds/noise/noise.cpp kinds/noise/noise_rows.h)" "PASSED"
expect "app -> kinds" "$(plant app/kind_list.cpp kinds/ripples.h)" "PASSED"
expect "tests -> anything" "$(plant tests/x_test.cpp app/presets.h)" "PASSED"
rm -rf "$work/t" && mkdir -p "$work/t/tools" "$work/t/kinds"
cp "$root/tools/check-layers.sh" "$work/t/tools/"
printf '#include <windows.h>\n' >"$work/t/kinds/ripples.cpp"
(cd "$work/t" && git init -q && git add -A)
out=$("$work/t/tools/check-layers.sh" "$work/t" 2>&1 || true)
expect "windows.h in a kind" "$out" "Windows header in a portable layer: kinds/ripples.cpp"
echo "check-layers: every planted include judged as it should be"
