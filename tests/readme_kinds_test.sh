#!/usr/bin/env bash
# The README's table of kinds is what `tsntxtr list --markdown` prints from
# the kind list and the help pages' sentences, so the two cannot drift.
set -euo pipefail
tsntxtr=$1
readme=$2
table=$("$tsntxtr" list --markdown)
[ "$(wc -l <<<"$table")" -eq 25 ] || { echo "expected a header, a rule and 23 rows"; exit 1; }
if ! grep -qxF -- "$(head -n 1 <<<"$table")" "$readme"; then
  echo "README.md has no kinds table"
  exit 1
fi
found=$(grep -A 24 -xF -- "$(head -n 1 <<<"$table")" "$readme")
if [ "$found" != "$table" ]; then
  diff <(echo "$table") <(echo "$found") || true
  echo "README.md's kinds table differs from 'tsntxtr list --markdown' (left)"
  exit 1
fi
echo "README's kinds table matches the kind list"
