#!/usr/bin/env bash
# Usage: snippets.sh PAGE.md PROGRAM.cpp
# Makes a program of the C++ blocks of a page: a function for each block, called one after the other. What the blocks
# claim, they assert. A page without blocks is an error.
set -euo pipefail

awk -v page="$1" '
  BEGIN {
    print "#undef NDEBUG"
    print "#include <algorithm>\n#include <array>\n#include <cassert>\n#include <cmath>\n#include <complex>\n#include <vector>"
    print "#ifdef ZEB_DOCS_OPENCV\n#include <opencv2/core.hpp>\n#include <opencv2/imgproc.hpp>\n#endif"
    print "#include \"zeb/zeb.h\""
  }
  /^```/ && inside { print "}"; inside = 0; next }
  /^```cpp$/ { printf "static void block_%d() {\n#line %d \"%s\"\n", ++blocks, NR + 1, page; inside = 1; next }
  inside { print }
  END {
    if (blocks == 0 || inside) { print page ": no C++ block, or one without an end" > "/dev/stderr"; exit 1 }
    print "int main() {"
    for (i = 1; i <= blocks; ++i) printf "  block_%d();\n", i
    print "}"
  }' "$1" >"$2"
