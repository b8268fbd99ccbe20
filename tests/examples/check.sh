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
"$programs/inspect" scene.png --pixel-size 400 --output result.png
[ -s result.png ] || fail "no picture was written"

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
