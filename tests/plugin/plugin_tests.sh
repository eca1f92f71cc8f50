#!/usr/bin/env bash
# Tests of the Windows plug-in under Wine, through the stand-in host: the
# exports and imports of the DLL, sessions with and without interaction,
# the settings and configuration files, and a walk through every kind with
# a screenshot each. Starts (and stops) its own X server and Wine prefix.
#
# usage: plugin_tests.sh HOST.exe PLUGIN.dll NATIVE_BUILD_DIR WORK_DIR ARTIFACTS_DIR
set -uo pipefail
host_exe=$1 dll=$2 native=$3 work=$4 artifacts=$5
here=$(cd "$(dirname "$0")" && pwd)
wine_run="$here/../../tools/wine-run.sh"
tsntxtr="$native/tsntxtr"
bmp2png="$native/bmp2png"

passed=0 failed=0
pass() { passed=$((passed + 1)); echo "PASS: $*"; }
fail() { failed=$((failed + 1)); echo "FAIL: $*"; }
check() { local what=$1; shift; if "$@"; then pass "$what"; else fail "$what"; fi; }

rm -rf "$work/stage" "$artifacts"
mkdir -p "$work/stage" "$artifacts"
cp "$host_exe" "$dll" "$work/stage/"
export TSN_WINEPREFIX="$work/wine"
export WINEPREFIX="$TSN_WINEPREFIX"

# An X server of our own, on the first free display.
for n in $(seq 91 120); do
  [ -e "/tmp/.X$n-lock" ] || { display=$n; break; }
done
Xvfb ":$display" -screen 0 1024x768x24 -nolisten tcp >/dev/null 2>&1 &
xvfb=$!
export DISPLAY=":$display"
cleanup() {
  /usr/lib/wine/wineserver -k >/dev/null 2>&1 || wineserver -k >/dev/null 2>&1 || true
  kill "$xvfb" 2>/dev/null || true
}
trap cleanup EXIT
sleep 1

wine() { "$wine_run" "$@"; }
wine reg add 'HKCU\Software\Wine\Explorer' /v Desktop /d Default /f >/dev/null 2>&1
wine reg add 'HKCU\Software\Wine\Explorer\Desktops' /v Default /d 1024x768 /f >/dev/null 2>&1
# No window manager runs here: Wine would wait two seconds for one each time
# a dialog is hidden. Unmanaged windows close at once.
wine reg add 'HKCU\Software\Wine\X11 Driver' /v Managed /d N /f >/dev/null 2>&1

user_dir=$(ls -d "$WINEPREFIX"/drive_c/users/*/ | grep -v -i '/public/$' | head -n 1)
appdata="${user_dir}AppData/Roaming"
texture_dir="$appdata/Vantorel/Tessarine 16/texture"
settings="$texture_dir/texture.texture"
ini="$appdata/Vantorel/TSNTXTR.INI"
mkdir -p "$texture_dir"

# Runs the host in the stage folder; its output goes to $work/out.txt.
host() { (cd "$work/stage" && wine tsnhost.exe "$@") >"$work/out.txt" 2>"$work/err.txt"; }
said() { grep -q -- "$1" "$work/out.txt"; }

# --- The DLL's exports and imports.
objdump=x86_64-w64-mingw32-objdump
exports=$($objdump -p "$dll" | awk '/\[Ordinal\/Name Pointer\] Table/ {t=1; next} t && /^\t\[/ {print $NF} t && /^$/ {t=0}' | sort | tr '\n' ' ')
check "exports exactly the four entry points ($exports)" \
  test "$exports" = "DllMain TSN16TEXTUREDoTexture TSN16TEXTUREGetCopyright TSN16TEXTUREGetVersion "
imports=$($objdump -p "$dll" | awk '/DLL Name:/ {print tolower($3)}' | sort -u | tr '\n' ' ')
bad=""
for d in $imports; do
  case $d in
    kernel32.dll|user32.dll|gdi32.dll|comctl32.dll|comdlg32.dll|shell32.dll|advapi32.dll|ole32.dll|winmm.dll|msvcrt.dll|api-ms-win-*) ;;
    *) bad="$bad $d" ;;
  esac
done
check "imports only system libraries ($imports)" test -z "$bad"

# --- Version.
host --version
check "version 257" said "^version 257"

# --- Every built kind, without interaction, equals tsntxtr byte for byte.
built=$("$tsntxtr" list | awk 'NR > 1 && $NF == "renders" {print $2}')
for kind in $built; do
  rm -f "$settings"
  XDG_CONFIG_HOME="$appdata" "$tsntxtr" render "$kind" -o "$work/ref-$kind.bmp" --save-settings "$settings" >/dev/null 2>&1
  host --flags 4 --out got.bmp
  check "$kind: a session without interaction returns a picture" said "^result 1"
  check "$kind: the same bytes as tsntxtr" cmp -s "$work/ref-$kind.bmp" "$work/stage/got.bmp"
done

# --- Matrix: a library written by tsntxtr is drawn by the plug-in the same,
# with whole tiles off and on.
rm -f "$settings" "$texture_dir"/*.mtx
tx() { XDG_CONFIG_HOME="$appdata" "$tsntxtr" "$@" >/dev/null 2>&1; }
tx render plasma --width 64 --depth 90 -o "$work/tile.bmp"
tx matrix add "$work/tile.bmp"
check "matrix: tsntxtr wrote the current library" test -f "$texture_dir/Tessarine.mtx"
for integral in off on; do
  tx matrix integral $integral
  tx render matrix --set selection=1 --width 300 --depth 200 -o "$work/ref-matrix.bmp" --save-settings "$settings"
  host --flags 4 --out got.bmp
  check "matrix, integral $integral: the plug-in draws the library's tile as tsntxtr does" \
    cmp -s "$work/ref-matrix.bmp" "$work/stage/got.bmp"
done
tx matrix integral off

# --- The host's size wins over the settings file; the file is written.
rm -f "$settings" "$ini"
"$tsntxtr" render noise --width 320 --depth 240 -o "$work/ref.bmp" --save-settings "$settings" >/dev/null 2>&1
"$tsntxtr" render noise --width 200 --depth 120 -o "$work/ref-small.bmp" >/dev/null 2>&1
touch -d '2000-01-01' "$settings"
host --flags 4 --width 200 --depth 120 --out got.bmp
check "host size: picture 200 x 120" said "^image 200 x 120"
check "host size: the same bytes as tsntxtr at that size" cmp -s "$work/ref-small.bmp" "$work/stage/got.bmp"
check "accepted session rewrites the settings file" test "$settings" -nt "$work/ref.bmp"
check "settings file is 30073 bytes" test "$(stat -c %s "$settings")" = 30073
check "accepted session writes the configuration file" test -f "$ini"

# --- Flag bit 1: the settings file is neither written nor deleted.
touch -d '2000-01-01' "$settings"
before=$(stat -c %Y "$settings")
host --flags 6 --out got.bmp
check "no-save flag: session still accepted" said "^result 1"
check "no-save flag: settings file untouched" test "$(stat -c %Y "$settings")" = "$before"

# --- A damaged settings file is ignored: the session starts from the
# defaults, with the first kind of the list.
head -c 30072 "$settings" >"$settings.short" && mv "$settings.short" "$settings"
"$tsntxtr" render absnoise -o "$work/ref-defaults.bmp" >/dev/null 2>&1
host --flags 6 --out got.bmp --dismiss-messages
check "damaged settings: accepted" said "^result 1"
check "damaged settings: no message" bash -c "! grep -q '^messagebox' '$work/out.txt'"
check "damaged settings: the first kind's default picture" cmp -s "$work/ref-defaults.bmp" "$work/stage/got.bmp"

# --- A failed allocation in the dialog's first render: "Memory error", and
# the session goes on to render again on OK and return the picture.
"$tsntxtr" render noise --width 64 --depth 64 -o "$work/ref.bmp" --save-settings "$settings" >/dev/null 2>&1
TSNTXTR_FAIL_RENDER_ALLOCATION=0 host --flags 2 --dismiss-messages --ok-after 2500 --out got.bmp
check "failed render: \"Memory error\"" said "^messagebox Memory error"
check "failed render: session accepted with tsntxtr's picture" \
  bash -c "grep -q '^result 1' '$work/out.txt' && cmp -s '$work/ref.bmp' '$work/stage/got.bmp'"

# --- imageOut null: renders, frees, still writes the configuration file.
"$tsntxtr" render noise --width 64 --depth 64 -o "$work/ref.bmp" --save-settings "$settings" >/dev/null 2>&1
rm -f "$ini"
host --flags 4 --null-image
check "null imageOut: accepted" said "^result 1"
check "null imageOut: no picture handed over" said "^image none"
check "null imageOut: configuration file written" test -f "$ini"

# --- "Done" mode: OK reads "Done" and Cancel is disabled; "View..." hands
# the picture to the host's view function with the host's context.
host --flags 8 --ok-after 1500 --out got.bmp
check "done mode: OK is captioned Done, Cancel disabled" said '^buttons ok "Done" cancel 0'
check "view: the host's view function gets the picture and its context" said "^view: image [0-9A-Fa-fx]* context 7"
check "done mode: session accepted with a picture" said "^image 64 x 64"
host --ok-after 1500 --out got.bmp
check "normal mode: OK and Cancel as usual" said '^buttons ok "OK" cancel 1'

# --- Cancel: returns 0 and writes no configuration file.
rm -f "$ini"
host --cancel-after 1500
check "cancel: result 0" said "^result 0"
check "cancel: no configuration file" test ! -f "$ini"

# --- A settings file from someone else whose colour maps name files: the
# dialog writes a colour map back only to a fountain record file, and only
# on OK; any other file named there stays as it was.
victim="$work/victim.txt" record="$work/record.fnt"
printf 'mine' >"$victim"
perl -e 'print "VANTFNTN", pack("V3", 0x10006101, 585, 0), "\0" x 565' >"$record"
cp "$record" "$work/record-before.fnt"
# Every fountain record in the settings file names $1, as Windows sees it.
name_fountains() {
  rm -f "$settings"
  "$tsntxtr" render noise --width 64 --depth 64 -o "$work/n.bmp" --save-settings "$settings" >/dev/null 2>&1
  perl -0777 -i -pe 'BEGIN { $n = shift } my @at; push @at, pos() - 8 while /VANTFNTN/g;
    for my $p (@at) { substr($_, $p + 20, 261) = pack("Z261", $n) }' "Z:${1//\//\\}" "$settings"
}
for press in --cancel-after --ok-after; do
  name_fountains "$victim"
  host "$press" 1500 --out got.bmp
  check "foreign fountain names ($press): the named file stays as it was" test "$(cat "$victim")" = mine
  name_fountains "$record"
  host "$press" 1500 --out got.bmp
done
check "foreign fountain names: a fountain record file named there is written back on OK" \
  bash -c "! cmp -s '$record' '$work/record-before.fnt'"
name_fountains "$record"
cp "$record" "$work/record-before.fnt"
host --cancel-after 1500
check "foreign fountain names: not on Cancel" cmp -s "$record" "$work/record-before.fnt"
rm -f "$settings"

# --- Mandelbrot's navigation view: a click centres there and zooms in; the
# session's remembered settings give tsntxtr the same picture.
rm -f "$settings"
"$tsntxtr" render mandelbrot --width 300 --depth 300 -o "$work/nav0.bmp" --save-settings "$settings" >/dev/null 2>&1
host --click 364 60 40 --out got.bmp
check "navigation: the view control is on the page" said "^click 364 found"
check "navigation: the status line names the point" said "^status REAL: -\?[0-9.]*   IMAG: -\?[0-9.]*   ZOOM LEVEL: [0-9]*"
check "navigation: session accepted" said "^result 1"
check "navigation: the view changed" bash -c "! cmp -s '$work/nav0.bmp' '$work/stage/got.bmp'"
"$tsntxtr" render --from "$settings" -o "$work/nav1.bmp" >/dev/null 2>&1
check "navigation: tsntxtr renders the same view from the settings" cmp -s "$work/nav1.bmp" "$work/stage/got.bmp"

# --- Presets of every kind move between tsntxtr and the plug-in: a preset
# written by tsntxtr loads in the plug-in, which adds it again under another
# name through its name box; both files hold the same bytes.
rm -f "$texture_dir"/rt-*
for key in $("$tsntxtr" list | awk 'NR > 1 {print $2}'); do
  if [[ " $(echo $built) " == *" $key "* ]]; then
    save=(render "$key" -o "$work/preset.bmp" --save-preset rt-in)
  else
    save=(presets "$key" --save rt-in)
  fi
  XDG_CONFIG_HOME="$appdata" "$tsntxtr" "${save[@]}" --seed 4321 >/dev/null 2>&1 ||
    XDG_CONFIG_HOME="$appdata" "$tsntxtr" "${save[@]}" --width 321 >/dev/null 2>&1
done
host --preset-round-trip rt-in rt-out
for key in $("$tsntxtr" list | awk 'NR > 1 {print $2}'); do
  index=$("$tsntxtr" list | awk -v k="$key" '$2 == k {print $1}')
  if [ "$key" = matrix ]; then
    check "presets: Matrix keeps its tiles in a library of its own, not in presets" \
      test ! -e "$texture_dir/rt-in.$key"
    continue
  fi
  check "presets $key: the plug-in lists and loads tsntxtr's preset" said "^preset $index list [0-9]* loaded 1 named 1"
  check "presets $key: the plug-in's copy has the same bytes" cmp -s "$texture_dir/rt-in.$key" "$texture_dir/rt-out.$key"
done

# --- A walk through all 23 kinds with Preview and a screenshot each.
mkdir -p "$work/stage/shots"
host --walk shots --width 400 --depth 300
built_list=" $(echo $built | tr '\n' ' ') "
walked=$(grep -c '^walk ' "$work/out.txt")
check "walk: all 23 kinds visited" test "$walked" = 23
while read -r _ index _ data _ name rest; do
  key=$("$tsntxtr" list | awk -v i="$index" 'NR > 1 && $1 == i {print $2}')
  grid=$(sed -E 's/.*grid ([01]).*/\1/' <<<"$rest")
  box=$(sed -E 's/.*messagebox ([01]).*/\1/' <<<"$rest")
  case $index in 11|13|14|20) want_grid=1 ;; *) want_grid=0 ;; esac
  check "walk $index $key: item data is index + 1" test "$data" = $((index + 1))
  check "walk $index $key: mutation grid shown = $want_grid" test "$grid" = "$want_grid"
  if [[ "$built_list" == *" $key "* ]]; then
    check "walk $index $key: renders without a message box" test "$box" = 0
  else
    check "walk $index $key: not built, so the render reports failure" test "$box" = 1
  fi
  shot="$work/stage/shots/kind-$(printf %02d "$index").bmp"
  if [ -f "$shot" ]; then "$bmp2png" "$shot" "$artifacts/dialog-$(printf %02d "$index")-$key.png"; fi
done < <(grep '^walk ' "$work/out.txt")
check "walk: screenshots saved" test "$(ls "$artifacts" | wc -l)" = 23

# --- Editing colours. A named colour from the database tsntxtr wrote goes
# into a colour button; on a colour map a double click adds a marker in a
# named colour (after the dialog adds a colour of its own to the database),
# a drag moves it and its menu deletes it; the map is stored in the library
# before and after, and the library dialog picks the second entry back.
rm -f "$settings" "$texture_dir/FountainLibrary.fll" "$appdata/Vantorel/colors.ccl" \
  "$appdata/Vantorel/Tessarine 16/TSNTXTR.CCL"
tx colours add "Pure red" 0x0000FF
kind_index() { "$tsntxtr" list | awk -v k="$1" 'NR > 1 && $2 == k {print $1}'; }
mkdir -p "$work/stage/colour-shots"
host --edit-colours "$(kind_index noise)" "$(kind_index pipes)" "Pure red" "Plug-in grey" colour-shots --out got.bmp
cp "$work/out.txt" "$artifacts/edit-colours.txt"
record() { sed -n "s/^$1 //p" "$work/out.txt" | tr -d '\r'; }
count() { record "$1" | awk '{print $2}'; }
markers() { record "$1" | sed 's/^count [0-9]* //'; }
added_at=$(record "add at x [0-9]* position")
dragged_to=$(record "drag to x [0-9]* position")
at_marker=$(record "gradient at marker")
check "colours: the colour button took the named colour" said "^button 0x0000FF"
check "colours: the editor is on the page" said "^editor found"
check "colours: a double click added a marker in the picked colour" \
  test "$(count added)" = $(($(count initial) + 1)) -a -n "$added_at"
has_red() { [[ " $1 " == *" $2:0000FF "* ]]; }
check "colours: the new marker is at the clicked position" has_red "$(markers added)" "$added_at"
# BBGGRR; the pixel under the marker may sit one pixel off the colour stop.
red_at_marker() {
  [[ "$at_marker" =~ ^[0-9A-F]{6}$ ]] &&
    (( 0x${at_marker:4:2} >= 0xE0 && 0x${at_marker:2:2} <= 0x20 && 0x${at_marker:0:2} <= 0x20 ))
}
check "colours: the editor's gradient shows the colour at the marker ($at_marker)" red_at_marker
check "colours: the drag moved the marker" has_red "$(markers dragged)" "$dragged_to"
check "colours: the drag kept the number of markers" test "$(count dragged)" = "$(count added)"
check "colours: the menu deleted the marker" test "$(markers deleted)" = "$(markers initial)"
check "colours: the library dialog lists both stored maps" said "^library 2 entries"
check "colours: picking entry 2 brings the dragged map back" test "$(markers picked)" = "$(markers dragged)"
check "colours: session accepted" said "^result 1"
listed=$(XDG_CONFIG_HOME="$appdata" "$tsntxtr" fountains list 2>&1 | tr -d '\r')
check "colours: tsntxtr reads the plug-in's library" has_red "$(awk '$1 == 2' <<<"$listed")" "$dragged_to"
check "colours: tsntxtr lists the colour the plug-in added" \
  bash -c "XDG_CONFIG_HOME='$appdata' '$tsntxtr' colours list | grep -q '0x1E140A  Plug-in grey'"
"$tsntxtr" render --from "$settings" -o "$work/edit.bmp" >/dev/null 2>&1
XDG_CONFIG_HOME="$appdata" "$tsntxtr" render --from "$settings" --fountain-library 2 -o "$work/edit2.bmp" >/dev/null 2>&1
XDG_CONFIG_HOME="$appdata" "$tsntxtr" render --from "$settings" --fountain-library 1 -o "$work/edit1.bmp" >/dev/null 2>&1
check "colours: tsntxtr renders the plug-in's picture from its settings" cmp -s "$work/edit.bmp" "$work/stage/got.bmp"
check "colours: ... and with library map 2" cmp -s "$work/edit2.bmp" "$work/stage/got.bmp"
check "colours: the picked map changed the picture" bash -c "! cmp -s '$work/edit1.bmp' '$work/stage/got.bmp'"
for shot in colour-dialog marker-editor library-dialog; do
  check "colours: screenshot $shot" "$bmp2png" "$work/stage/colour-shots/$shot.bmp" "$artifacts/$shot.png"
done

echo
echo "plugin: $passed passed, $failed failed"
[ "$failed" -eq 0 ]
