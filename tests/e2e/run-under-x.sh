#!/usr/bin/env bash
# run-under-x.sh COMMAND [ARGS...]
# Runs COMMAND against a private X server (Xvfb, 1600x1000, 24 bit) managed by openbox, so that
# end-to-end tests see real windows, focus, key grabs and a window manager that speaks EWMH.
# Both servers are stopped when the command ends; its exit code is returned.
set -uo pipefail
# shellcheck source=SCRIPTDIR/../support/xvfb.sh
source "$(dirname "${BASH_SOURCE[0]}")/../support/xvfb.sh"

if [[ $# -lt 1 ]]; then
  echo "usage: $0 COMMAND [ARGS...]" >&2
  exit 2
fi
for tool in Xvfb openbox xprop; do
  if ! command -v "$tool" >/dev/null; then
    echo "run-under-x: $tool is missing (scripts/install-deps.sh --test installs it)" >&2
    exit 1
  fi
done

workdir=$(mktemp -d "${TMPDIR:-/tmp}/quillmate-x.XXXXXX")
xvfb_pid=""
wm_pid=""
command_pid=""

stop() {
  local pid=$1
  [[ -n "$pid" ]] || return 0
  kill "$pid" 2>/dev/null || return 0
  for _ in $(seq 50); do
    kill -0 "$pid" 2>/dev/null || break
    sleep 0.1
  done
  kill -9 "$pid" 2>/dev/null
  wait "$pid" 2>/dev/null
}
cleanup() {
  stop "$command_pid"
  stop "$wm_pid"
  stop "$xvfb_pid"
  rm -rf "$workdir"
}
trap cleanup EXIT
trap 'exit 143' TERM
trap 'exit 130' INT

# Starts Xvfb and openbox; on failure both are stopped again and it returns 1.
start_servers() {
  if ! start_xvfb "$workdir"; then
    stop "$xvfb_pid"
    xvfb_pid=""
    return 1
  fi

  # openbox gets its own configuration and cache folders so that nothing of the user's is read
  # or written; without a user rc.xml it uses the system default.
  XDG_CONFIG_HOME="$workdir/config" XDG_CACHE_HOME="$workdir/cache" \
    openbox --sm-disable >"$workdir/openbox.log" 2>&1 &
  wm_pid=$!
  for _ in $(seq 100); do
    if xprop -root _NET_SUPPORTING_WM_CHECK 2>/dev/null | grep -q 'window id'; then
      return 0
    fi
    kill -0 "$wm_pid" 2>/dev/null || break
    sleep 0.1
  done
  echo "run-under-x: openbox did not take over the display $DISPLAY" >&2
  cat "$workdir/openbox.log" >&2
  stop "$wm_pid"
  stop "$xvfb_pid"
  wm_pid=""
  xvfb_pid=""
  return 1
}

# A server that loses its display number to a server of another environment sharing this
# machine's socket namespace is started again.
started=""
for attempt in 1 2 3; do
  if start_servers; then
    started=1
    break
  fi
  echo "run-under-x: attempt $attempt failed, trying again" >&2
done
[[ -n "$started" ]] || exit 1

export QT_QPA_PLATFORM=xcb
# Qt wants a private runtime folder; the test's own keeps the output free of warnings about it.
if [[ -z "${XDG_RUNTIME_DIR:-}" ]]; then
  mkdir -m 0700 "$workdir/runtime"
  export XDG_RUNTIME_DIR="$workdir/runtime"
fi
# In the background, so that a TERM from CTest's time-out is handled at once and takes the
# command and both servers down; standard input stays the caller's.
"$@" <&0 &
command_pid=$!
wait "$command_pid"
status=$?
command_pid=""
exit "$status"
