#!/usr/bin/env bash
# Builds the fuzz preset (clang, libFuzzer, ASan, UBSan) and runs each fuzz target for SECONDS
# (default 20), two at a time, starting from its seed corpus in fuzz/corpus/<target>/. New inputs the fuzzer
# finds go to a scratch folder, not into the tree. A crashing input is kept under
# build/fuzz/crashes/ (add it to the target's corpus with the fix); the script then fails.
# Usage: scripts/fuzz.sh [SECONDS] [TARGET...]   (all targets when none is named)
set -euo pipefail
cd "$(dirname "$0")/.."
seconds=${1:-20}
[ $# -gt 0 ] && shift
bash scripts/install-deps.sh fuzz
cmake --preset fuzz >/dev/null
cmake --build --preset fuzz -j"${FUZZ_BUILD_JOBS:-2}" >/dev/null

targets=("$@")
if [ ${#targets[@]} -eq 0 ]; then
  for source in fuzz/*_fuzzer.cpp; do targets+=("$(basename "$source" _fuzzer.cpp)"); done
fi
scratch=$(mktemp -d)
trap 'rm -rf "$scratch"' EXIT
mkdir -p build/fuzz/crashes
# One target per core at a time (FUZZ_JOBS, default 2): each fuzzer is single-threaded.
run_one() {
  local target=$1 log="build/fuzz/crashes/$1.log" started
  mkdir -p "$scratch/$target"
  started=$(date +%s)
  if build/fuzz/fuzz/"${target}"_fuzzer -max_total_time="$seconds" -timeout=30 -rss_limit_mb=2048 \
      -artifact_prefix="build/fuzz/crashes/$target-" "$scratch/$target" "fuzz/corpus/$target" >"$log" 2>&1; then
    echo "fuzz $target: clean, $(grep -o 'Done [0-9]* runs' "$log" | tail -1 | cut -d' ' -f2) runs in $(( $(date +%s) - started )) s"
  else
    echo "fuzz $target: FAILED after $(( $(date +%s) - started )) s; log and input in build/fuzz/crashes/"
    grep -m1 -A12 -E '^==[0-9]+==ERROR|runtime error|deadly signal|Timeout|out-of-memory' "$log" || tail -20 "$log"
    return 1
  fi
}
failed=0
running=0
for target in "${targets[@]}"; do
  if [ "$running" -ge "${FUZZ_JOBS:-2}" ]; then
    wait -n || failed=1
    running=$((running - 1))
  fi
  run_one "$target" &
  running=$((running + 1))
done
while [ "$running" -gt 0 ]; do
  wait -n || failed=1
  running=$((running - 1))
done
exit $failed
