#!/usr/bin/env bash
# Usage: check.sh BUILD_DIRECTORY CXX_COMPILER
# Installs a build into a scratch directory, moves it, and builds and runs the consumer against it.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$1" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$scratch/prefix"  # an installation does not depend on where it was made

# The consumer is the first program of the README, to the letter.
sed -n '/^```cpp$/,/^```$/{/^```/d;p}' "$here/../../README.md" | diff - "$here/../../examples/minimal.cpp"

"$here/consume.sh" "$scratch/prefix" "$scratch" "$2"
