#!/usr/bin/env bash
# The Qt reader headless (the offscreen platform) against the collector on 127.0.0.1, its input
# played through Qt's event queue (the reader's ZELVO_DRIVE mode). Nothing reaches the collector
# before the reader answers the consent bar with Agree (Alt+A). The wheel and Page Down read
# and the application is in the background for two seconds: the article's second ping says
# reading and is a full one. Typing into the reply box and more wheel: the third says writing,
# with the depth the article was scrolled to. At the end the reader destroys its window while
# the tracker still runs (the view adapter must outlive its widget; the sanitizer presets run
# this too). Skipped (77) without Qt's offscreen platform plugin.
# Usage: qt_reader_test.sh READER COLLECTOR
set -euo pipefail
reader=$1 collector=$2
work=$(mktemp -d)
trap 'exec 3>&- 2>/dev/null; kill $(jobs -p) 2>/dev/null; wait; rm -rf "$work"' EXIT
fail() {
  echo "FAILED: $*"
  echo "--- reader.log"; cat "$work/reader.log"
  exit 1
}
# Fontconfig keeps its caches for the life of the process: no leak check here.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
export QT_QPA_PLATFORM=offscreen ZELVO_DRIVE=1 XDG_DATA_HOME=$work/data XDG_RUNTIME_DIR=$work/run
mkdir -m 700 -p "$work/run"

"$collector" --ca-out "$work/ca.pem" --json-out "$work/records.jsonl" --seconds 90 >"$work/collector.log" 2>&1 &
for _ in $(seq 50); do grep -q '^listening on' "$work/collector.log" 2>/dev/null && break; sleep 0.1; done
port=$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$work/collector.log")
[ -n "$port" ] || { echo "FAILED: the collector did not start"; cat "$work/collector.log"; exit 1; }
pings() { grep -c '"ping":{' "$work/records.jsonl" 2>/dev/null || true; }
wait_for_pings() {  # $1 pings within $2 seconds, while the reader runs
  for _ in $(seq $(($2 * 10))); do
    [ "$(pings)" -ge "$1" ] && return 0
    kill -0 "$reader_pid" 2>/dev/null || break
    sleep 0.1
  done
  if grep -q 'Qt platform plugin' "$work/reader.log"; then
    echo "SKIPPED: Qt's offscreen platform plugin is missing"; exit 77
  fi
  fail "no ping $1 within $2 s"
}

mkfifo "$work/input"
"$reader" "https://127.0.0.1:$port" "$work/ca.pem" <"$work/input" >"$work/reader.log" 2>&1 &
reader_pid=$!
exec 3>"$work/input"
# The consent bar asks first: until the reader agrees, the collector hears nothing at all.
sleep 2
[ ! -s "$work/records.jsonl" ] || fail "requests before the reader agreed"
echo "keys Alt+A" >&3
wait_for_pings 1 20  # the article's first ping, at the heartbeat's first period after the answer
# Reading: the wheel and Page Down; then the application goes to the background for two seconds.
start=$(date +%s)
echo "wheel 8" >&3
echo "keys PgDown PgDown" >&3
reading_seconds=$(($(date +%s) - start))
echo away >&3
sleep 2
echo back >&3
wait_for_pings 2 25
# Writing: the reply box's mnemonic takes the focus there and a reply is typed; the wheel
# turns on with the reply box focused.
start=$(date +%s)
echo "keys Alt+R" >&3
echo "type Good news" >&3
echo "wheel 4" >&3
writing_seconds=$(($(date +%s) - start))
wait_for_pings 3 20
echo quit >&3
wait "$reader_pid" || fail "the reader ended with status $?"

. "$(dirname "$0")/reader_pings.sh"
check_reader_pings
