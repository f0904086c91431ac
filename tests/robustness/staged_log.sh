#!/usr/bin/env bash
# staged_log.sh FAULT PROGRAM: runs the test of a log that cannot or must not be written, with a simulated
# fault.
# FAULT: unwritable (the folder of the day cannot be created), full (the disk of the log file is full) or
# linked (one of the folders is a link to another folder; Wine shows it as a reparse point).
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
fail() { printf 'staged_log.sh: %s\n' "$*" >&2; exit 1; }
source "$root/cmake/wine.sh"
fault=$1 program=$2
prepare_wine
velm=$WINEPREFIX/drive_c/ProgramData/VELM
folder=$velm/log
elsewhere=$WINEPREFIX/drive_c/elsewhere
trap 'rm -rf "$velm" "$elsewhere"' EXIT
# Also tomorrow's log: the test may run past midnight.
days=("$(date +%Y%m%d)" "$(date -d tomorrow +%Y%m%d)")
export VELM_STAGED_LOG="C:\\ProgramData\\VELM\\log\\${days[0]}\\velm_client_sof.log"

clear_folder() {
  rm -rf "$velm" "$elsewhere"
  mkdir -p "$folder" "$elsewhere"
}
run_test() { "$(wine_program)" "$program" --gtest_filter="$1"; }

# Replaces folders by links to the folder elsewhere, in which the library must write nothing.
test_link() {
  local link
  for link in "$@"; do
    rm -rf "$link"
    ln -s "$elsewhere" "$link"
  done
  run_test LogFolder.IsALink
  [ -z "$(ls -A "$elsewhere")" ] || fail "the library followed the link $1"
}

clear_folder
case "$fault" in
  unwritable)
    for day in "${days[@]}"; do touch "$folder/$day"; done
    run_test LogFolder.IsStaged
    ;;
  full)
    for day in "${days[@]}"; do
      mkdir "$folder/$day"
      ln -s /dev/full "$folder/$day/velm_client_sof.log"
    done
    run_test LogFolder.IsStaged
    ;;
  linked)
    test_link "$velm"
    clear_folder
    test_link "$folder"
    clear_folder
    test_link "${days[@]/#/$folder/}"
    ;;
  *) fail "unknown fault '$fault'" ;;
esac
