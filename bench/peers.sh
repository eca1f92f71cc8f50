#!/usr/bin/env bash
# Times tsntxtr against the tools a user would pick instead, GEGL (the engine
# of GIMP) and G'MIC as Debian ships them, on this machine in one run, and
# prints a markdown table.
#
#   bash bench/peers.sh [BUILD_DIR]     # default: build
#   PEERS_SIDE=512 PEERS_OWN=0 bash bench/peers.sh   # a quick try of the script
#
# Every time is a whole process (start, render, PNG written), the best of two
# runs, at 4096 x 4096 unless the row says otherwise. Each peer writes a PNG
# of the same size as ours: 8-bit RGB (GEGL converts to R'G'B' u8 and saves
# 8-bit; G'MIC's Mandelbrot goes through a colour map, its plasma is RGB).
# GEGL's sources are unbounded, so each is cropped to the picture. Run it on
# an otherwise idle machine: under load the multithreaded peers lose more.
#
# What each row compares:
# - Absolute Noise, Perlin, fBm, 5 octaves, against gegl:perlin-noise as it
#   comes (its own octave count) and with n=5, and against gegl:noise-solid
#   detail=5 (GIMP's Solid Noise with 5 octaves).
# - Absolute Noise, simplex, fBm, 5 octaves, against gegl:simplex-noise
#   iterations=5.
# - Absolute Noise, cellular, one octave, against gegl:cell-noise (one
#   iteration).
# - Noise with 5 layers against gegl:noise-solid detail=5.
# - Mandelbrot at zoom levels 0 and 10 on a point of the set's edge (as
#   bench/mandelbrot_bench.cpp) against gmic mandelbrot over the same square
#   of the plane with the same iteration limit.
# - Plasma against gegl:plasma and gmic plasma.
# The rows after them have no peer: our own seconds (and peak memory over the
# picture's width x depth x 3 bytes) for every CGI kind at size 4096, Clouds
# at 8192^2 and 16384^2, and Perturbation, Absolute Noise (as it comes) and
# Particle at 8192^2.
set -euo pipefail
export DEBIAN_FRONTEND=noninteractive

ROOT="$(cd "$(dirname "$0")/.." && pwd)"
BUILD="${1:-build}"
case "$BUILD" in /*) ;; *) BUILD="$ROOT/$BUILD" ;; esac
TSNTXTR="$BUILD/tsntxtr"

SUDO=""
if [ "$(id -u)" != 0 ]; then SUDO=sudo; fi
missing=()
for p in gegl gmic; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done
if [ "${#missing[@]}" -gt 0 ]; then
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
if [ ! -x "$TSNTXTR" ]; then
  cmake -S "$ROOT" -B "$BUILD" -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
  cmake --build "$BUILD" --target tsntxtr >/dev/null
fi

WORK="$(mktemp -d)"
trap 'rm -rf "$WORK"' EXIT
OUT="$WORK/out.png"
SIDE="${PEERS_SIDE:-4096}"  # a smaller side only to try the script out
LOAD="$(cut -d' ' -f1-3 /proc/loadavg)"

# Runs a command twice; prints the shorter wall time (s) and the larger peak
# resident memory (KiB) of the two.
best_of_two() {
  local best="" peak=0 t m
  for _ in 1 2; do
    rm -f "$OUT"
    /usr/bin/time -f "%e %M" -o "$WORK/time" "$@" >/dev/null 2>&1 || {
      echo "failed: $*" >&2
      return 1
    }
    [ -s "$OUT" ] || { echo "no picture from: $*" >&2; return 1; }
    read -r t m <"$WORK/time"
    if [ -z "$best" ] || awk -v a="$t" -v b="$best" 'BEGIN { exit !(a < b) }'; then best=$t; fi
    [ "$m" -gt "$peak" ] && peak=$m
  done
  echo "$best $peak"
}

ours() {  # KIND [options...]
  best_of_two "$TSNTXTR" render "$@" -o "$OUT"
}
gegl_op() {  # operation and its properties
  best_of_two gegl -- "$@" gegl:crop width=$SIDE height=$SIDE \
    gegl:convert-format "format=R'G'B' u8" gegl:png-save path="$OUT" bitdepth=8
}
gmic_run() {  # G'MIC pipeline that leaves one picture
  best_of_two gmic "$@" -o "$OUT"
}

# The square of the plane tsntxtr shows at a zoom level (the view is 2.8 / v
# on a side from its start, v = (level + 1)^2) and its iteration limit,
# for gmic mandelbrot.
CENTRE_RE=-0.7453 CENTRE_IM=0.1127
mandel_view() {  # level
  awk -v l="$1" -v cr="$CENTRE_RE" -v ci="$CENTRE_IM" -v s="$SIDE" 'BEGIN {
    v = (l + 1) * (l + 1); step = 1000.0 / v / s * 0.0028
    r0 = cr - 3.05 / v / 2; i0 = ci - 2.8 / v / 2
    limit = 25; for (t = step * 100; t < 1 && t > 0; t *= 100) limit *= 2
    printf "%.9f,%.9f,%.9f,%.9f,%d", r0, i0, r0 + step * s, i0 + step * s, limit }'
}

rows=()
row() {  # work, peer, our seconds, peer seconds
  rows+=("| $1 | $2 | $3 s | $4 s | $(awk -v a="$3" -v b="$4" 'BEGIN { printf "%.2fx", b / a }') |")
}
seconds() { echo "${1%% *}"; }

A="absnoise --width $SIDE --depth $SIDE --set fractal=1 --set octaves=5"
# shellcheck disable=SC2086
{
  perlin=$(seconds "$(ours $A --set noiseType=1)")
  row "Absolute Noise, Perlin, fBm 5 octaves" '`gegl:perlin-noise`' "$perlin" \
    "$(seconds "$(gegl_op gegl:perlin-noise)")"
  row "Absolute Noise, Perlin, fBm 5 octaves" '`gegl:perlin-noise n=5`' "$perlin" \
    "$(seconds "$(gegl_op gegl:perlin-noise n=5)")"
  solid=$(seconds "$(gegl_op gegl:noise-solid detail=5 width=$SIDE height=$SIDE)")
  row "Absolute Noise, Perlin, fBm 5 octaves" '`gegl:noise-solid detail=5`' "$perlin" "$solid"
  row "Absolute Noise, simplex, fBm 5" '`gegl:simplex-noise iterations=5`' \
    "$(seconds "$(ours $A --set noiseType=2)")" \
    "$(seconds "$(gegl_op gegl:simplex-noise iterations=5)")"
  row "Absolute Noise, cellular" '`gegl:cell-noise`' \
    "$(seconds "$(ours absnoise --width $SIDE --depth $SIDE --set noiseType=3 --set fractal=0)")" \
    "$(seconds "$(gegl_op gegl:cell-noise)")"
  row "Noise (5 layers)" '`gegl:noise-solid detail=5`' \
    "$(seconds "$(ours noise --width $SIDE --depth $SIDE --set layers=5)")" "$solid"
  for level in 0 10; do
    row "Mandelbrot, zoom $level" '`gmic mandelbrot`, same view and iterations' \
      "$(seconds "$(ours mandelbrot --width $SIDE --depth $SIDE --set zoomLevel=$level \
        --set centreRealOffset=$(awk -v c="$CENTRE_RE" 'BEGIN { print c + 2.05 }') \
        --set centreImaginaryOffset=$(awk -v c="$CENTRE_IM" 'BEGIN { print c + 1.4 }'))")" \
      "$(seconds "$(gmic_run $SIDE,$SIDE,1,1 mandelbrot "$(mandel_view $level)" map 2)")"
  done
  plasma=$(seconds "$(ours plasma --width $SIDE --depth $SIDE)")
  row "Plasma" '`gegl:plasma`' "$plasma" \
    "$(seconds "$(gegl_op gegl:plasma width=$SIDE height=$SIDE)")"
  row "Plasma" '`gmic plasma`' "$plasma" "$(seconds "$(gmic_run $SIDE,$SIDE,1,3 plasma)")"
}

own=()
alone() {  # label, width, depth, KIND [options...]
  local label=$1 w=$2 h=$3 t m
  shift 3
  read -r t m <<<"$(ours "$@")"
  own+=("| $label | $t s | $(awk -v m="$m" -v p="$((w * h * 3))" 'BEGIN { printf "%.2f", m * 1024 / p }') |")
}
[ "${PEERS_OWN:-1}" = 1 ] && for kind in cgigranite cgijade cgisea cgisky cgislime cgiterrain cgiturbulence cgiwood; do
  alone "$kind, size 4096" 4096 4096 "$kind" --set size=4096
done
if [ "${PEERS_OWN:-1}" = 1 ]; then
  alone "Clouds 8192^2" 8192 8192 clouds --width 8192 --depth 8192
  alone "Clouds 16384^2" 16384 16384 clouds --width 16384 --depth 16384
  alone "Perturbation 8192^2" 8192 8192 perturb --width 8192 --depth 8192
  alone "Absolute Noise 8192^2" 8192 8192 absnoise --width 8192 --depth 8192
  alone "Particle 8192^2" 8192 8192 particle --width 8192 --depth 8192
fi

echo "Peers: $(dpkg-query -W -f='GEGL ${Version}' gegl), $(dpkg-query -W -f='G'"'"'MIC ${Version}' gmic);" \
  "$(nproc) cores, load average before the run: $LOAD, after: $(cut -d' ' -f1-3 /proc/loadavg)"
echo
echo "| work, ${SIDE}^2 | peer | ours | peer | peer/ours |"
echo "|---|---|---|---|---|"
printf '%s\n' "${rows[@]}"
echo
echo "| our render, whole process | seconds | peak memory / picture |"
echo "|---|---|---|"
printf '%s\n' "${own[@]}"
