#!/usr/bin/env bash
# staged_log.sh FAULT PROGRAM: runs the test of a log that cannot be written, with a simulated fault.
# FAULT: unwritable (no folder can be created in the log folder) or full (the disk of the log file is full).
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
fail() { printf 'staged_log.sh: %s\n' "$*" >&2; exit 1; }
source "$root/cmake/wine.sh"
fault=$1 program=$2
prepare_wine
folder=$WINEPREFIX/drive_c/ProgramData/VELM/log
trap 'rm -rf "$folder"' EXIT
rm -rf "$folder"
mkdir -p "$(dirname "$folder")"
case "$fault" in
  unwritable) ln -s /proc/fs "$folder" ;;
  full)
    # Also tomorrow's log: the test may run past midnight.
    for day in today tomorrow; do
      mkdir -p "$folder/$(date -d "$day" +%Y%m%d)"
      ln -s /dev/full "$folder/$(date -d "$day" +%Y%m%d)/velm_client_sof.log"
    done
    ;;
  *) fail "unknown fault '$fault'" ;;
esac
export VELM_STAGED_LOG="C:\\ProgramData\\VELM\\log\\$(date +%Y%m%d)\\velm_client_sof.log"
"$(wine_program)" "$program" --gtest_filter=LogFolder.IsStaged
