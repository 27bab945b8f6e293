#!/usr/bin/env bash
# The GTK reader under Xvfb, driven by real X input (XTEST, through xdotool), against the
# collector on 127.0.0.1. Nothing reaches the collector before the reader answers the consent
# bar with Agree (Alt+A). The wheel and Page Down read and the focus leaves the window for two
# seconds: the article's second ping says reading and is a full one. The reply box's mnemonic,
# typing and more wheel: the third says writing, with the depth the article was scrolled to.
# At the end the reader destroys its window while the tracker still runs (the view adapter
# must outlive its widget; the sanitizer presets run this too). Skipped (77) without xvfb-run
# or xdotool.
# Usage: gtk_reader_test.sh READER COLLECTOR
set -euo pipefail
if [ "${1:-}" = --in-display ]; then
  shift
  inside=1
fi
reader=$1 collector=$2
for tool in xvfb-run xdotool; do
  command -v "$tool" >/dev/null || { echo "SKIPPED: $tool is not installed (Debian: xvfb, xdotool)"; exit 77; }
done

if [ -z "${inside:-}" ]; then
  work=$(mktemp -d)
  trap 'kill $(jobs -p) 2>/dev/null; wait; rm -rf "$work"' EXIT
  "$collector" --ca-out "$work/ca.pem" --json-out "$work/records.jsonl" --seconds 90 >"$work/collector.log" 2>&1 &
  for _ in $(seq 50); do grep -q '^listening on' "$work/collector.log" 2>/dev/null && break; sleep 0.1; done
  port=$(sed -n 's/^listening on 127\.0\.0\.1:\([0-9]*\)$/\1/p' "$work/collector.log")
  [ -n "$port" ] || { echo "FAILED: the collector did not start"; cat "$work/collector.log"; exit 1; }
  export ZELVO_TEST_WORK=$work ZELVO_TEST_PORT=$port
  status=0
  xvfb-run -a -s "-screen 0 1280x800x24 -nolisten tcp" bash "$0" --in-display "$reader" "$collector" || status=$?
  exit "$status"
fi

work=$ZELVO_TEST_WORK
fail() {
  echo "FAILED: $*"
  for log in reader.log; do echo "--- $log"; cat "$work/$log"; done
  exit 1
}
# GTK and fontconfig keep their caches for the life of the process: no leak check here.
export ASAN_OPTIONS="${ASAN_OPTIONS:+$ASAN_OPTIONS:}detect_leaks=0"
# A session without a desktop: no accessibility bus, settings in memory, the store in $work,
# and software drawing (no GL driver threads under the sanitizers).
export GSK_RENDERER=cairo GTK_A11Y=none GSETTINGS_BACKEND=memory XDG_DATA_HOME=$work/data XDG_RUNTIME_DIR=$work/run
mkdir -m 700 -p "$work/run"
pings() { grep -c '"ping":{' "$work/records.jsonl" 2>/dev/null || true; }
wait_for_pings() {  # $1 pings within $2 seconds
  for _ in $(seq $(($2 * 10))); do [ "$(pings)" -ge "$1" ] && return 0; sleep 0.1; done
  fail "no ping $1 within $2 s"
}

"$reader" "https://127.0.0.1:$ZELVO_TEST_PORT" "$work/ca.pem" >"$work/reader.log" 2>&1 &
reader_pid=$!
window=$(timeout 10 xdotool search --sync --onlyvisible --name '^Zelvo reader$' | head -1) || fail "no reader window"
root=$(xdotool search --maxdepth 0 --name '' 2>/dev/null | head -1)
# The consent bar asks first: until the reader agrees, the collector hears nothing at all.
sleep 2
[ ! -s "$work/records.jsonl" ] || fail "requests before the reader agreed"
xdotool key --window "$window" alt+a
wait_for_pings 1 20  # the article's first ping, at the heartbeat's first period after the answer
# Reading: the wheel and Page Down; then the focus goes to another window for two seconds.
start=$(date +%s)
xdotool mousemove --window "$window" 300 300 click --repeat 8 --delay 40 5
xdotool key --window "$window" --delay 100 Page_Down Page_Down
reading_seconds=$(($(date +%s) - start))
xdotool windowfocus "$root"
sleep 2
xdotool windowfocus "$window"
wait_for_pings 2 25
# Writing: the reply box's mnemonic takes the focus there and a reply is typed; the wheel
# turns on with the reply box focused.
start=$(date +%s)
xdotool key --window "$window" alt+r
xdotool type --window "$window" --delay 40 "Good news"
xdotool click --repeat 4 --delay 40 5
writing_seconds=$(($(date +%s) - start))
wait_for_pings 3 20
kill -TERM "$reader_pid"
wait "$reader_pid" || fail "the reader ended with status $?"

. "$(dirname "$0")/reader_pings.sh"
check_reader_pings
