# Reads a tsntxtr --help text (CLI11's layout) and prints, for every entry of
# its sections ("Positionals:", "Options:", "Subcommands:", "Examples:"),
# "SECTION<TAB>ENTRY", an entry's continuation lines joined onto it after two
# spaces. tools/make-completion.sh and tools/make-man.sh read commands,
# options and examples from the program this way.
function flush() {
  if (entry != "") print section "\t" entry
  entry = ""
}
/^[A-Z][A-Za-z]*:$/ { flush(); section = substr($0, 1, length($0) - 1); next }
/^$/ { flush(); section = ""; next }
section == "" { next }
/^  [^ ]/ { flush(); entry = substr($0, 3); next }
/^   +[^ ]/ { sub(/^ +/, ""); entry = entry "  " $0; next }
END { flush() }
