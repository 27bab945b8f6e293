#!/usr/bin/env bash
# Runs the C test with its own HTTP handler (ZELVO_TEST_HANDLER=1) under strace, and checks
# from outside that the library opened no network socket: every socket() of an internet or
# netlink family, and every connect() to an internet address, comes from a process that runs
# the curl program the host's handler starts, none from the test's own process and threads.
# Skips (77) without strace or where ptrace is not allowed.
# Usage: no_own_connections.sh CLIENT ENDPOINT CA_FILE STORE_FILE
set -uo pipefail
command -v strace >/dev/null || { echo "SKIPPED: strace is not installed"; exit 77; }
trace=$(mktemp)
trap 'rm -f "$trace"' EXIT
strace -f -qq -e trace=socket,connect,execve -o "$trace" true 2>/dev/null || { echo "SKIPPED: strace cannot trace here"; exit 77; }
# LeakSanitizer cannot run under ptrace; the other C API tests check this client for leaks.
ZELVO_TEST_HANDLER=1 ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0" \
  strace -f -qq -e trace=socket,connect,execve -o "$trace" "$@"
status=$?
[ "$status" -eq 0 ] || exit "$status"
curl_pids=$(grep -E '^[0-9]+ +execve\("[^"]*/curl"' "$trace" | awk '{print $1}' | sort -u)
network='socket\(AF_(INET6?|NETLINK),|connect\([0-9]+, \{sa_family=AF_INET6?,'
own=$(grep -E "$network" "$trace" | awk '{print $1}' | sort -u | grep -vxF -f <(echo "$curl_pids") || true)
[ -n "$curl_pids" ] || { echo "FAILED: the handler never ran curl"; exit 1; }
[ -z "$own" ] || { echo "FAILED: network sockets of the test's own process:"; grep -E "^($(echo $own | tr ' ' '|')) " "$trace" | grep -E "$network"; exit 1; }
echo "$(echo "$curl_pids" | wc -l) requests sent by the handler's curl; no network socket of the library's own"
