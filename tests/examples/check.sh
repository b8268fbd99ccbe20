#!/usr/bin/env bash
# Usage: check.sh DIRECTORY_OF_THE_PROGRAMS
# The example programs on a drawn scene, and what they say to input that they cannot use.
set -euo pipefail
programs=$1
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cd "$scratch"

fail() { echo "$*" >&2; exit 1; }

"$programs/draw_scene" scene.png
"$programs/inspect" scene.png --pixel-size 400 --fit --output result.png --mask mask.png --csv parts.csv --json parts.json
for file in result.png mask.png parts.json; do [ -s "$file" ] || fail "$file was not written"; done
# The scene holds 24 discs of 16, 20 and 25 pixels radius, drawn without their rim pixels.
[ "$(tail -n +2 parts.csv | wc -l)" -eq 24 ] || fail "not 24 parts: $(cat parts.csv)"
awk -F, 'NR == 1 { for (i = 1; i <= NF; ++i) if ($i == "diameter_px") column = i; next }
  { d = $column; if (!(d > 31 && d < 32.5 || d > 39 && d < 40.5 || d > 49 && d < 50.5)) { print "diameter " d; bad = 1 } }
  END { exit bad }' parts.csv || fail "a disc was measured wrong"

"$programs/align" scene.png --turn -30 | grep -Eq 'turned by -(29.[5-9]|30.[0-5])' || fail "align missed the rotation"
"$programs/destripe" scene.png | grep -Eq ' [0-4]\.[0-9] % of it are left' || fail "destripe left more than 5 %"

# refused PATTERN ARGUMENTS...: exit code 2 and one line that matches.
refused() {
  local pattern=$1 status=0
  shift
  "$programs/inspect" "$@" >out.txt 2>err.txt || status=$?
  [ "$status" -eq 2 ] || fail "inspect $*: exit code $status"
  [ "$(wc -l <err.txt)" -eq 1 ] || fail "inspect $*: not one line: $(cat err.txt)"
  grep -q "$pattern" err.txt || fail "inspect $*: said: $(cat err.txt)"
}

echo "no picture" >text.png
refused 'missing.png' missing.png
refused 'give the path of a PNG file' text.png
refused 'convert it to 8-bit grey' result.png
refused 'must be above 0' scene.png --pixel-size 0
refused 'must be above 0' scene.png --pixel-size nan
refused 'pixel-size' scene.png --pixel-size wide
refused 'threshold' scene.png --threshold 256
refused 'choose another --output' scene.png --output no/such/folder/x.png
refused 'required'
