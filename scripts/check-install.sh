#!/usr/bin/env bash
# Installs a built tree into a temporary prefix and builds the example host
# against the installed package three ways: CMake with the shared library,
# CMake with the static library, and a plain compiler call through pkg-config.
# Each build converts a generated picture to JPEG and back.
#   KELJPEG_BUILD_DIR  the built tree (default: build, as scripts/test.sh leaves it)
set -euo pipefail
cd "$(dirname "$0")/.."
build=${KELJPEG_BUILD_DIR:-build}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix
if ! command -v pkg-config >/dev/null; then
  SUDO=""; [ "$(id -u)" = 0 ] || SUDO=sudo
  $SUDO apt-get update -qq && DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq pkgconf >/dev/null
fi

[ -f "$build/CMakeCache.txt" ] || cmake -S . -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j"$(nproc)" --target KelJPEG KelJPEG_static keljpeg >/dev/null
cmake --install "$build" --prefix "$prefix" >/dev/null

libdir=$(dirname "$(find "$prefix" -name 'libKelJPEG.so.*.*' | head -n1)")
fail() { echo "check-install: $*" >&2; exit 1; }
[ -f "$prefix/include/KelJPEG.h" ] || fail "header not installed"
[ -f "$libdir/libKelJPEG.a" ] || fail "static library not installed"
[ -f "$libdir/pkgconfig/keljpeg.pc" ] || fail "keljpeg.pc not installed"
[ -f "$libdir/cmake/KelJPEG/KelJPEGConfigVersion.cmake" ] || fail "package version file not installed"
soname=$(readelf -d "$libdir/libKelJPEG.so" | sed -n 's/.*SONAME.*\[\(.*\)\]/\1/p')
[ -e "$libdir/$soname" ] || fail "no file for the soname $soname"
"$prefix/bin/keljpeg" --help >/dev/null || fail "installed keljpeg does not run"

# The example links only when the library already defines what it calls;
# until then it is compiled, not linked.
link=1
for name in jpegDecodeProlog jpegDecodeGetImageSize jpegGetFrameHeader jpegDecodeScaleOutputToRect \
            jpegDecodeEpilog jpegEncodeProlog jpegEncodeFromRect jpegEncodeEpilog; do
  nm -D --defined-only "$libdir/libKelJPEG.so" | grep -qw "$name" || { link=0; missing=$name; }
done
[ "$link" = 1 ] || echo "check-install: the library lacks $missing: compiling the example without linking"

# A 37 x 23 colour gradient: odd sizes exercise the partial MCUs at the edges.
LC_ALL=C awk 'BEGIN { printf "P6\n37 23\n255\n";
  for (y = 0; y < 23; y++) for (x = 0; x < 37; x++) printf "%c%c%c", x * 7, y * 11, (x + y) * 4 }' \
  >"$work/in.ppm"

# Round trip: encode, check the JPEG's first bytes, decode at full and 1/4 size.
roundTrip() {
  local program=$1 out=$work/$2
  "$program" encode "$work/in.ppm" "$out.jpg" 90
  [ "$(od -An -tx1 -N2 "$out.jpg" | tr -d ' ')" = ffd8 ] || fail "$2: no JPEG written"
  "$program" decode "$out.jpg" "$out.ppm"
  [ "$(head -c 13 "$out.ppm")" = "$(printf 'P6\n37 23\n255\n')" ] || fail "$2: wrong decoded size"
  "$program" decode "$out.jpg" "$out-quarter.ppm" 1
  [ "$(head -c 12 "$out-quarter.ppm")" = "$(printf 'P6\n10 6\n255\n')" ] || fail "$2: wrong 1/4 size"
  if command -v djpeg >/dev/null; then djpeg "$out.jpg" >/dev/null || fail "$2: peer decoder refuses the file"; fi
}

buildExample() { # name, extra CMake arguments...
  local name=$1; shift
  cmake -S examples -B "$work/$name" -DCMAKE_PREFIX_PATH="$prefix" "$@" >/dev/null
  if [ "$link" = 1 ]; then
    cmake --build "$work/$name" >/dev/null
    roundTrip "$work/$name/ppmjpeg" "$name"
  else
    cmake --build "$work/$name" --target ppmjpeg.c.o >/dev/null
  fi
}
# The package refuses a host that needs another major version.
mkdir -p "$work/version"
printf 'cmake_minimum_required(VERSION 3.16)\nproject(v NONE)\nfind_package(KelJPEG 99 REQUIRED)\n' \
  >"$work/version/CMakeLists.txt"
if cmake -S "$work/version" -B "$work/version/build" -DCMAKE_PREFIX_PATH="$prefix" >/dev/null 2>&1; then
  fail "find_package(KelJPEG 99) accepted version $(pkg-config --modversion "$libdir/pkgconfig/keljpeg.pc")"
fi
buildExample cmake-shared
buildExample cmake-static -DKELJPEG_EXAMPLE_STATIC=ON

export PKG_CONFIG_PATH=$libdir/pkgconfig
[ "$(pkg-config --modversion keljpeg)" = "$(sed -n 's/^project(KelJPEG VERSION \([0-9.]*\).*/\1/p' CMakeLists.txt)" ] \
  || fail "keljpeg.pc has the wrong version"
if [ "$link" = 1 ]; then
  # shellcheck disable=SC2046
  cc -std=c99 -Wall -Wextra -Werror examples/ppmjpeg.c -o "$work/ppmjpeg-pc" \
    $(pkg-config --cflags --libs keljpeg) -Wl,-rpath,"$libdir"
  roundTrip "$work/ppmjpeg-pc" pkg-config
else
  # shellcheck disable=SC2046
  cc -std=c99 -Wall -Wextra -Werror -c examples/ppmjpeg.c -o "$work/ppmjpeg.o" $(pkg-config --cflags keljpeg)
fi
echo "check-install: installed package OK (header, libraries, keljpeg, CMake package, pkg-config)"
