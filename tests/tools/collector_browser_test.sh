#!/usr/bin/env bash
# A real browser on the collector's live page: headless Chromium loads the page while the demo's
# session runs, and again once it has ended; the page must show every ping the collector
# received, and no violation. Skipped (exit 77) where Chromium is not installed.
# Usage: collector_browser_test.sh PATH_TO_ZELVO_DEMO
set -uo pipefail
demo=$1
browser=$(command -v chromium || command -v chromium-browser || true)
if [ -z "$browser" ]; then
  echo "SKIPPED: no chromium here (scripts/install-deps.sh installs Debian's chromium)"
  exit 77
fi
work=$(mktemp -d)
demo_pid=
cleanup() {
  [ -n "$demo_pid" ] && kill "$demo_pid" 2>/dev/null && wait "$demo_pid" 2>/dev/null
  [ -n "${KEEP_WORK:-}" ] || rm -rf "$work"
}
trap cleanup EXIT
fail() { echo "FAILED: $*"; echo "--- demo output"; cat "$work/demo.log"; exit 1; }

# Waits up to $2 seconds for a line matching $1 in the demo's output.
wait_for() {
  for _ in $(seq $(($2 * 10))); do
    grep -qE "$1" "$work/demo.log" && return 0
    kill -0 "$demo_pid" 2>/dev/null || return 1
    sleep 0.1
  done
  return 1
}

# The page's DOM once its script has polled the collector for a few (virtual) seconds.
dump() {
  timeout 60 "$browser" --headless --no-sandbox --disable-gpu --disable-quic --no-first-run \
    --disable-background-networking --disable-component-update --disable-sync --disable-dev-shm-usage \
    --user-data-dir="$work/profile-$1" --ignore-certificate-errors --virtual-time-budget=4000 \
    --dump-dom "$url" 2>"$work/chromium-$1.log" >"$work/dom-$1.html"
}

rows() { grep -oE '<tr id="request-[0-9]+" data-sequence="[0-9]+" class="[^"]*"' "$work/dom-$1.html"; }

"$demo" --linger 40 >"$work/demo.log" 2>&1 &
demo_pid=$!
wait_for 'Live page: https://127\.0\.0\.1:[0-9]+/' 30 || fail "the demo did not announce its page"
url=$(grep -oE 'https://127\.0\.0\.1:[0-9]+/' "$work/demo.log" | head -1)
wait_for 'collector #' 30 || fail "no request reached the collector"

dump during || fail "chromium could not load $url during the session"
[ "$(rows during | wc -l)" -gt 0 ] || fail "the page showed no request during the session"

wait_for '^Summary:' 90 || fail "the session did not end"
dump after || fail "chromium could not load $url after the session"
expected=$(grep -E 'collector #[0-9]+ [0-9]+ ' "$work/demo.log" | grep -v '(not a ping)' |
  sed -E 's/.*collector #([0-9]+) .*/\1/' | sort -n | tr '\n' ' ')
shown=$(rows after | grep 'class="ping' | sed -E 's/.*data-sequence="([0-9]+)".*/\1/' | sort -n | tr '\n' ' ')
[ -n "$expected" ] || fail "the demo reported no ping"
[ "$expected" = "$shown" ] || fail "pings received: $expected; pings on the page: $shown"
! rows after | grep -q 'violation' || fail "the page shows a violation: $(rows after | grep violation)"
grep -q '0 with violations' "$work/demo.log" || fail "the collector counted violations"
echo "the page showed pings $shown(while the session ran: $(rows during | wc -l) requests), no violation"
