#!/usr/bin/env bash
# Windows: KelJPEG.dll with its import library and the test suite, built with
# Debian's mingw-w64 cross compiler. The 64-bit suite runs under wine, headless,
# in a wine prefix of its own inside the build directory. The 32-bit DLL is
# built with a C host linked through its import library, and its exports
# checked; the suite runs for it only where 32-bit wine
# (wine32:i386) is installed. Last, the DLL from Debian's default compilers
# (the win32 thread model, whose C++ library has no std::mutex).
set -euo pipefail
cd "$(dirname "$0")/.."
scripts/cross-install.sh cmake make libgtest-dev g++-mingw-w64-x86-64-posix g++-mingw-w64-i686-posix \
  g++-mingw-w64-x86-64-win32 \
  binutils-mingw-w64-x86-64 binutils-mingw-w64-i686 wine wine64

export WINEPREFIX="$PWD/build-win64/wineprefix" WINEDEBUG=-all WINEDLLOVERRIDES="mscoree,mshtml="
unset DISPLAY
mkdir -p "$WINEPREFIX"
# One server for the whole run: each test program then starts in a fraction
# of a second instead of booting wine anew.
wineserver -p || true
trap 'wineserver -k 2>/dev/null || true' EXIT
timeout 300 wineboot --init >/dev/null 2>&1 || true

echo "== Windows x86_64 (mingw-w64, wine)"
scripts/cross-build.sh mingw-w64-x86_64 build-win64

echo "== Windows i686 (mingw-w64)"
if [ -x /usr/lib/wine/wine ] || dpkg-query -W -f='${Status}' wine32:i386 2>/dev/null | grep -q 'ok installed'; then
  scripts/cross-build.sh mingw-w64-i686 build-win32
else
  scripts/cross-build.sh mingw-w64-i686 build-win32 build-only
fi

echo "== Windows x86_64, win32 thread model (mingw-w64 default)"
scripts/cross-build.sh mingw-w64-x86_64-win32 build-win64-win32 build-only
