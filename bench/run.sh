#!/usr/bin/env bash
# Runs all benchmark programs, then writes build/bench/results.json and the tables of docs/performance.md.
# Fails if a program failed or a figure is missing or exceeds its limit.
# usage: run.sh OPENSSL (the program built from the sources that the token links)
set -uo pipefail
openssl=$1
cd "$(dirname "${BASH_SOURCE[0]}")/.."
mkdir -p build/bench
values=build/bench/values.txt
: >"$values"
failed=()

# measure NAME COMMAND...: runs a benchmark. Its output lines "name value" are figures.
measure() {
  local name=$1
  shift
  printf '\n-- %s\n' "$name"
  "$@" | tee -a "$values" || failed+=("$name")
}

installed=build/windows/softtoken/e2e
for program in build/windows/bench/bin/{small_call_bench,heap_bench} "$installed/library_bench"; do
  measure "${program##*/}" cmake/run-under-wine "$program.exe"
done
measure file_bench python3 bench/files.py "$installed/file_bench.exe"
measure bulk_bench python3 bench/bulk.py "$installed/bulk_bench.exe" build/native/stage/bin/velm_softtoken
measure token_sign python3 softtoken/bench/run.py \
  build/native/stage/bin/velm_softtoken build/native-release/softtoken/bench/token_sign_bench "$openssl"

printf '\n-- report\n'
python3 bench/report.py "$values" build/bench/results.json docs/performance.md || failed+=(report)
echo "results: build/bench/results.json, docs/performance.md"
[ ${#failed[@]} -eq 0 ] || { echo "failed: ${failed[*]}"; exit 1; }
