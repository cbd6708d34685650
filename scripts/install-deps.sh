#!/usr/bin/env bash
# Installs what building and testing need, when it is missing (Debian).
set -euo pipefail
need=()
command -v cmake >/dev/null || need+=(cmake)
command -v g++ >/dev/null || need+=(g++)
command -v make >/dev/null || need+=(make)
[ -f /usr/include/gtest/gtest.h ] || need+=(libgtest-dev)
# keljpeg reads and writes PNG through libpng (linked statically into it).
[ -f /usr/include/png.h ] || need+=(libpng-dev)
command -v xxd >/dev/null || need+=(xxd)
# The CLI test reads the PNG files keljpeg writes with netpbm, an independent reader.
command -v pngtopnm >/dev/null || need+=(netpbm)
# libjpeg-turbo as a black-box peer: its library for the unit tests'
# interoperability cases, its programs for the CLI test's progressive passes,
# the examples' progressive copy and the install check, TurboJPEG for the
# benchmark.
if [ "${KELJPEG_PEERS:-1}" = 1 ]; then
  [ -f /usr/include/jpeglib.h ] || need+=(libjpeg62-turbo-dev)
  command -v cjpeg >/dev/null || need+=(libjpeg-turbo-progs)
  [ -f /usr/include/turbojpeg.h ] || need+=(libturbojpeg0-dev)
fi
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" = 0 ] || SUDO=sudo
  $SUDO apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq "${need[@]}" >/dev/null
fi
