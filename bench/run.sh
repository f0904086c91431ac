#!/usr/bin/env bash
# Runs the measuring programs one after the other, prints their values and keeps them in build/bench/results.json.
# A program that finds a value out of its bounds fails, and so does this script, after the others have run.
set -uo pipefail
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build/bench
values=build/bench/values.txt
: >"$values"
failed=()

# measure NAME COMMAND...: its lines "name value" are results, whatever else it prints is for the reader.
measure() {
  local name=$1
  shift
  printf '\n-- %s\n' "$name"
  "$@" | tee -a "$values" || failed+=("$name")
}

for program in small_call_bench heap_bench; do
  measure "$program" cmake/run-under-wine "build/windows/bench/bin/$program.exe"
done
measure token_sign python3 softtoken/bench/run.py \
  build/native/stage/bin/velm_softtoken build/native-release/softtoken/bench/token_sign_bench

python3 - "$values" >build/bench/results.json <<'PY'
import json, re, sys
rows = (re.fullmatch(r"([a-z][a-z0-9_]*) ([-+0-9.e]+)", line.strip()) for line in open(sys.argv[1]))
print(json.dumps({row[1]: float(row[2]) for row in rows if row}, indent=2))
PY
printf '\nkept in build/bench/results.json\n'
[ ${#failed[@]} -eq 0 ] || { echo "out of bounds: ${failed[*]}"; exit 1; }
