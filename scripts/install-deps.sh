#!/usr/bin/env bash
# Installs the Debian 12 packages that Quillmate needs and that are not installed yet.
#   scripts/install-deps.sh          what building and running the program needs
#   scripts/install-deps.sh --test   also what the test suite needs
set -euo pipefail

packages=(
  cmake ninja-build g++ pkg-config
  qt6-base-dev qt6-base-dev-tools libqt6sql6-sqlite libqt6sql6-psql
  libicu-dev unicode-data bzip2
  libx11-dev libxtst-dev libxcb1-dev
  libsodium-dev libsqlite3-dev
  libxlsxwriter-dev libminizip-dev zlib1g-dev libfreexl-dev
  dpkg-dev file fonts-wqy-microhei
)
if [[ "${1:-}" == "--test" ]]; then
  packages+=(xvfb xauth openbox x11-utils xdotool python3 python3-gi gir1.2-gtk-3.0 chromium
            g++-mingw-w64-x86-64-win32 wine64 debootstrap desktop-file-utils postgresql)
fi

missing=()
for p in "${packages[@]}"; do
  status=$(dpkg-query -W -f='${Status}' "$p" 2>/dev/null || true)
  [[ "$status" == "install ok installed" ]] || missing+=("$p")
done
[[ ${#missing[@]} -eq 0 ]] && exit 0

sudo=""
if [[ $(id -u) -ne 0 ]]; then
  command -v sudo >/dev/null || { echo "Run as root or install sudo: missing ${missing[*]}" >&2; exit 1; }
  sudo=sudo
fi
echo "Installing: ${missing[*]}"
export DEBIAN_FRONTEND=noninteractive
$sudo apt-get update -q
$sudo apt-get install -y -q --no-install-recommends "${missing[@]}"
