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

# The bars are 17 pixels wide and 37, 43 or 49 long; turned ones come out up to a pixel wider, of the pixel grid.
"$programs/draw_scene" bars.png --bars
"$programs/inspect" bars.png --output bars_result.png --csv bars.csv >bars.txt
[ "$(tail -n +2 bars.csv | wc -l)" -eq 24 ] || fail "not 24 bars: $(cat bars.csv)"
awk -F, 'NR == 1 { for (i = 1; i <= NF; ++i) column[$i] = i; next }
  { l = $column["length_px"]; w = $column["width_px"]; o = l < 40 ? 37 : l < 46 ? 43 : 49
    if (w < 16 || w > 18.2 || l < o - 1 || l > o + 1.2) { print "bar of " l " by " w; bad = 1 } }
  END { exit bad }' bars.csv || fail "a bar was measured wrong"

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

# A folder: the same table for any number of processes; an image that is no PNG and one whose process dies are told of
# in the summary and in the table, and cost no other image.
mkdir folder
for seed in 1 2 3 4 5; do "$programs/draw_scene" "folder/$seed.png" --seed "$seed"; done
status=0
"$programs/batch" folder --csv good.csv --processes 1 --pictures pictures >summary.txt || status=$?
[ "$status" -eq 0 ] || fail "batch: exit code $status: $(cat summary.txt)"
grep -q '5 images .* 5 measured, 0 failed' summary.txt || fail "batch: said: $(cat summary.txt)"
[ -s pictures/3.png ] || fail "batch drew no pictures"
"$programs/inspect" folder/3.png --csv three.csv >three.txt
diff <(tail -n +2 three.csv) <(sed -n 's/^"3.png",\(.*\),$/\1/p' good.csv) || fail "batch and inspect differ"

echo "no picture" >'folder/2 "b".png'
mkfifo folder/4b.png  # whoever opens it waits until it is ended
"$programs/batch" folder --csv bad.csv --processes 3 >summary.txt 2>err.txt &
batch=$!
# Once the rows before the pipe's are written, the only process left is the one that waits for it.
# Processes may vanish while they are listed.
children() { cat /proc/[0-9]*/stat 2>/dev/null | awk -v parent="$batch" '$4 == parent { print $1 }' || true; }
until grep -q '^"4.png"' bad.csv 2>/dev/null && [ "$(children | wc -l)" -eq 1 ]; do sleep 0.05; done
kill -KILL "$(children)"
status=0
wait "$batch" || status=$?
[ "$status" -eq 1 ] || fail "batch with bad images: exit code $status"
grep -q '7 images .* 5 measured, 2 failed' summary.txt || fail "batch: said: $(cat summary.txt)"
[ "$(grep -c '^failed: ' summary.txt)" -eq 2 ] || fail "batch did not name the two: $(cat summary.txt)"
diff good.csv <(grep -vE '^"(2 ""b""|4b).png",' bad.csv) || fail "bad images changed the rows of others"
grep -q '^"2 ""b"".png",,.*"cannot be read as PNG' bad.csv || fail "the image that is no PNG is not in the table"
grep -q '^"4b.png",,.*"ended its process (Killed)"$' bad.csv || fail "the process that died is not in the table"
awk -F, '{ print NF }' bad.csv | sort -u | wc -l | grep -qx 1 || fail "rows of different lengths"
"$programs/batch" folder --csv late.csv --time-limit 1 >summary.txt && fail "batch measured a pipe"
grep -q '4b.png: took more than 1 s' summary.txt || fail "no time limit: $(cat summary.txt)"
diff <(grep -v '"4b.png"' bad.csv) <(grep -v '"4b.png"' late.csv) || fail "the order depends on the processes"
