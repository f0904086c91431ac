#!/usr/bin/env bash
# test.sh OUT_DIR: tests the packages that make.sh created in OUT_DIR, under Wine with a separate prefix.
# Builds and runs the examples with the zip; installs, uses and uninstalls with the installer.
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
  say "$zip: build the examples and run them with its software token"
  rm -rf unpacked consumer
  python3 -m zipfile -e "$zip" unpacked
  local package=$out/unpacked/$name
  diff -r stage "$package"

  cmake -S "$package/examples/consumer" -B consumer -G Ninja \
    -DCMAKE_SYSTEM_NAME=Windows -DCMAKE_PREFIX_PATH="$package" \
    -DCMAKE_C_COMPILER=x86_64-w64-mingw32-gcc-posix -DCMAKE_CXX_COMPILER=x86_64-w64-mingw32-g++-posix \
    -DCMAKE_C_FLAGS='-Wall -Wextra -Wpedantic -Werror' -DCMAKE_CXX_FLAGS='-Wall -Wextra -Wpedantic -Werror' \
    >consumer.log
  cmake --build consumer >>consumer.log || { cat consumer.log >&2; fail "examples/consumer cannot be built"; }
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
    echo "$story: ok"
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
  [ "$(diff -r stage "$1")" = "Only in $1: uninstall.exe" ] || fail "$1 differs from the install tree"
}

# The uninstaller continues after the command has returned. It deletes itself last.
uninstall_silently() {
  local tries
  "$run_wine" "$1/uninstall.exe" /S
  for ((tries = 0; tries < 600; tries++)); do
    [ -e "$1/uninstall.exe" ] || return 0
    sleep 0.1
  done
  fail "the uninstaller did not finish"
}

# expect_refused FOLDER: installing to C:\FOLDER must fail and create nothing.
expect_refused() {
  local status=0
  "$run_wine" "$setup" /S "/D=C:\\$1" || status=$?
  [ $status -eq 2 ] || fail "installing to $1 exited with $status"
  [ ! -e "$WINEPREFIX/drive_c/$1/bin" ] || fail "a refused installation copied files"
}

# Whether users other than the owner may write. Wine derives permissions from the file mode and sets it.
others_may_write() { [ -n "$(find "$1" -maxdepth 0 -perm -o=w)" ]; }

# An earlier version in a folder that others may change, and such folders with and without files.
try_open_folders() {
  local drive="$WINEPREFIX/drive_c" earlier
  "$run_wine" "$setup" /S '/D=C:\earlier'
  earlier="$drive/earlier"
  chmod o+w "$earlier/uninstall.exe"
  expect_refused refused
  chmod o-w "$earlier/uninstall.exe"
  chmod o+w "$earlier"
  expect_refused refused
  expect_installed_in "$earlier"
  chmod o-w "$earlier"
  rm -rf "$drive/refused"
  echo "the uninstaller of an open folder is not run"

  mkdir "$drive/empty"
  chmod 777 "$drive/empty"
  "$run_wine" "$setup" /S '/D=C:\empty'
  expect_installed_in "$drive/empty"
  [ ! -e "$earlier" ] || fail "the earlier installation was not removed"
  others_may_write "$drive/empty" && fail "others may write to the program folder"
  echo "an open folder was closed"

  uninstall_silently "$drive/empty"
  mkdir "$drive/prepared"
  touch "$drive/prepared/version.dll"
  chmod 777 "$drive/prepared"
  expect_refused prepared
  others_may_write "$drive/prepared" || fail "the installer changed a folder that it refused"
  rm -rf "$drive/prepared" "$drive/empty"
  echo "an open folder with files was refused"
}

# The installer creates the log folder, or closes one that another user has created.
try_log_folder() {
  local velm="$WINEPREFIX/drive_c/ProgramData/VELM" folder
  rm -rf "$velm"
  mkdir -p "$velm/log"
  chmod 777 "$velm" "$velm/log"
  "$run_wine" "$setup" /S '/D=C:\logging'
  for folder in "$velm" "$velm/log"; do
    others_may_write "$folder" && fail "others may replace $folder"
  done
  uninstall_silently "$WINEPREFIX/drive_c/logging"
  [ -d "$velm/log" ] || fail "uninstalling removed the log"
  rm -rf "$velm" "$WINEPREFIX/drive_c/logging"
  echo "the log folder is there and closed"
}

use_and_try_to_remove() {
  local folder=$1 status=0
  "$run_wine" "$folder/bin/sof.exe" doctor | tr -d '\r' | tee doctor.txt
  grep -qF ' C:\Program Files\velm_sof_client\bin\velm_sof_client.dll' doctor.txt ||
    fail "sof doctor found another library"
  grep -q '^ok .* service: version .* answers' doctor.txt || fail "sof doctor did not find the local service"

  "$run_wine" "$folder/uninstall.exe" /S '_?=C:\Program' 'Files\velm_sof_client' || status=$?
  [ $status -eq 2 ] || fail "uninstalling exited with $status while the software token runs"
  echo "uninstalling refused while the software token runs"
}

try_installer() {
  say "$setup: install, use, uninstall"
  local programs="$WINEPREFIX/drive_c/Program Files"
  local first="$programs/velm first" folder="$programs/velm_sof_client"
  state_of_prefix >before.txt
  try_open_folders
  try_log_folder
  state_of_prefix >tried.txt
  diff before.txt tried.txt || fail "something is left of removed and refused installations"

  "$run_wine" "$setup" /S '/D=C:\Program' 'Files\velm' first
  expect_installed_in "$first"
  echo "installed into a chosen folder"

  "$run_wine" "$setup" /S '/D=C:\Program' 'Files\velm_sof_client'
  expect_installed_in "$folder"
  [ -d "$WINEPREFIX/drive_c/ProgramData/VELM/log" ] || fail "the installer did not create the log folder"
  [ ! -e "$first" ] || fail "the earlier installation was not removed"
  echo "installed into another folder; the earlier installation was removed"

  state_of_prefix >installed.txt
  local own='Program Files/velm_sof_client|CurrentVersion\\\\Uninstall'
  diff <(grep -vE "$own" before.txt) <(grep -vE "$own" installed.txt) ||
    fail "the installer changed more than its files and its registry entries"
  grep -q "Uninstall.*velm_sof_client\] \"DisplayVersion\"=\"${name#velm_sof_client-}\"" installed.txt ||
    fail "the installed version is not registered"
  echo "only files and uninstall entries were added"

  echo mine >"$folder/mine.txt"
  "$with_softtoken" "$folder/bin" bash -euo pipefail -c 'use_and_try_to_remove "$0"' "$folder"
  diff -r stage "$folder" | grep -v "^Only in $folder: " && fail "a refused uninstall removed files"

  uninstall_silently "$folder"
  [ "$(ls "$folder")" = mine.txt ] || fail "the uninstaller left its own files or removed another one"
  rm -r "$folder"
  state_of_prefix >removed.txt
  diff before.txt removed.txt || fail "the uninstaller left files or registry values"
  echo "uninstalled completely"
}

export -f fail tell_stories use_and_try_to_remove # for with-softtoken, which runs a command
stop_wine
rm -rf "$WINEPREFIX"
prepare_wine
try_zip
try_installer
