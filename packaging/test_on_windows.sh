#!/usr/bin/env bash
# test_on_windows.sh PACKAGES CALL_TESTS: tests the packages in PACKAGES on Windows, in the shell of Git for
# Windows, as administrator. Runs `sof doctor` and the examples with the software token of the zip, then the
# installer, whose permissions Wine can only show in part, then the call tests.
set -euo pipefail

root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
packages=$(cd "$1" && pwd)
call_tests=$(cd "$2" && pwd)
say() { printf '\n-- %s\n' "$*"; }
fail() { printf 'test_on_windows: %s\n' "$*" >&2; exit 1; }

cd "$packages"
sha256sum --check --quiet SHA256SUMS
rm -rf unpacked story
python -m zipfile -e velm_sof_client-*-win64.zip unpacked
package=$(echo "$packages"/unpacked/*)
export PATH=$package/bin:$PATH

say "the software token and sof doctor"
velm_softtoken init --demo --data store.db
velm_softtoken serve --data store.db >service.log 2>&1 &
service=$!
trap 'kill $service 2>/dev/null || true' EXIT
for ((tries = 0; tries < 300; tries++)); do
  ! (exec 3<>/dev/tcp/127.0.0.1/55661) 2>/dev/null || break
  sleep 0.1
done
sof doctor | tee doctor.txt
grep -q '^ok .* service: version .* answers' doctor.txt ||
  { cat service.log; fail "sof doctor did not find the local service"; }
grep -q '^ok .* service port: belongs to .*velm_softtoken.exe, process .*, user ' doctor.txt ||
  fail "sof doctor did not name the process on the service port"

say "the examples"
cmake -S "$package/examples/consumer" -B story -G 'MinGW Makefiles' \
  -DCMAKE_PREFIX_PATH="$(cygpath -m "$package")"
cmake --build story
for story in story/story_c.exe story/story_cpp.exe "python $package/examples/python/story.py"; do
  $story | tr -d '\r' | diff "$root/examples/tests/story.txt" -
  echo "$story: ok"
done
kill $service
wait $service || true

say "the installer"
export MSYS_NO_PATHCONV=1 # arguments that begin with / are options here, not paths
setup=$(echo "$packages"/velm_sof_client-*-win64-setup.exe)
folder='C:\velm_test' log='C:\ProgramData\VELM\log'
users='*S-1-5-32-545'

# expect_permissions FOLDER PATTERN: the entry of the group Users, in the notation of icacls. No other group
# of ordinary users may have an entry.
expect_permissions() {
  icacls "$1" | tee permissions.txt
  grep -qE "\\\\Users:$2" permissions.txt || fail "$1 has other permissions for users"
  ! grep -qE 'Everyone|Authenticated Users|INTERACTIVE|\(I\)' permissions.txt || fail "$1 is open or inherits"
}

"$setup" /S "/D=$folder"
expect_permissions "$folder" '\(OI\)\(CI\)\(RX\)'
expect_permissions "${log%\\log}" '\(OI\)\(CI\)\(RX\)'
expect_permissions "$log" '\(CI\)\(RX,WD,AD\)'
expect_permissions "$log" '\(OI\)\(IO\)\(R,W\)'
"$folder\\bin\\sof.exe" doctor >doctor.txt || true # the local service does not run
cat doctor.txt
for subject in 'program folder' 'log folder'; do
  grep -q "^ok  *$subject: " doctor.txt || fail "sof doctor complains about the $subject"
done

icacls "$folder" /grant "$users:(OI)(CI)M"
status=0
"$setup" /S '/D=C:\velm_other' || status=$?
[ $status -eq 2 ] || fail "the uninstaller of a folder that users can change was run: $status"
icacls "$folder" /remove "$users"
icacls "$folder" /grant "$users:(OI)(CI)RX"

rm -rf "$(cygpath "$log")"
cmd /c "mklink /J $log $folder"
"$folder\\bin\\sof.exe" doctor >doctor.txt || true
grep -q '^warning .*log folder: .* is a link' doctor.txt || fail "sof doctor did not report a junction"
cmd /c "rmdir $log"
"$folder\\uninstall.exe" /S "_?=$folder"
unset MSYS_NO_PATHCONV

say "the call tests"
cd "$call_tests"
failed=()
for test in *_test.exe; do
  echo "$test"
  ./"$test" --gtest_brief=1 || failed+=("$test")
done
[ ${#failed[@]} -eq 0 ] || fail "failed: ${failed[*]}"
