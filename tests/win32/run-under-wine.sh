#!/usr/bin/env bash
# run-under-wine.sh WINE64 WINESERVER PREFIX PROGRAM.exe [ARGS...]
# Runs a Windows program under wine against a private X server (Xvfb, no window manager: wine
# then moves the focus itself), in a wine prefix of the build tree. The first run creates the
# prefix (several seconds). The X server and this prefix's wine server are stopped at the end.
set -uo pipefail
# shellcheck source=SCRIPTDIR/../support/xvfb.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/xvfb.sh"

if [[ $# -lt 4 ]]; then
  echo "usage: $0 WINE64 WINESERVER PREFIX PROGRAM.exe [ARGS...]" >&2
  exit 2
fi
wine=$1 wineserver=$2 prefix=$3
shift 3
command -v Xvfb >/dev/null || { echo "run-under-wine: Xvfb is missing (scripts/install-deps.sh --test)" >&2; exit 1; }

# wine refuses a prefix that belongs to another user (CI runs as root).
if [[ -e "$prefix" && ! -O "$prefix" ]]; then
  echo "run-under-wine: $prefix belongs to another user; remove it or run as its owner" >&2
  exit 1
fi
mkdir -p "$(dirname "$prefix")"
export WINEPREFIX=$prefix WINEARCH=win64 WINEDEBUG=-all
# No downloads of wine's .NET and HTML engines when the prefix is created.
export WINEDLLOVERRIDES="mscoree,mshtml="

workdir=$(mktemp -d "${TMPDIR:-/tmp}/quillmate-wine.XXXXXX")
xvfb_pid=""
cleanup() {
  WINEPREFIX=$prefix "$wineserver" -k 2>/dev/null
  if [[ -n "$xvfb_pid" ]]; then
    kill "$xvfb_pid" 2>/dev/null
    wait "$xvfb_pid" 2>/dev/null
  fi
  rm -rf "$workdir"
}
trap cleanup EXIT
trap 'exit 143' TERM
trap 'exit 130' INT

start_xvfb "$workdir" || exit 1

# A prefix left by a run that was killed may have a wine server still attached to it.
"$wineserver" -k 2>/dev/null
if [[ ! -f "$prefix/system.reg" ]]; then
  echo "run-under-wine: creating the wine prefix $prefix"
  "$wine" wineboot --init >"$workdir/wineboot.log" 2>&1
  "$wineserver" -w
fi
"$wine" "$@" &
program=$!
wait "$program"
