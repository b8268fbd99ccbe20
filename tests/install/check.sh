#!/usr/bin/env bash
# Usage: check.sh BUILD_DIRECTORY CXX_COMPILER
# Installs a build into a scratch directory, moves it, and builds and runs the consumer against it: once with CMake's
# package, once with pkg-config.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
build=$1
export CXX=$2

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cmake --install "$build" --prefix "$scratch/first" >/dev/null
mv "$scratch/first" "$scratch/prefix"  # an installation does not depend on where it was made

# The consumer is the first program of the README, to the letter.
sed -n '/^```cpp$/,/^```$/{/^```/d;p}' "$here/../../README.md" | diff - "$here/consumer.cpp"

expected='a part 100 um wide'
cmake -S "$here" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$scratch/prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
[ "$("$scratch/consumer/consumer")" = "$expected" ]

pc=$(find "$scratch/prefix" -name zeb.pc)
export PKG_CONFIG_PATH=${pc%/*}
# shellcheck disable=SC2046: flags are words
"$CXX" -std=c++17 "$here/consumer.cpp" -o "$scratch/by_pkg_config" $(pkg-config --cflags --libs zeb)
[ "$(LD_LIBRARY_PATH=$(pkg-config --variable=libdir zeb) "$scratch/by_pkg_config")" = "$expected" ]
