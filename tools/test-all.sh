#!/usr/bin/env bash
# Builds and runs every test: formatting, the native build, the sanitizer
# build and the Windows build under Wine (whose pixels must equal the native
# build's). Installs what is missing first.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$PWD

bash tools/setup-debian.sh

echo "== formatting"
git ls-files '*.cpp' '*.h' | xargs clang-format --dry-run --Werror

passed=0
failed=0
run_ctest() {
  local dir=$1 log
  log=$(mktemp)
  if ctest --test-dir "$dir" --output-on-failure 2>&1 | tee "$log"; then :; fi
  local line
  line=$(grep -E 'tests passed, [0-9]+ tests failed out of [0-9]+' "$log" | tail -n 1 || true)
  rm -f "$log"
  if [ -z "$line" ]; then
    echo "no test summary from $dir" >&2
    failed=$((failed + 1))
    return
  fi
  local f t
  f=$(sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\1/' <<<"$line")
  t=$(sed -E 's/.* ([0-9]+) tests failed out of ([0-9]+).*/\2/' <<<"$line")
  passed=$((passed + t - f))
  failed=$((failed + f))
}

echo "== layers"
bash tools/check-layers.sh

echo "== native build"
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j 2
run_ctest build

echo "== AddressSanitizer and UndefinedBehaviorSanitizer build"
cmake -S . -B build-asan -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo -DTSN_SANITIZE=ON >/dev/null
cmake --build build-asan -j 2
ASAN_OPTIONS=detect_leaks=1:abort_on_error=1 UBSAN_OPTIONS=print_stacktrace=1 run_ctest build-asan

echo "== fuzzing every file reader briefly"
if bash tools/fuzz.sh 20; then passed=$((passed + 1)); else failed=$((failed + 1)); fi

echo "== Windows build, tests under Wine"
cmake -S . -B build-win -G Ninja -DCMAKE_TOOLCHAIN_FILE="$root/cmake/mingw-w64-x86_64.cmake" \
  -DCMAKE_BUILD_TYPE=Release -DTSN_NATIVE_BUILD_DIR="$root/build" >/dev/null
cmake --build build-win -j 2
run_ctest build-win

echo
echo "all: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
