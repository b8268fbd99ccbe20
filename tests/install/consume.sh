#!/usr/bin/env bash
# Usage: consume.sh PREFIX SCRATCH_DIRECTORY CXX_COMPILER
# Builds and runs the consumer against what is installed under a prefix: once with CMake's package, once with pkg-config.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)
prefix=$1
scratch=$2
export CXX=$3

expected='a part 100 um wide'
cmake -G Ninja -S "$here" -B "$scratch/consumer" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$scratch/consumer" >/dev/null
[ "$("$scratch/consumer/consumer")" = "$expected" ]

pc=$(find "$prefix" -name zeb.pc)
export PKG_CONFIG_PATH=${pc%/*}
# shellcheck disable=SC2046 # flags are words
"$CXX" -std=c++17 "$here/../../examples/minimal.cpp" -o "$scratch/by_pkg_config" $(pkg-config --cflags --libs zeb)
[ "$(LD_LIBRARY_PATH=$(pkg-config --variable=libdir zeb) "$scratch/by_pkg_config")" = "$expected" ]
