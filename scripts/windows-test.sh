#!/usr/bin/env bash
# The Windows build, cross-compiled with mingw-w64 and tested under Wine: the core label, the
# scenarios through zelvo-sim.exe, and the Windows services against two Linux zelvo-collectors
# on 127.0.0.1 (one trusted through a CA file, one signed by another authority).
# Real Windows is not tested here.
set -euo pipefail
cd "$(dirname "$0")/.."
root=$(pwd)
bash scripts/install-deps.sh windows
cmake --preset windows >/dev/null
cmake --build --preset windows -j "${ZELVO_JOBS:-2}"
# The collector is a Linux program: built by the debug preset (already built by scripts/test.sh in CI).
[ -f build/debug/CMakeCache.txt ] || cmake --preset debug >/dev/null
cmake --build --preset debug -j "${ZELVO_JOBS:-2}" --target zelvo-collector

# One wineserver for the whole run and a prefix made once: each test program then starts in
# under a second instead of starting Wine's services anew.
export WINEPREFIX=$root/build/windows/wine WINEDEBUG=-all
mkdir -p "$WINEPREFIX"
# (It exits with 2 when a server of this prefix already runs, which is as good.)
/usr/lib/wine/wineserver -p </dev/null >/dev/null 2>&1 || true
/usr/lib/wine/wine64 build/windows/tests/zelvo_unit_tests.exe --gtest_list_tests >/dev/null

work=$(mktemp -d)
pids=()
cleanup() {
  for pid in "${pids[@]}"; do kill "$pid" 2>/dev/null || true; done
  /usr/lib/wine/wineserver -k 2>/dev/null || true
  rm -rf "$work"
}
trap cleanup EXIT
# Two collectors on ephemeral ports of 127.0.0.1, each with an authority of its own; they stop
# by themselves after 10 minutes if this script does not stop them first.
for name in trusted other; do
  build/debug/tools/zelvo-collector --ca-out "$work/$name-ca.pem" --json-out "$work/$name.jsonl" \
    --seconds 600 >"$work/$name.out" 2>&1 &
  pids+=($!)
done
port_of() {
  for _ in $(seq 100); do
    local port
    port=$(grep -o '127\.0\.0\.1:[0-9]*' "$work/$1.out" | head -1 | cut -d: -f2 || true)
    [ -n "$port" ] && { echo "$port"; return; }
    sleep 0.1
  done
  echo "the $1 collector did not start:" >&2
  cat "$work/$1.out" >&2
  return 1
}
ZELVO_TEST_COLLECTOR_PORT=$(port_of trusted)
ZELVO_TEST_OTHER_COLLECTOR_PORT=$(port_of other)
export ZELVO_TEST_COLLECTOR_PORT ZELVO_TEST_OTHER_COLLECTOR_PORT
export ZELVO_TEST_CA=$work/trusted-ca.pem ZELVO_TEST_OTHER_RECORDS=$work/other.jsonl
touch "$ZELVO_TEST_OTHER_RECORDS"
ctest --preset windows -j "${ZELVO_TEST_JOBS:-2}"
