#!/usr/bin/env bash
# test_on_windows.sh PACKAGES CALL_TESTS: tests the zip in PACKAGES on Windows, in the shell of Git for
# Windows. Runs `sof doctor` and the examples with the software token of the zip, then the call tests.
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

say "the call tests"
cd "$call_tests"
failed=()
for test in *_test.exe; do
  echo "$test"
  ./"$test" --gtest_brief=1 || failed+=("$test")
done
[ ${#failed[@]} -eq 0 ] || fail "failed: ${failed[*]}"
