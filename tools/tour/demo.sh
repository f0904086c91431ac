#!/usr/bin/env bash
# demo.sh BIN_DIR: makes a demo store, starts the software token's service on it under Wine, takes the tour against it,
# and stops the service.
set -euo pipefail

bin=$(cd "$1" && pwd)
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
work=$(mktemp -d)
service=

run_wine=$root/cmake/run-under-wine

finish() {
  if [ -n "$service" ]; then
    kill "$service" 2>/dev/null || true
    wait "$service" 2>/dev/null || true
  fi
  rm -rf "$work"
}
trap finish EXIT

# A connection that is accepted tells that the service listens.
answers() { (exec 3<>/dev/tcp/127.0.0.1/55661) 2>/dev/null; }

if answers; then
  echo "demo: something already listens on 127.0.0.1:55661" >&2
  exit 1
fi
store=Z:$work/store.db
"$run_wine" "$bin/velm_softtoken.exe" init --demo --data "$store"
"$run_wine" "$bin/velm_softtoken.exe" serve --data "$store" >"$work/service.log" 2>&1 &
service=$!
for ((tries = 0; tries < 300; tries++)); do
  ! answers || break
  kill -0 "$service" 2>/dev/null || break
  sleep 0.1
done
answers || { echo "demo: the service does not answer" >&2; cat "$work/service.log" >&2; exit 1; }
cat "$work/service.log"
"$run_wine" "$bin/velm_tour.exe"
