#!/usr/bin/env bash
# Installs what is needed, builds tsntxtr and renders every kind that is
# built, with its defaults, into out/.
set -euo pipefail
cd "$(dirname "$0")/.."
bash tools/setup-debian.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build build -j 2 --target tsntxtr
mkdir -p out
./build/tsntxtr list | awk 'NR > 1 && $NF == "renders" { print $2 }' | while read -r key; do
  ./build/tsntxtr render "$key" -o "out/$key.png"
  echo "rendered out/$key.png"
done
