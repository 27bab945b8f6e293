#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs the tests of one preset (default: debug).
# Usage: scripts/test.sh [debug|release|asan-ubsan|tsan]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-debug}
bash scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "${ZELVO_JOBS:-2}"
# Tests against real local servers can meet the machine's own hiccups; one retry keeps CI honest
# about real faults (a deterministic failure fails twice) without failing on a lost race. Two at
# a time: many cases spend their time waiting on a server, a display or a ping period.
ctest --preset "$preset" --repeat until-pass:2 -j "${ZELVO_TEST_JOBS:-2}"
