#!/usr/bin/env bash
# Usage: headers.sh SOURCE_DIR BUILD_DIR
# Compiles every public header alone, twice in one file, with GCC and Clang, as C++17 and C++20, without a warning.
set -euo pipefail
source_dir=$1 build_dir=$2

includes=()
for part in "" siblings/core siblings/math; do
  includes+=(-I "$source_dir/$part/include" -I "$build_dir/$part/include")
done

headers=()
for directory in include siblings/core/include siblings/math/include; do
  while IFS= read -r header; do headers+=("$header"); done < <(cd "$source_dir/$directory" && find . -name '*.h' | sed 's|^\./||' | sort)
done
[ "${#headers[@]}" -ge 15 ] || { echo "only ${#headers[@]} headers found" >&2; exit 1; }

failures=0
for compiler in g++ clang++; do
  command -v "$compiler" >/dev/null || { echo "$compiler is missing" >&2; exit 1; }
  for standard in c++17 c++20; do
    for header in "${headers[@]}"; do
      printf '#include "%s"\n#include "%s"\n' "$header" "$header" |
        "$compiler" -std=$standard -fsyntax-only -Wall -Wextra -Wpedantic -Wconversion -Werror "${includes[@]}" -x c++ - ||
        { echo "$header does not compile alone with $compiler as $standard" >&2; failures=$((failures + 1)); }
    done
  done
done
echo "${#headers[@]} headers, 2 compilers, 2 standards, $failures failures"
[ "$failures" -eq 0 ]
