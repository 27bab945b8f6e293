#!/usr/bin/env bash
# Runs a client of the library against zelvo-collector on 127.0.0.1, then checks what the
# collector saw: no request broke a rule, no ping was of a view tracked before the reader
# agreed (the clients name it .../before-consent), and a ping of the view's path carried its
# scroll depth.
# Usage: with_collector.sh COLLECTOR PATH SCROLL CLIENT [ARGS...]
# The client runs as `CLIENT ARGS... ENDPOINT CA_FILE STORE_FILE`; its exit status 77 (a skip)
# is passed on.
set -uo pipefail
collector=$1 path=$2 scroll=$3
shift 3
work=$(mktemp -d)
collector_pid=
cleanup() {
  [ -n "$collector_pid" ] && kill "$collector_pid" 2>/dev/null && wait "$collector_pid"
  rm -rf "$work"
}
trap cleanup EXIT

"$collector" --ca-out "$work/ca.pem" --json-out "$work/records.jsonl" --seconds 60 >"$work/collector.log" 2>&1 &
collector_pid=$!
for _ in $(seq 100); do
  grep -q '^listening on' "$work/collector.log" && break
  sleep 0.1
done
port=$(sed -nE 's/^listening on 127\.0\.0\.1:([0-9]+)$/\1/p' "$work/collector.log")
[ -n "$port" ] || { echo "FAILED: the collector did not start"; cat "$work/collector.log"; exit 1; }

"$@" "https://127.0.0.1:$port" "$work/ca.pem" "$work/store.sqlite"
client_status=$?
[ "$client_status" -eq 77 ] && exit 77
kill -TERM "$collector_pid"
wait "$collector_pid"
collector_status=$?
collector_pid=
cat "$work/collector.log"
[ "$client_status" -eq 0 ] || { echo "FAILED: the client exited with $client_status"; exit 1; }
[ "$collector_status" -eq 0 ] || { echo "FAILED: the collector found violations"; exit 1; }
! grep '"ping":{' "$work/records.jsonl" | grep -F '/before-consent"' ||
  { echo "FAILED: a ping of the view tracked before the reader agreed"; exit 1; }
grep -F "\"path\":\"$path\"" "$work/records.jsonl" | grep -qE "\"maxScroll\":$scroll[,}]" ||
  { echo "FAILED: no ping of $path with scroll depth $scroll"; exit 1; }
echo "the collector saw well-formed pings of $path with scroll depth $scroll"
