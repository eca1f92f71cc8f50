#!/usr/bin/env bash
# Writes the manual page tsntxtr(1) with help2man from the built program:
# its --help and --version, docs/tsntxtr.h2m for what they do not say, and a
# COMMANDS section (every command's usage and options) and an EXAMPLES
# section made here from the commands' own --help, so nothing is written
# twice. The date is SOURCE_DATE_EPOCH's when that is set.
#
# usage: tools/make-man.sh TSNTXTR INCLUDE_FILE OUTPUT
set -euo pipefail
export LC_ALL=C
exe=$1
include=$2
out=$3
here=$(dirname "$0")
work=$(mktemp)
trap 'rm -f "$work"' EXIT

sections() { "$exe" "$@" --help | awk -f "$here/help_sections.awk"; }

# Text safe in roff: backslashes written out, hyphens as minus signs where
# they begin an option, no line starting with a control character.
roff() {
  sed -e 's/\\/\\e/g' -e 's/\(^\|[ ,[]\)-/\1\\-/g' -e 's/\\-\([a-zA-Z-]*\)-/\\-\1\\-/g' \
    -e "s/^\([.']\)/\\\\\&\1/"
}

# One command's part of COMMANDS: its usage line, what it does, and its
# positional arguments and options as tagged paragraphs.
command_section() {
  local help usage
  help=$("$exe" "$@" --help)
  usage=$(sed -n 's/^Usage: //p' <<<"$help" | head -n 1)
  printf '.SS "%s"\n' "$(roff <<<"$usage")"
  head -n 1 <<<"$help" | roff
  sections "$@" | awk -F '\t' '$1 == "Positionals" || $1 == "Options"' |
    while IFS=$'\t' read -r _ entry; do
      local usage=$entry desc=''
      if [[ $entry == *"  "* ]]; then
        usage=${entry%%  *}
        desc=${entry#*  }
        desc=${desc#"${desc%%[! ]*}"}
      fi
      local names=${usage%% *} rest=''
      [[ $usage == *" "* ]] && rest=${usage#* }
      echo ".TP"
      if [ -n "$rest" ]; then
        printf '\\fB%s\\fR \\fI%s\\fR\n' "$(roff <<<"$names")" "$(roff <<<"$rest")"
      else
        printf '\\fB%s\\fR\n' "$(roff <<<"$names")"
      fi
      roff <<<"$desc"
    done
}

# COMMANDS first: help2man keeps the order of the sections it does not
# know, so the commands come before EXIT STATUS and the rest.
{
  echo "[COMMANDS]"
  while IFS=$'\t' read -r _ entry; do
    name=${entry%% *}
    command_section "$name"
    sections "$name" | awk -F '\t' '$1 == "Subcommands" { sub(/ .*/, "", $2); print $2 }' |
      while read -r sub; do command_section "$name" "$sub"; done
  done < <(sections | awk -F '\t' '$1 == "Subcommands"')
  echo
  # The include file from its first section on (what comes before is a note
  # to its readers).
  sed -n '/^\[/,$p' "$include"
  echo
  echo "[=EXAMPLES]"
  echo ".nf"
  sections | awk -F '\t' '$1 == "Examples" { print $2 }' | roff
  echo ".fi"
} >"$work"

# The footer names the release alone: the commit would crowd the date.
version=$("$exe" --version | awk 'NR == 1 { print $2 }')
"${HELP2MAN:-help2man}" --no-info --version-string="$version" --include="$work" --output="$out" \
  "$exe"
