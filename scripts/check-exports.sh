#!/usr/bin/env sh
# Checks the library's export list against the public header.
#   check-exports.sh SOURCE_DIR [LIBRARY TOOL]
# Always: the jpeg* functions declared in include/KelJPEG.h and the names in
# runtime/KelJPEG.def are the same set. With a Windows DLL and objdump: the
# DLL exports exactly that set. With an ELF shared object and nm: it exports
# only names from that set.
set -eu
src=$1
lib=${2:-}
tool=${3:-}
tmp=$(mktemp -d)
trap 'rm -rf "$tmp"' EXIT

tr '\n' ' ' <"$src/include/KelJPEG.h" | grep -o 'KELJPEG_CALL jpeg[A-Za-z0-9_]* *(' |
  sed 's/KELJPEG_CALL //; s/ *($//' | sort -u >"$tmp/header"
sed -n '/^EXPORTS/,$p' "$src/runtime/KelJPEG.def" | sed '1d; s/[[:space:]]//g; /^$/d; s/@.*//' | sort >"$tmp/def"

fail=0
if [ "$(sort -u "$tmp/def" | wc -l)" -ne "$(wc -l <"$tmp/def")" ]; then
  echo "KelJPEG.def lists a name twice"; fail=1
fi
if ! diff -u "$tmp/header" "$tmp/def" >"$tmp/diff"; then
  echo "KelJPEG.h (-) and KelJPEG.def (+) disagree:"; cat "$tmp/diff"; fail=1
fi
[ -s "$tmp/header" ] || { echo "no exported functions found in KelJPEG.h"; fail=1; }

case "$lib" in
  "") ;;
  *.dll|*.DLL)
    # The export directory lists "[Ordinal] Name" rows after the name-pointer heading.
    "$tool" -p "$lib" | sed -n '/\[Ordinal\/Name Pointer\] Table/,/^$/p' |
      sed -n 's/^[[:space:]]*\[[[:space:]]*[0-9]*\][[:space:]]*\([A-Za-z0-9_@]*\).*/\1/p' | sort >"$tmp/lib"
    if ! diff -u "$tmp/def" "$tmp/lib" >"$tmp/diff"; then
      echo "$lib exports differ from KelJPEG.def (+ extra, - missing):"; cat "$tmp/diff"; fail=1
    fi
    ;;
  *)
    "$tool" -D --defined-only "$lib" | awk 'NF >= 3 {print $3}' | sed 's/@.*//' | sort -u >"$tmp/lib"
    extra=$(comm -13 "$tmp/header" "$tmp/lib" || true)
    if [ -n "$extra" ]; then
      echo "$lib exports names that are not in KelJPEG.h:"; echo "$extra"; fail=1
    fi
    ;;
esac
[ "$fail" = 0 ] && echo "exports OK ($(wc -l <"$tmp/def") names)"
exit "$fail"
