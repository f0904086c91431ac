#!/usr/bin/env bash
# demo.sh BIN_DIR: runs the tour with the software token's service, both under Wine.
set -euo pipefail

bin=$(cd "$1" && pwd)
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
exec "$root/cmake/with-softtoken" "$bin" "$root/cmake/run-under-wine" "$bin/velm_tour.exe"
