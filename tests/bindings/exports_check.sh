#!/usr/bin/env bash
# Every function zelvo.h declares is exported by the shared library (a missing ZELVO_EXPORT
# would leave it hidden).
# Usage: exports_check.sh HEADER SHARED_LIBRARY
set -euo pipefail
declared=$(sed -nE 's/^ZELVO_EXPORT .*[ *](zelvo_[a-z0-9_]+)\(.*/\1/p' "$1" | sort -u)
exported=$(nm -D --defined-only "$2" | awk '$2 == "T" { print $3 }' | grep '^zelvo_' | sort -u || true)
[ "$(echo "$declared" | wc -l)" -ge 40 ] || { echo "FAILED: found only $(echo "$declared" | wc -l) declarations"; exit 1; }
missing=$(comm -23 <(echo "$declared") <(echo "$exported"))
[ -z "$missing" ] || { echo "FAILED: not exported:" $missing; exit 1; }
echo "all $(echo "$declared" | wc -l) functions of zelvo.h are exported"
