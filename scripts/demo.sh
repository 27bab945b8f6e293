#!/usr/bin/env bash
# Installs what is missing, builds the release demo and runs it: a reader's session through the
# library at twenty times the speed, pinging a local collector on 127.0.0.1 that checks every
# ping. Exits with the demo's status (0: the session ran and no ping broke a rule). Options go
# to the demo: --port N (the live page at https://127.0.0.1:N/), --linger SECONDS.
set -euo pipefail
cd "$(dirname "$0")/.."
bash scripts/install-deps.sh
cmake --preset release >/dev/null
cmake --build --preset release --target zelvo-demo zelvo-collector -j "${ZELVO_JOBS:-2}"
exec ./build/release/tools/zelvo-demo "$@"
