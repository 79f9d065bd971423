# Sourced by scripts that start programs: waits up to $1 seconds for the
# command after it to succeed.
wait_for() {
  local seconds="$1"; shift
  local end=$((SECONDS + seconds))
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.2
  done
}
