# Sourced by scripts that run the viewer against a service of their own.

# wait_for SECONDS COMMAND...: waits up to SECONDS for COMMAND to succeed.
wait_for() {
  local seconds="$1"; shift
  local end=$((SECONDS + seconds))
  until "$@"; do
    [ "$SECONDS" -lt "$end" ] || return 1
    sleep 0.2
  done
}

# serve_project BIN DATA SIGN FOLDER [PROJECT OPTIONS...]: a velda-service
# from BIN with its data in DATA, user 1001 (张三) signing with SIGN and
# FOLDER as project 7, serving on a free loopback port (its pid goes to
# PIDS); exports QEM_SERVICE_URL and signs the user in with qem-client.
serve_project() {
  local bin="$1" data="$2" sign="$3" folder="$4"; shift 4
  "$bin/velda-service" init --data "$data" > /dev/null
  "$bin/velda-service" user --data "$data" --qemid 1001 --name "张三" --sign "$sign"
  "$bin/velda-service" project --data "$data" --id 7 --folder "$folder" "$@"
  "$bin/velda-service" serve --data "$data" --port 0 --quiet > "$data.out" &
  PIDS+=($!)
  wait_for 20 grep -qs "^listening on " "$data.out" || { echo "velda-service did not start" >&2; return 1; }
  QEM_SERVICE_URL="$(sed -n 's/^listening on //p' "$data.out")"
  export QEM_SERVICE_URL
  "$bin/qem-client" login --project 7 --user 1001 --name "张三" --sign "$sign"
}
