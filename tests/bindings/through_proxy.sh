#!/usr/bin/env bash
# Runs a client of with_collector.sh through a proxy from Debian on 127.0.0.1: tinyproxy (HTTP
# CONNECT, allowed to the collector's port only) or microsocks (SOCKS5, names resolved by the
# proxy). Hands the proxy's URL to the client in ZELVO_TEST_PROXY, checks that the proxy logged
# tunnels to the collector, and stops it. Skips (77) where the proxy is not installed.
# Usage: through_proxy.sh tinyproxy|microsocks CLIENT ENDPOINT CA_FILE STORE_FILE
set -uo pipefail
kind=$1 client=$2 endpoint=$3
command -v "$kind" >/dev/null || { echo "SKIPPED: $kind is not installed (scripts/install-deps.sh)"; exit 77; }
work=$(mktemp -d)
port=$(python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])')
if [ "$kind" = tinyproxy ]; then
  printf 'Port %s\nListen 127.0.0.1\nTimeout 10\nAllow 127.0.0.1\nConnectPort %s\nLogLevel Connect\nMaxClients 8\n' \
    "$port" "${endpoint##*:}" >"$work/tinyproxy.conf"
  tinyproxy -d -c "$work/tinyproxy.conf" >"$work/proxy.log" 2>&1 &
  url="http://127.0.0.1:$port"
else
  microsocks -i 127.0.0.1 -p "$port" >"$work/proxy.log" 2>&1 &
  url="socks5h://127.0.0.1:$port"
fi
proxy_pid=$!
trap 'kill "$proxy_pid" 2>/dev/null; wait "$proxy_pid" 2>/dev/null; rm -rf "$work"' EXIT
for _ in $(seq 50); do (exec 3<>"/dev/tcp/127.0.0.1/$port") 2>/dev/null && break; sleep 0.1; done
ZELVO_TEST_PROXY=$url "$client" "${@:3}"
status=$?
# Both log each tunnel they open, with the host and port it leads to.
grep -q "127.0.0.1:${endpoint##*:}" "$work/proxy.log" || { echo "FAILED: $kind opened no tunnel to the collector"; cat "$work/proxy.log"; exit 1; }
exit $status
