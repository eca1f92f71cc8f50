#!/usr/bin/env bash
# Renders every kind at its defaults, 320 x 240 where the kind has a width
# and depth (the CGI kinds draw their own square), into docs/gallery for
# the README.
#
# usage: tools/gallery.sh [NATIVE_BUILD_DIR]
set -euo pipefail
cd "$(dirname "$0")/.."
tsntxtr=${1:-build}/tsntxtr
mkdir -p docs/gallery
for key in $("$tsntxtr" list | awk 'NR > 1 {print $2}'); do
  out=docs/gallery/$key.png
  # A private configuration folder: the user's presets and libraries stay out.
  XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render "$key" --width 320 --depth 240 -o "$out" \
    >/dev/null 2>&1 || XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render "$key" -o "$out" >/dev/null
  echo "$out"
done
# Pipes in both styles, a larger network than its 2 x 2 default.
XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render pipes --set reduction=4 --set widthCells=5 \
  --set depthCells=3 --set effect=0 --seed 4242 -o docs/gallery/pipes-industrial.png >/dev/null
XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render pipes --set reduction=4 --set widthCells=5 \
  --set depthCells=3 --set effect=0 --seed 4242 --set style=1 --set density=2 --set valves=3 \
  -o docs/gallery/pipes-stainless.png >/dev/null
echo docs/gallery/pipes-industrial.png docs/gallery/pipes-stainless.png
