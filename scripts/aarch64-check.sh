#!/usr/bin/env bash
# The library on 64-bit Arm: cross-built with the aarch64 preset (Debian's cross compiler and the
# target's :arm64 packages; only the programs behind the labels below), its core, scenario and
# integration tests run under qemu-aarch64 (the scenario outputs compared byte for byte with the
# same expected files as on x86-64), and the week benchmark's retained heap, which must be 0
# bytes there too.
# Usage: scripts/aarch64-check.sh        (CI runs it from .ci/run)
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh cross
# The machine's compiler cache where it has one; with an empty cache this costs next to nothing.
export CCACHE_DIR=${CCACHE_DIR:-$HOME/.ccache} CCACHE_BASEDIR=$PWD CCACHE_NOHASHDIR=1
export CMAKE_CXX_COMPILER_LAUNCHER=ccache CMAKE_C_COMPILER_LAUNCHER=ccache
start=$SECONDS
step() { echo "== $* ($((SECONDS - start)) s)"; }

step "configure and build (aarch64 preset)"
cmake --preset aarch64 >/dev/null
cmake --build --preset aarch64 -j "${ZELVO_JOBS:-2}"

step "ctest -L core|integration under qemu-aarch64"
ctest --preset aarch64 -j "${ZELVO_TEST_JOBS:-2}"

step "week benchmark under qemu-aarch64"
# One simulated week (the longer runs take minutes under the emulator). Virtual time: the heap
# it reports does not depend on the emulator's speed.
json=build/aarch64/week_of_pings.json
qemu-aarch64-static build/aarch64/bench/week_of_pings_benchmark --benchmark_filter='WeekOfPings/1/' \
  --benchmark_out="$json" --benchmark_out_format=json
retained=$(grep -o '"retained_bytes": [^,}]*' "$json" | awk '{printf "%d\n", $2}')
[ -n "$retained" ] || { echo "the week benchmark reported no retained_bytes"; exit 1; }
awk '$1 != 0 { bad = 1 } END { exit bad }' <<<"$retained" || { echo "the week retains heap on aarch64: $retained bytes"; exit 1; }
echo "retained_bytes after a week on aarch64: $retained"
step "aarch64 check passed"
