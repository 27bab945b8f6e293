#!/usr/bin/env bash
# Runs a client of with_collector.sh through Debian's tinyproxy on 127.0.0.1: starts the proxy
# (its CONNECT allowed to the collector's port only), hands its URL to the client in
# ZELVO_TEST_PROXY, and stops it afterwards. Skips (77) where tinyproxy is not installed.
# Usage: through_tinyproxy.sh CLIENT ENDPOINT CA_FILE STORE_FILE
set -uo pipefail
client=$1 endpoint=$2
command -v tinyproxy >/dev/null || { echo "SKIPPED: tinyproxy is not installed (scripts/install-deps.sh)"; exit 77; }
work=$(mktemp -d)
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
printf 'Port %s\nListen 127.0.0.1\nTimeout 10\nAllow 127.0.0.1\nConnectPort %s\nLogLevel Connect\nMaxClients 8\n' \
  "$port" "${endpoint##*:}" >"$work/tinyproxy.conf"
tinyproxy -d -c "$work/tinyproxy.conf" >"$work/tinyproxy.log" 2>&1 &
proxy_pid=$!
trap 'kill "$proxy_pid" 2>/dev/null; wait "$proxy_pid" 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 50); do (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break; sleep 0.1; done
ZELVO_TEST_PROXY="http://127.0.0.1:$port" "$client" "${@:2}"
status=$?
# The pings went through the tunnel: tinyproxy logged the CONNECTs to the collector.
grep -q "CONNECT" "$work/tinyproxy.log" || { echo "FAILED: tinyproxy saw no CONNECT"; cat "$work/tinyproxy.log"; exit 1; }
exit $status
