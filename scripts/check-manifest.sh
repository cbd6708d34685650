#!/bin/sh
# Regenerates the manifest with the given keljpeg_manifest program (after an
# emulator such as qemu-arm for a cross build) and compares it with the
# committed tests/manifest/manifest.txt, naming every case whose output
# changed. With --update, writes the new manifest instead: a deliberate
# change commits the new lines with the code that moved them.
#
#   scripts/check-manifest.sh [--update] [EMULATOR...] [build/tests/keljpeg_manifest]
set -eu
root=$(cd "$(dirname "$0")/.." && pwd)
update=0
if [ "${1:-}" = --update ]; then update=1; shift; fi
[ $# -gt 0 ] || set -- "$root/build/tests/keljpeg_manifest"
committed=$root/tests/manifest/manifest.txt
fresh=$(mktemp)
trap 'rm -f "$fresh"' EXIT
"$@" "$root/tests/manifest/corpus" > "$fresh"
if [ "$update" = 1 ]; then
  cp "$fresh" "$committed"
  echo "manifest: $(wc -l < "$committed") lines written"
  exit 0
fi
if cmp -s "$fresh" "$committed"; then
  echo "manifest: $(wc -l < "$committed") cases unchanged"
  exit 0
fi
# Lines are "case... pixels returns reports": report each case that moved.
echo "manifest: output changed (tests/manifest/manifest.txt, then the new hashes):"
diff "$committed" "$fresh" | sed -n 's/^> //p' | head -n 40
echo "$(diff "$committed" "$fresh" | grep -c '^>') new lines, $(diff "$committed" "$fresh" | grep -c '^<') old ones."
echo "If the change is deliberate: scripts/check-manifest.sh --update $*"
exit 1
