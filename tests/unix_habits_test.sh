#!/usr/bin/env bash
# The command's Unix habits: the picture on standard output (-o -), refused
# on a terminal; --version; the manual page; bash and zsh completion.
#
# usage: tests/unix_habits_test.sh TSNTXTR BUILD_DIR
set -euo pipefail
exe=$1
build=$2
here=$(cd "$(dirname "$0")" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export HOME=$work/home XDG_CONFIG_HOME=$work/config
failures=0
fail() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}
expect_same() { # what, file, file
  cmp -s "$2" "$3" || fail "$1: $2 and $3 differ"
}

echo "== -o -: the picture on standard output"
"$exe" render noise --width 333 --depth 97 --seed 4242 -o "$work/noise.png"
"$exe" render noise --width 333 --depth 97 --seed 4242 -o - >"$work/piped.png"
expect_same "render -o - (PNG)" "$work/noise.png" "$work/piped.png"
"$exe" render noise --width 333 --depth 97 --seed 4242 -o "$work/noise.bmp"
"$exe" render noise --width 333 --depth 97 --seed 4242 -o - --format bmp | cat >"$work/piped.bmp"
expect_same "render -o - --format bmp, through a pipe" "$work/noise.bmp" "$work/piped.bmp"
"$exe" render craters --png-level 6 -o "$work/c.png"
"$exe" render craters --png-level 6 -o - | cat >"$work/cp.png"
expect_same "render -o - --png-level 6" "$work/c.png" "$work/cp.png"
"$exe" sheet plasma --seeds 100-103 --cell 64 -o "$work/sheet.bmp"
"$exe" sheet plasma --seeds 100-103 --cell 64 -o - --format bmp >"$work/sheet-piped.bmp"
expect_same "sheet -o -" "$work/sheet.bmp" "$work/sheet-piped.bmp"
"$exe" mutations noise -o "$work/grid.png"
"$exe" mutations noise -o - | cat >"$work/grid-piped.png"
expect_same "mutations -o -" "$work/grid.png" "$work/grid-piped.png"
# Only the picture goes there: height maps and messages do not.
"$exe" render noise --width 3 -o - --height "$work/h.r16" >"$work/clamped.png" 2>"$work/err.txt"
grep -q "width 3 is outside" "$work/err.txt" || fail "the clamp note is not on stderr"
[ "$(head -c 4 "$work/clamped.png" | od -An -c | tr -d ' ')" = '211PNG' ] ||
  fail "standard output does not start with a PNG signature"
[ -s "$work/h.r16" ] || fail "no height map beside -o -"
set +e
"$exe" render noise -o - --format gif >/dev/null 2>"$work/err.txt"
code=$?
set -e
[ "$code" = 2 ] || fail "--format gif: exit $code, not 2"
set +e
"$exe" render noise -o "$work/x.png" --format bmp 2>"$work/err.txt"
code=$?
set -e
[ "$code" = 2 ] && grep -q "disagrees" "$work/err.txt" || fail "--format bmp with x.png: exit $code"
[ ! -e "$work/x.png" ] || fail "a refused request wrote x.png"

echo "== a terminal is refused"
if command -v script >/dev/null; then
  set +e
  script -qec "'$exe' render noise -o -" /dev/null >"$work/tty.txt" 2>&1
  code=$?
  set -e
  [ "$code" = 2 ] || fail "-o - on a terminal: exit $code, not 2"
  grep -q "standard output is a terminal" "$work/tty.txt" || fail "no message for a terminal"
  grep -q "PNG" "$work/tty.txt" && fail "a picture reached the terminal"
else
  echo "(no script(1): terminal case skipped)"
fi

echo "== --version"
"$exe" --version >"$work/version.txt"
grep -qE '^tsntxtr [0-9]+\.[0-9]+\.[0-9]+' <(head -n 1 "$work/version.txt") ||
  fail "--version's first line is not 'tsntxtr VERSION': $(head -n 1 "$work/version.txt")"
"$exe" --help | grep -q "^Usage: tsntxtr " || fail "usage does not name tsntxtr"

echo "== the manual page"
page=$build/tsntxtr.1
if [ -f "$page" ]; then
  warnings=$(groff -man -ww -z "$page" 2>&1 || true)
  [ -z "$warnings" ] || fail "groff warns: $warnings"
  text=$(MANWIDTH=80 man -l "$page" 2>/dev/null)
  for heading in NAME SYNOPSIS DESCRIPTION OPTIONS COMMANDS "EXIT STATUS" ENVIRONMENT FILES EXAMPLES \
    "SEE ALSO"; do
    grep -q "^$heading\$" <<<"$text" || fail "the manual page has no $heading section"
  done
  grep -qE "^       tsntxtr +- +render textures and fractals" <<<"$text" || fail "NAME line"
  while read -r command; do
    grep -q "^   tsntxtr $command " <<<"$text" || fail "COMMANDS has no tsntxtr $command"
  done < <("$exe" --help | awk '/^Subcommands:/ { on = 1; next } /^$/ { on = 0 } on { print $1 }')
  grep -q -- "--format TEXT" <<<"$text" || fail "render's --format is not in the page"
  grep -q "tsntxtr render noise -o noise.png" <<<"$text" || fail "EXAMPLES"
  grep -q "$build\|Usage:" <<<"$text" && fail "the page names the build folder or says Usage:"
  [ "$(lexgrog "$page" 2>/dev/null | sed 's/.*: "//')" != "" ] || fail "lexgrog finds no NAME"
else
  fail "no manual page at $page"
fi

echo "== bash completion"
bash_reply() {
  bash -c '
    source "$1"
    shift
    COMP_WORDS=("$@")
    COMP_CWORD=$(($# - 1))
    _tsntxtr
    printf "%s\n" "${COMPREPLY[@]}"' _ "$build/completion/tsntxtr" "$@"
}
offers() { # expected, words...
  local want=$1 reply
  shift
  reply=$(bash_reply "$@")
  grep -qx -- "$want" <<<"$reply" || fail "bash: '$*' does not offer $want (offers: ${reply//$'\n'/ })"
}
offers_not() {
  local unwanted=$1 reply
  shift
  reply=$(bash_reply "$@")
  if grep -qx -- "$unwanted" <<<"$reply"; then fail "bash: '$*' offers $unwanted"; fi
}
offers noise tsntxtr render no
offers layers= tsntxtr render noise --set lay
offers render tsntxtr ren
offers describe tsntxtr ""
offers --version tsntxtr --v
offers --format tsntxtr render noise --for
offers bmp tsntxtr render noise --format ""
offers down tsntxtr render noise --normal-y ""
offers turbulence= tsntxtr sheet plasma --vary tur
offers style= tsntxtr fountains add pipes --set sty
offers add tsntxtr fountains ""
offers pipes tsntxtr render --width 100 pi
offers_not pipes tsntxtr render noise pi
offers_not sum= tsntxtr render plasma --set s
offers_not fountain= tsntxtr render noise --set f
# Every kind, and every field describe lists, is offered.
while read -r kind; do
  offers "$kind" tsntxtr render "$kind"
  while read -r field; do
    offers "$field=" tsntxtr render "$kind" --set "$field"
  done < <("$exe" describe "$kind" | awk '/^FIELD / { on = 1; next } on && $2 != "fountain" { print $1 }')
done < <("$exe" list | awk 'NR > 1 { print $2 }')

echo "== zsh completion"
if command -v zsh >/dev/null; then
  : >"$work/zsh.txt"
  timeout 60 zsh "$here/zsh_complete.zsh" "$build/completion" "$work/zsh.txt" \
    "tsntxtr render no" "tsntxtr render noise --set lay" "tsntxtr fountains a" \
    "tsntxtr render noise --format b" "tsntxtr sheet plasma --vary tur" "tsntxtr ren" \
    "tsntxtr render --width 100 pip" || fail "zsh did not complete the lines"
  expected='[tsntxtr render noise ]
[tsntxtr render noise --set layers=]
[tsntxtr fountains add ]
[tsntxtr render noise --format bmp ]
[tsntxtr sheet plasma --vary turbulence=]
[tsntxtr render ]
[tsntxtr render --width 100 pipes ]'
  [ "$(cat "$work/zsh.txt")" = "$expected" ] || fail "zsh completed: $(cat "$work/zsh.txt")"
else
  echo "(no zsh: zsh completion not tried)"
fi

if [ "$failures" -ne 0 ]; then
  echo "$failures failure(s)"
  exit 1
fi
echo "all Unix habits as expected"
