#!/usr/bin/env bash
# One manifest run in three shards by GNU parallel, as three machines would
# run it: every output is written exactly once, the shards' reports together
# name every line once, and every file equals both one unsharded run's and
# the plain `tsntxtr render` of its line.
#
#   bash tests/batch_shards_test.sh PATH/TO/tsntxtr
set -euo pipefail
exe=$(realpath "$1")
if ! command -v parallel >/dev/null; then
    echo "GNU parallel is not installed (tools/setup-debian.sh installs it)" >&2
    exit 77
fi
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export XDG_CONFIG_HOME="$work/config"
fail() { echo "FAIL: $*" >&2; exit 1; }

# Render lines without quotes, so the plain renders below can take their
# words from the shell; comments and blank lines in between.
lines=(
    "noise --width 96 --depth 64 --seed 101 -o n1.png"
    "plasma --width 80 --depth 80 --seed 777 -o p1.bmp"
    "craters --tileable --width 72 --depth 64 -o c1.png --height c1-h.png --normal c1-n.png"
    "cgisea --set size=64 -o sea.png"
    "mandelbrot --width 100 --depth 75 --set zoomLevel=3 -o m1.png"
    "terrain --width 64 --depth 90 --seed 300 -o t1.png --height t1.r16"
    "absnoise --width 70 --depth 70 --set noiseType=3 -o a1.png"
    "ripples --width 64 --depth 64 --seed 555 -o r1.png"
    "noise --width 1030 --depth 1024 --seed 4242 -o big.png"
    "pipes --set reduction=4 -o pipes.png"
    "scratch --width 90 --depth 60 --set antialias=1 -o s1.png"
)
mkdir -p "$work/one/out" "$work/shards/out" "$work/plain"
{
    echo "# eleven renders, three shards"
    for i in "${!lines[@]}"; do
        echo "${lines[i]}" | sed 's/-o /-o out\//; s/--height /--height out\//; s/--normal /--normal out\//'
        ((i % 3 == 1)) && printf '\n# a comment\n'
    done
} >"$work/manifest.txt"
cp "$work/manifest.txt" "$work/one/manifest.txt"
cp "$work/manifest.txt" "$work/shards/manifest.txt"

"$exe" batch "$work/one/manifest.txt" --report "$work/one.csv" || fail "the unsharded run failed"
parallel --will-cite -j 3 "$exe" batch "$work/shards/manifest.txt" --shard {}/3 \
    --report "$work/shards/shard{}.csv" ::: 0 1 2 || fail "a shard failed"

# Each shard's rows, headers aside; together every line exactly once.
for k in 0 1 2; do
    [ "$(head -n 1 "$work/shards/shard$k.csv")" = "line,outputs,status,seconds,sha256,message" ] ||
        fail "shard $k's report has no header"
done
tail -q -n +2 "$work/shards"/shard*.csv | cut -d, -f1 | sort -n >"$work/lines-sharded"
tail -n +2 "$work/one.csv" | cut -d, -f1 | sort -n >"$work/lines-one"
[ "$(wc -l <"$work/lines-sharded")" -eq "${#lines[@]}" ] || fail "the shards did not take every line"
[ -z "$(uniq -d "$work/lines-sharded")" ] || fail "a line was taken by two shards"
cmp -s "$work/lines-sharded" "$work/lines-one" || fail "the shards took other lines than one run"
if tail -q -n +2 "$work/shards"/shard*.csv | cut -d, -f3 | grep -qv '^ok$'; then
    fail "a line did not render"
fi

# The same files, once each, and the plain renders' bytes.
(cd "$work/one/out" && ls) >"$work/files-one"
(cd "$work/shards/out" && ls) >"$work/files-sharded"
cmp -s "$work/files-one" "$work/files-sharded" || fail "the shards wrote other files than one run"
[ "$(wc -l <"$work/files-one")" -eq 14 ] || fail "expected 14 files, found $(wc -l <"$work/files-one")"
for line in "${lines[@]}"; do
    # shellcheck disable=SC2086 # the line's words, as a shell would split them
    (cd "$work/plain" && "$exe" render $line 2>/dev/null) || fail "plain render of: $line"
done
while read -r f; do
    cmp -s "$work/one/out/$f" "$work/shards/out/$f" || fail "$f differs between the runs"
    cmp -s "$work/plain/$f" "$work/shards/out/$f" || fail "$f differs from its plain render"
done <"$work/files-one"
[ -z "$(find "$work" -name '*.tmp')" ] || fail "a temporary file was left"
# A collected report: the shards' rows under one header, in line order.
{
    head -n 1 "$work/shards/shard0.csv"
    tail -q -n +2 "$work/shards"/shard*.csv | sort -t, -k1,1n
} >"$work/all.csv"
[ "$(wc -l <"$work/all.csv")" -eq $((${#lines[@]} + 1)) ] || fail "the collected report"
echo "3 shards through GNU parallel: ${#lines[@]} lines, every output once and as plain renders"
