#!/usr/bin/env bash
# Checks that every include of the layered source tree points down:
#
#   1 core/                     platform, maths, random numbers, images, text
#   2 colour/  synth/           the numerical engines, knowing nothing of kinds
#   3 kind/    noisesvc/        the contract of a kind; the noise service
#   4 kinds/                    one file or folder per kind
#   5 app/                      the kind list, session, presets, files
#   6 frame/ cli/ host/         the front ends
#     tools/ bench/ tests/      may include anything
#
# A file may include its own folder and lower layers, never a peer folder of
# its layer or a higher one; under kinds/ a kind includes only its own files.
# Portable layers include no Windows header (core/platform_win32.cpp aside).
# A kind renders from values: nothing under kinds/ includes the page access
# (core/page.h, core/tile_list.h, kind/page_transfer.h, kind/render_step.h)
# or calls it (ReadPage..., Page(), TileList(), SendMessage..., Config()).
#
# Includes still waiting to be turned round are listed, with the reason, in
# tools/layer-exceptions.txt ("FILE TARGET  # why"); they are reported but do
# not fail the check, and an entry that no longer occurs fails it.
#
# usage: tools/check-layers.sh [--list] [ROOT]
#   --list   also print every include with its layers
# Exits 1 naming each include that breaks the rule.
set -euo pipefail
list=0
if [ "${1:-}" = --list ]; then
  list=1
  shift
fi
cd "${1:-$(dirname "$0")/..}"

# Sets `layer` for a path.
layer_of() {
  case ${1%%/*} in
    core) layer=1 ;;
    colour | synth) layer=2 ;;
    kind | noisesvc) layer=3 ;;
    kinds) layer=4 ;;
    app) layer=5 ;;
    frame | cli | host | python) layer=6 ;;
    tools | bench | tests) layer=9 ;;
    *) layer=0 ;;
  esac
}

# Sets `unit`: the path's top folder, or under kinds/ its kind (a folder
# kinds/NAME/ or the files kinds/NAME.*).
unit_of() {
  local rest=${1#kinds/}
  if [ "$rest" = "$1" ]; then
    unit=${1%%/*}
  else
    rest=${rest%%/*}
    unit=kinds/${rest%%.*}
  fi
}

declare -A excepted=()
declare -A seen=()
if [ -f tools/layer-exceptions.txt ]; then
  while read -r a b _; do
    case $a in '' | '#'*) continue ;; esac
    excepted["$a $b"]=1
  done <tools/layer-exceptions.txt
fi

bad=0
checked=0
known=0
while IFS= read -r file; do
  layer_of "$file"
  from=$layer
  [ "$from" -ge 1 ] || continue
  unit_of "$file"
  from_unit=$unit
  while IFS= read -r target; do
    [ -n "$target" ] || continue
    case $target in */*) ;; *) continue ;; esac # generated headers beside the build
    layer_of "$target"
    to=$layer
    unit_of "$target"
    to_unit=$unit
    checked=$((checked + 1))
    [ "$list" = 0 ] || printf '%s (%s) -> %s (%s)\n' "$file" "$from" "$target" "$to"
    [ "$from" -lt 9 ] || continue
    if [ "$from" = 4 ]; then
      case $target in
        core/page.h | core/tile_list.h | kind/page_transfer.h | kind/render_step.h)
          echo "page access in a kind: $file includes $target"
          bad=$((bad + 1))
          continue
          ;;
      esac
    fi
    if [ -n "${excepted["$file $target"]:-}" ]; then
      seen["$file $target"]=1
      echo "known, still to turn round: $file includes $target"
      known=$((known + 1))
    elif [ "$to" = 0 ] || [ "$to" -gt "$from" ]; then
      echo "upward include: $file (layer $from) includes $target (layer $to)"
      bad=$((bad + 1))
    elif [ "$to" = "$from" ] && [ "$to_unit" != "$from_unit" ]; then
      echo "sideways include: $file ($from_unit) includes $target ($to_unit), a peer of layer $from"
      bad=$((bad + 1))
    fi
  done < <(sed -n 's/^[[:space:]]*#[[:space:]]*include[[:space:]]*"\([^"]*\)".*/\1/p' "$file")
  case $file in
    kinds/*)
      if grep -vE '^[[:space:]]*//' "$file" |
        grep -qE '\b(ReadPage[A-Za-z]*\(|Page\(\)|TileList\(\)|Config\(\)|SendMessage|SendDlgItem)'; then
        echo "page access in a kind: $file reads or writes a page control or the configuration"
        bad=$((bad + 1))
      fi
      ;;
  esac
  case $file in
    core/platform_win32.cpp | frame/* | host/* | tools/* | bench/* | tests/*) ;;
    *)
      if grep -qiE '^[[:space:]]*#[[:space:]]*include[[:space:]]*<(windows|shlobj|commctrl|commdlg|winuser|mmsystem)\.h>' "$file"; then
        echo "Windows header in a portable layer: $file"
        bad=$((bad + 1))
      fi
      ;;
  esac
done < <(git ls-files '*.cpp' '*.h' '*.rc')

for pair in "${!excepted[@]}"; do
  if [ -z "${seen[$pair]:-}" ]; then
    echo "tools/layer-exceptions.txt lists $pair, which no longer occurs: remove it"
    bad=$((bad + 1))
  fi
done
echo "check-layers: $checked includes checked, $bad against the layers, $known known exceptions"
[ "$bad" -eq 0 ]
