#!/usr/bin/env bash
# The ABI gate of libzelvo: the shared library's ABI (abidw, from its debug information, limited
# to the types of the public headers) against the baseline kept for its SONAME in
# abi/<SONAME>.abi. A removed or changed function, variable or type of the public API, the C
# API's included, fails; additions are reported and pass. A deliberate break is a new SONAME and
# so a new baseline (README, "Versioning").
# Usage: scripts/abi-check.sh LIBRARY   check LIBRARY (scripts/package-check.sh gives the package
#                                       build's library, not yet stripped)
#        scripts/abi-check.sh --update  build the library with the package preset and write its
#                                       ABI as the baseline (after a deliberate change)
set -euo pipefail
cd "$(dirname "$0")/.."
build=build/package
soname_of() { readelf -d "$1" | sed -n 's/.*(SONAME).*\[\(.*\)\]/\1/p'; }

# The same options for the baseline and the check, so that only the ABI differs: the public
# headers (the generated ones too) say which types are the API; no paths or source lines, which
# move without any change of ABI.
abi_of() {
  abidw --headers-dir include --headers-dir "$build/include" --drop-private-types --exported-interfaces-only \
    --no-corpus-path --no-comp-dir-path --no-show-locs --type-id-style hash --out-file "$2" "$1"
}

if [ "${1:-}" = --update ]; then
  cmake --preset package >/dev/null
  cmake --build --preset package --target zelvo -j "${ZELVO_JOBS:-2}"
  library=$build/libzelvo.so
  baseline=abi/$(soname_of "$library").abi
  mkdir -p abi
  abi_of "$library" "$baseline"
  echo "wrote $baseline: commit it with the change that it records"
  exit 0
fi

library=${1:?usage: scripts/abi-check.sh LIBRARY | --update}
baseline=abi/$(soname_of "$library").abi
[ -f "$baseline" ] || { echo "no $baseline: a new SONAME needs its baseline (scripts/abi-check.sh --update)"; exit 1; }
current=$(mktemp)
report=$(mktemp)
trap 'rm -f "$current" "$report"' EXIT
abi_of "$library" "$current"
# abidiff's status is a bit set: 1 and 2 are its own failures; 4 (a change) and 8 (an
# incompatible one) are judged from the report, where additions count as changes too. A type
# is compared where the API reaches it: as a parameter, a result, a member or a base of one.
# abi/libzelvo.abignore leaves out the standard library's template instances.
set +e
abidiff --suppressions abi/libzelvo.abignore "$baseline" "$current" >"$report"
status=$?
set -e
if [ $((status & 3)) -ne 0 ]; then
  cat "$report"; echo "abidiff failed (status $status)"; exit 1
fi
if [ "$status" -eq 0 ]; then
  echo "ABI of $(basename "$baseline" .abi): as in $baseline"
  exit 0
fi
cat "$report"
# The summary lines count removed, changed and added functions, variables, symbols and types.
if grep -Eq '[1-9][0-9]* ([Rr]emoved|[Cc]hanged)' "$report"; then
  echo "the ABI lost or changed something against $baseline (above): keep what was there, or break"
  echo "the ABI on purpose as the README's \"Versioning\" says"
  exit 1
fi
echo "ABI against $baseline: additions only (above); scripts/abi-check.sh --update records them"
