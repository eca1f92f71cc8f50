#!/usr/bin/env bash
# Times `tsntxtr batch` on a manifest of many small renders against the
# same renders as separate `tsntxtr render` processes run by `xargs -P 2`
# (two at a time, one per core of the machine this was written on), and
# prints both times and their ratio.
#
#   bash bench/batch.sh [BUILD_DIR] [LINES]     # defaults: build, 1000
#
# The manifest mixes sixteen kinds at 256 x 256 (a CGI kind's Size 256,
# Pipes' smallest cells), each line with its own seed (Mandelbrot its own
# zoom). Both runs write PNGs
# into a folder in memory (/dev/shm) where there is one, so the disk does
# not decide. Afterwards every picture of the batch is compared with the
# one its separate process wrote. Run it on an otherwise idle machine.
set -euo pipefail
here=$(cd "$(dirname "$0")/.." && pwd)
build=$(cd "${1:-$here/build}" && pwd)
lines=${2:-1000}
base=/tmp
[ -d /dev/shm ] && [ -w /dev/shm ] && base=/dev/shm
work=$(mktemp -d "$base/tsntxtr-batch-bench.XXXXXX")
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config"
exe="$build/tsntxtr"
cmake --build "$build" --target tsntxtr >/dev/null

kinds=(noise plasma absnoise perturb craters ripples terrain surface mandelbrot scratch threads
       clouds matrix cgisea cgiwood pipes)
size_of() {
    case "$1" in
        cgi*) echo "--set size=256" ;;
        pipes) echo "--set reduction=4 --set widthCells=2 --set depthCells=2" ;;
        *) echo "--width 256 --depth 256" ;;
    esac
}
mkdir -p "$work/batch" "$work/xargs"
for ((i = 0; i < lines; ++i)); do
    kind=${kinds[i % ${#kinds[@]}]}
    case "$kind" in
        mandelbrot) vary="--set zoomLevel=$((i % 8))" ;;  # no seed: the view varies
        matrix) vary="" ;;
        *) vary="--seed $((100 + i))" ;;
    esac
    echo "$kind $(size_of "$kind") $vary -o out/$i.png"
done >"$work/manifest.txt"
cp "$work/manifest.txt" "$work/batch/manifest.txt"
cp "$work/manifest.txt" "$work/xargs/manifest.txt"
mkdir -p "$work/batch/out" "$work/xargs/out"

seconds() {
    python3 -c 'import subprocess, sys, time
t = time.monotonic()
subprocess.run(sys.argv[1:], check=True, stdout=subprocess.DEVNULL)
print("%.2f" % (time.monotonic() - t))' "$@"
}
load=$(cut -d' ' -f1-3 /proc/loadavg)
t_batch=$(seconds "$exe" batch "$work/batch/manifest.txt")
t_xargs=$(cd "$work/xargs" && seconds bash -c "xargs -P 2 -L 1 '$exe' render <manifest.txt")
for ((i = 0; i < lines; ++i)); do
    cmp -s "$work/batch/out/$i.png" "$work/xargs/out/$i.png" ||
        { echo "line $((i + 1)): the batch's picture differs from render's" >&2; exit 1; }
done
echo "$lines renders of 256 x 256 ($(nproc) cores, load before: $load)"
echo "tsntxtr batch:              $t_batch s"
echo "xargs -P 2 tsntxtr render:  $t_xargs s"
python3 -c "import sys; print('batch / xargs: %.2f' % (float(sys.argv[1]) / float(sys.argv[2])))" \
    "$t_batch" "$t_xargs"
