# A Debian changelog from CHANGELOG.md, for /usr/share/doc/<package>/changelog.gz: the
# "Unreleased" section and the section of the packaged version make that version's entry, each
# older version's section an entry of its own; each bullet becomes an item within 80 columns.
# Usage: awk -v version=1.0.0 -v maintainer='Name <mail>' -v date='<RFC 5322 date>' -f changelog.awk CHANGELOG.md
function wrap(text,   count, words, i, line) {
  count = split(text, words, / +/)
  line = "  *"
  for (i = 1; i <= count; i++) {
    if (words[i] == "") continue
    if (line != "  *" && length(line) + 1 + length(words[i]) > 79) {
      print line
      line = "   "
    }
    line = line " " words[i]
  }
  print line
}
function flush() {
  if (item != "") wrap(item)
  item = ""
}
function close_entry() {
  flush()
  if (entry != "") printf "\n -- %s  %s\n", maintainer, date
}
/^## / {
  heading = substr($0, 4)
  if (heading == "Unreleased") heading = version
  if (heading == entry) next
  close_entry()
  if (entry != "") print ""
  entry = heading
  printf "zelvo (%s) unstable; urgency=medium\n\n", entry
  next
}
entry == "" { next }
/^- / { flush(); item = substr($0, 3); next }
/^ +[^ ]/ && item != "" { sub(/^ +/, ""); item = item " " $0; next }
/^[ \t]*$/ { flush(); next }
{ flush(); item = $0 }
END { close_entry() }
