#!/usr/bin/env bash
# The pages of docs/reference name every function that the library exports, and no page names one that no header
# declares. A function is named as `name()`.
set -euo pipefail
cd "$(dirname "$0")/../.."

last_names() { sed -E 's/.*:://' | sort -u; }
named_in() { grep -ohE '`[A-Za-z_:0-9]+\(\)`' "$@" | tr -d '`()'; }

exported=$(cat tests/exports/*.txt | sed -E 's/<[^<>]*>//g; s/\(.*//; s/.* //' |
  grep -vE 'zeb::detail::|^(zeb::)?(Shape|invalid_chain_code_element)::' | last_names)
declared=$(grep -ohE '[A-Za-z_0-9]+\(' include/zeb/*.h siblings/*/include/zeb/*.h | tr -d '(' | sort -u)
missing=$(comm -23 <(echo "$exported") <(named_in docs/reference/*.md | last_names))
unknown=$(comm -23 <(named_in docs/*.md docs/reference/*.md | grep -v '^cv::' | last_names) <(echo "$declared"))

[ -z "$missing" ] || echo "In no page of docs/reference:" $missing >&2
[ -z "$unknown" ] || echo "Named in docs/, but declared nowhere:" $unknown >&2
[ -z "$missing$unknown" ]
