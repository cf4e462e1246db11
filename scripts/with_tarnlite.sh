#!/usr/bin/env bash
# Runs a command against a fresh tarnlite, which is stopped afterwards.
# Usage: with_tarnlite.sh TARNLITE COMMAND...    every {} in the command is replaced by the connection string.
set -euo pipefail
tarnlite=$1
shift

work=$(mktemp -d)
"$tarnlite" --port 0 --port-file "$work/port" >"$work/log" &
server=$!
stop() {
    status=$?
    kill -INT "$server" 2>/dev/null || true # under Wine it is Ctrl+C, and SIGTERM would kill it
    wait "$server" || { echo "tarnlite ended with status $?" >&2; status=1; }
    rm -rf "$work"
    exit "$status"
}
trap stop EXIT
for _ in $(seq 600); do
    [ -s "$work/port" ] && break
    kill -0 "$server" 2>/dev/null || { cat "$work/log" >&2; echo "tarnlite did not start" >&2; exit 1; }
    sleep 0.05
done
connection="server=127.0.0.1;port=$(cat "$work/port");db=demo;user=demo;password=demo"
"${@//\{\}/$connection}"
