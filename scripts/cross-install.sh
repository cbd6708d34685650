#!/usr/bin/env bash
# Installs the Debian packages named on the command line that are missing.
set -euo pipefail
need=()
for pkg in "$@"; do
  dpkg-query -W -f='${Status}' "$pkg" 2>/dev/null | grep -q 'install ok installed' || need+=("$pkg")
done
if [ ${#need[@]} -gt 0 ]; then
  SUDO=""; [ "$(id -u)" = 0 ] || SUDO=sudo
  # A mirror caught mid-sync fails some index; the lists it did fetch still serve.
  $SUDO apt-get update -qq || true
  DEBIAN_FRONTEND=noninteractive $SUDO apt-get install -y -qq --no-install-recommends "${need[@]}" >/dev/null
fi
