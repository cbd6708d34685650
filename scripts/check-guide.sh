#!/bin/sh
# The guide includes its examples verbatim: a line
#   <!-- example: docs/examples/NAME.c -->
# followed by a fenced C block holding exactly that file. This checks every
# such block against its file and that every example is shown; with --update
# it rewrites the blocks from the files instead.
set -eu
cd "$(dirname "$0")/.."
guide=docs/guide.md
expected=$(mktemp)
trap 'rm -f "$expected"' EXIT

awk '
  /^<!-- example: .* -->$/ {
    print; file = $3
    while ((getline line) > 0 && line !~ /^```c$/) {}
    while ((getline line) > 0 && line !~ /^```$/) {}
    print "```c"
    while ((getline line < file) > 0) print line
    close(file)
    print "```"
    next
  }
  { print }
' "$guide" >"$expected"

if [ "${1:-}" = --update ]; then
  cp "$expected" "$guide"
  exit 0
fi
status=0
if ! diff -u "$guide" "$expected"; then
  echo "check-guide: a code block of $guide differs from its example file (scripts/check-guide.sh --update)" >&2
  status=1
fi
for example in docs/examples/*.c; do
  grep -qx "<!-- example: $example -->" "$guide" || {
    echo "check-guide: $example is not shown in $guide" >&2
    status=1
  }
done
exit $status
