#!/usr/bin/env bash
# Usage: packages.sh BUILD_DIRECTORY CXX_COMPILER
# Makes the Debian packages of a build, looks at what they say of themselves, unpacks both into a scratch directory, and
# builds and runs the consumer against that.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

fail() { echo "$*" >&2; exit 1; }

scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
cpack --config "$1/CPackConfig.cmake" -B "$scratch/packages" >"$scratch/log" || fail "$(cat "$scratch/log")"
runtime=$(ls "$scratch"/packages/libzeb[0-9]*.deb)
development=$(ls "$scratch"/packages/libzeb-dev_*.deb)

# field PACKAGE FIELD PATTERN
field() { dpkg-deb --field "$1" "$2" | grep -Eq "$3" || fail "${1##*/}: $2: $(dpkg-deb --field "$1" "$2")"; }
version=$(dpkg-deb --field "$runtime" Version)
field "$runtime" Depends 'libfftw3-single3'
field "$runtime" Depends 'libstdc\+\+6'
field "$development" Depends "^$(dpkg-deb --field "$runtime" Package) \(= $version\)$"
for package in "$runtime" "$development"; do
  field "$package" Maintainer '^the zeb authors <.*>$'
  dpkg-deb --extract "$package" "$scratch/root"
  licence=$scratch/root/usr/share/doc/$(dpkg-deb --field "$package" Package)/copyright
  cmp "$licence" "$here/../../LICENSE"
done
dpkg-deb --contents "$runtime" | grep -Eq '\.so( |$)' && fail "the runtime package has the links that are for building"
dpkg-deb --info "$runtime" shlibs | grep -q '^libzeb-math ' || fail "no shlibs: $(dpkg-deb --info "$runtime")"

"$here/consume.sh" "$scratch/root/usr" "$scratch" "$2"
