# The checks both desktop readers' tests make of the collector's records once the reader has
# ended: no violations; the article's second ping says reading, engaged about as long as there
# was input, part of the way down, and full after the return from elsewhere; the third says
# writing, at the depth the article was scrolled to. Needs $work (records.jsonl, reader.log),
# $reading_seconds, $writing_seconds and fail().
check_reader_pings() {
  grep -q '"violations":\[\]' "$work/records.jsonl" && ! grep -q '"violations":\[{' "$work/records.jsonl" ||
    fail "the collector found violations"
  ping=""
  param() { echo "$ping" | grep -o "\"$1\":\"[^\"]*\"" | head -1 | cut -d'"' -f4; }
  field() { echo "$ping" | grep -o "\"$1\":[^,}]*" | head -1 | cut -d: -f2; }
  # Each input grants the engagement window (4 or 5 s) again, so an interval with $1 seconds of
  # input is engaged at least 4 and at most $1 + 6 seconds (a second's rounding each side).
  check_engaged() {
    [ "$(param e)" -ge 4 ] && [ "$(param e)" -le $(($1 + 6)) ] || fail "engaged $(param e) s after $1 s of input: $ping"
  }
  scrolled=$(sed -n 's/^article scrolled to \([0-9]*\)$/\1/p' "$work/reader.log")
  [ -n "$scrolled" ] && [ "$scrolled" -gt 0 ] || fail "the wheel did not scroll the article"

  ping=$(grep '"ping":{' "$work/records.jsonl" | sed -n 2p)
  [ "$(param p)" = /news/tram-line-vote ] || fail "the second ping is not the article's: $ping"
  [ "$(param R)$(param W)" = 10 ] || fail "the wheel and Page Down are reading (R=1 W=0): $ping"
  check_engaged "$reading_seconds"
  first_depth=$(param m)
  [ "$first_depth" -gt 0 ] && [ "$first_depth" -lt "$scrolled" ] || fail "scroll depth $first_depth of $scrolled"
  # Going away paused the heartbeat: coming back makes the next ping a full one.
  [ "$(field full)" = true ] || fail "the return did not make a full ping: $ping"

  ping=$(grep '"ping":{' "$work/records.jsonl" | sed -n 3p)
  [ "$(param W)" = 1 ] || fail "typing in the reply box is writing (W=1): $ping"
  check_engaged "$writing_seconds"
  [ "$(param m)" = "$scrolled" ] || fail "scroll depth $(param m), the article was scrolled to $scrolled"
  echo "passed: scroll depth $first_depth then $scrolled px; reading, then writing; full ping after the return"
}
