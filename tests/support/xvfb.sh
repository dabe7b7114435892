# shellcheck shell=bash
# Sourced by the scripts that run tests on a private X server.
# start_xvfb WORKDIR: starts Xvfb, sets xvfb_pid and exports DISPLAY; returns 1, with the
# server's log on stderr, when it does not come up (the caller stops what is left).
# -displayfd lets the server pick a free display number itself and write it once it accepts
# connections, which avoids racing other servers for /tmp/.X11-unix.
start_xvfb() {
  local workdir=$1 display=""
  : >"$workdir/display"
  Xvfb -displayfd 3 -screen 0 1600x1000x24 -nolisten tcp 3>"$workdir/display" \
    >"$workdir/xvfb.log" 2>&1 &
  xvfb_pid=$!
  for _ in $(seq 100); do
    display=$(head -n 1 "$workdir/display" 2>/dev/null)
    [[ -n "$display" ]] && break
    kill -0 "$xvfb_pid" 2>/dev/null || break
    sleep 0.1
  done
  if [[ -z "$display" ]]; then
    echo "Xvfb did not start" >&2
    cat "$workdir/xvfb.log" >&2
    return 1
  fi
  export DISPLAY=":$display"
}
