#!/usr/bin/env bash
# Installs what is missing, configures, builds and runs the tests of one preset (default: debug).
# Usage: scripts/test.sh [debug|release|asan-ubsan|tsan]
set -euo pipefail
cd "$(dirname "$0")/.."
preset=${1:-debug}
bash scripts/install-deps.sh
cmake --preset "$preset" >/dev/null
cmake --build --preset "$preset" -j "${ZELVO_JOBS:-2}"
# No retries: a test that fails once has found something. Two at a time: many cases spend their
# time waiting on a server, a display or a ping period.
ctest --preset "$preset" -j "${ZELVO_TEST_JOBS:-2}"
