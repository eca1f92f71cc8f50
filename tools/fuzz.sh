#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, AddressSanitizer and
# UndefinedBehaviorSanitizer) and runs each for SECONDS (default 20) from
# seeds made by the project's own writers. The corpora grow in
# build-fuzz/corpus, so a longer campaign continues where the last stopped.
#
# usage: tools/fuzz.sh [SECONDS] [TARGET...]
# A campaign of a fixed size instead: FUZZ_RUNS=10000000 tools/fuzz.sh 0 TARGET
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
shift || true
targets=("$@")
[ ${#targets[@]} -gt 0 ] || targets=(settings preset config render library fountains colours image manifest)

cmake -S . -B build-fuzz -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTSN_FUZZ=ON \
  -DCMAKE_C_COMPILER=clang-14 -DCMAKE_CXX_COMPILER=clang++-14 >/dev/null
cmake --build build-fuzz -j 2
fuzz=build-fuzz/tests/fuzz
"$fuzz/fuzz_make_seeds" build-fuzz/seeds

status=0
for t in "${targets[@]}"; do
  mkdir -p "build-fuzz/corpus/$t" "build-fuzz/findings/$t"
  echo "== $t, ${FUZZ_RUNS:-${seconds} s} ${FUZZ_RUNS:+runs}"
  # -timeout: a single input taking this long counts as a hang. A render
  # may legitimately take a minute under the sanitizers and the fuzzer's
  # instrumentation (a second natively), so renders get longer.
  timeout=20
  [ "$t" != render ] || timeout=120
  limit=(-max_total_time="$seconds")
  [ -z "${FUZZ_RUNS:-}" ] || limit=(-runs="$FUZZ_RUNS")
  if ! "$fuzz/${t}_fuzz" "${limit[@]}" -timeout=$timeout -rss_limit_mb=4096 \
      -print_final_stats=1 -artifact_prefix="build-fuzz/findings/$t/" \
      "build-fuzz/corpus/$t" "build-fuzz/seeds/$t" 2>&1 |
      grep -E '^(stat::number_of_executed_units|==[0-9]+== ERROR|SUMMARY)'; then
    :
  fi
  # Crashes, leaks, hangs and memory blow-ups fail; "slow-unit" files only
  # note inputs over ten seconds.
  if ls -A "build-fuzz/findings/$t" | grep -qv '^slow-unit-'; then
    echo "FAIL: $t found inputs that crash, leak or hang: build-fuzz/findings/$t" >&2
    status=1
  fi
done
exit $status
