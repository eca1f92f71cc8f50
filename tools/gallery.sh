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
# The maps beyond the plug-in: a tileable picture laid 2 x 2, and a height
# field with the normal map made from it.
maps=$(mktemp -d)
XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render craters --width 192 --depth 144 --seed 700 --tileable \
  -o "$maps/craters.png" >/dev/null
"${1:-build}/tile_preview" "$maps/craters.png" docs/gallery/maps-craters-tiled.png 2
XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render perturb --width 192 --depth 144 --seed 5150 \
  --set pattern=1 --tileable -o "$maps/perturb.png" >/dev/null
"${1:-build}/tile_preview" "$maps/perturb.png" docs/gallery/maps-perturb-tiled.png 2
XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render plasma --width 192 --depth 144 --seed 15000 \
  --tileable -o "$maps/plasma.png" >/dev/null
"${1:-build}/tile_preview" "$maps/plasma.png" docs/gallery/maps-plasma-tiled.png 2
XDG_CONFIG_HOME=$(mktemp -d) "$tsntxtr" render terrain --width 320 --depth 240 --tileable \
  -o docs/gallery/maps-terrain.png --height docs/gallery/maps-terrain-height.png \
  --normal docs/gallery/maps-terrain-normal.png --normal-strength 16 >/dev/null
rm -rf "$maps"
echo docs/gallery/maps-*.png
