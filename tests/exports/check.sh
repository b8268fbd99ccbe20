#!/usr/bin/env bash
# Usage: check.sh LIBRARY
# What the library exports must be exactly what the lists beside this script name: one list a family, one demangled
# symbol a line.
set -euo pipefail
here=$(cd "$(dirname "$0")" && pwd)

exported=$(nm --dynamic --defined-only --demangle "$1" | cut -d' ' -f3- | grep -vE '^(typeinfo( name)?|vtable) for ' | sort -u)
listed=$(sort -u "$here"/*.txt)

if ! diff <(echo "$listed") <(echo "$exported"); then
  echo "The exports differ: '<' is listed and missing, '>' is exported and not listed." >&2
  exit 1
fi
