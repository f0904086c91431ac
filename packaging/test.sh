#!/usr/bin/env bash
# test.sh OUT_DIR: tests the packages that make.sh created in OUT_DIR, under Wine with a prefix of its own.
# Builds and runs a program with the zip, and installs, uses and removes the installer's files.
set -euo pipefail

out=$(cd "$1" && pwd)
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
export VELM_WINE_PREFIX=$out/wine
fail() { printf 'packages: %s\n' "$*" >&2; exit 1; }
say() { printf '\n-- %s\n' "$*"; }
source "$root/cmake/wine.sh"
export root run_wine=$root/cmake/run-under-wine
with_softtoken=$root/cmake/with-softtoken
trap stop_wine EXIT

cd "$out"
sha256sum --check --quiet SHA256SUMS
zip=$(echo velm_sof_client-*-win64.zip)
setup=$(echo velm_sof_client-*-win64-setup.exe)
name=${zip%-win64.zip}

# ---- the zip: complete and relocatable

try_zip() {
  say "$zip: the program of examples/consumer, built against it and run with its software token"
  rm -rf unpacked consumer
  python3 -m zipfile -e "$zip" unpacked
  local package=$out/unpacked/$name
  diff -r stage "$package"

  cmake -S "$package/examples/consumer" -B consumer -G Ninja \
    -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_PREFIX_PATH="$package" \
    -DCMAKE_C_COMPILER=x86_64-w64-mingw32-gcc-posix -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix \
    -DCMAKE_C_FLAGS='-Wall -Wextra -Wpedantic -Werror' -DCMAKE_CXX_FLAGS='-Wall -Wextra -Wpedantic -Werror' \
    >consumer.log
  cmake --build consumer >>consumer.log || { cat consumer.log >&2; fail "the consumer cannot be built"; }
  # Other tool chains use the module definition file instead of the import library.
  x86_64-w64-mingw32-dlltool --input-def "$package/lib/velm_sof_client.def" --output-lib consumer/from_def.a
  x86_64-w64-mingw32-gcc -I"$package/include" "$package/examples/c/story.c" consumer/from_def.a \
    -o consumer/story_def.exe

  WINEPATH=$package/bin "$with_softtoken" "$package/bin" bash -euo pipefail -c tell_stories
}

tell_stories() {
  local story
  for story in story_c story_cpp story_def; do
    "$run_wine" consumer/$story.exe | tr -d '\r' | diff "$root/examples/tests/story.txt" -
    echo "$story tells its story"
  done
}

# ---- the installer

# Lists every file of the prefix and every registry value with its key. Excludes devices, which Wine registers
# again at every start, the library's log, and the temporary copy from which an uninstaller runs: it is
# deleted when the system restarts.
state_of_prefix() {
  stop_wine
  (cd "$WINEPREFIX" && find drive_c -type d -print -o -printf '%p %s\n' &&
    awk '/^\[/ { sub(/ [0-9]+$/, ""); key = $0; print key; next } /^("|@)/ { print key, $0 }' ./*.reg) |
    grep -vE 'CurrentControlSet\\\\Control\\\\Class|/ProgramData/VELM|~nsu' | sort
  start_wine
}

# The installed files must be those of the zip plus the uninstaller.
expect_installed_in() {
  [ "$(diff -r stage "$1")" = "Only in $1: uninstall.exe" ] || fail "$1 holds something else"
}

# The uninstaller continues after the command has returned. It deletes itself last.
uninstall_silently() {
  local tries
  "$run_wine" "$1/uninstall.exe" /S
  for ((tries = 0; tries < 600; tries++)); do
    [ -e "$1/uninstall.exe" ] || return 0
    sleep 0.1
  done
  fail "the uninstaller does not come to its end"
}

use_and_try_to_remove() {
  local folder=$1 status=0
  "$run_wine" "$folder/bin/sof.exe" doctor | tr -d '\r' | tee doctor.txt
  grep -qF ' C:\Program Files\velm_sof_client\bin\velm_sof_client.dll' doctor.txt ||
    fail "the doctor found another library"
  grep -q '^ok .* service: version .* answers' doctor.txt || fail "the doctor found no service"

  "$run_wine" "$folder/uninstall.exe" /S '_?=C:\Program' 'Files\velm_sof_client' || status=$?
  [ $status -eq 2 ] || fail "removing what is in use ended with $status"
  echo "not removed while the software token runs"
}

try_installer() {
  say "$setup: install, use, remove"
  local programs="$WINEPREFIX/drive_c/Program Files"
  local first="$programs/velm first" folder="$programs/velm_sof_client"
  state_of_prefix >before.txt

  "$run_wine" "$setup" /S '/D=C:\Program' 'Files\velm' first
  expect_installed_in "$first"
  echo "installed into a folder of its own choice"

  "$run_wine" "$setup" /S '/D=C:\Program' 'Files\velm_sof_client'
  expect_installed_in "$folder"
  [ ! -e "$first" ] || fail "the earlier installation is still there"
  echo "installed again elsewhere: the earlier one made room"

  state_of_prefix >installed.txt
  local own='Program Files/velm_sof_client|CurrentVersion\\\\Uninstall'
  diff <(grep -vE "$own" before.txt) <(grep -vE "$own" installed.txt) ||
    fail "the installer left something else than its files and how to remove them"
  grep -q "Uninstall.*velm_sof_client\] \"DisplayVersion\"=\"${name#velm_sof_client-}\"" installed.txt ||
    fail "the installed version is not registered"
  echo "nothing but its files and how to remove them was added"

  echo mine >"$folder/mine.txt"
  "$with_softtoken" "$folder/bin" bash -euo pipefail -c 'use_and_try_to_remove "$0"' "$folder"
  diff -r stage "$folder" | grep -v "^Only in $folder: " && fail "some of it was removed all the same"

  uninstall_silently "$folder"
  [ "$(ls "$folder")" = mine.txt ] || fail "the uninstaller left files, or took one that it did not bring"
  rm -r "$folder"
  state_of_prefix >removed.txt
  diff before.txt removed.txt || fail "the uninstaller left something"
  echo "removed, and nothing left"
}

export -f fail tell_stories use_and_try_to_remove # for with-softtoken, which runs a command
stop_wine
rm -rf "$WINEPREFIX"
prepare_wine
try_zip
try_installer
