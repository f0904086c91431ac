#!/usr/bin/env bash
# make.sh BUILD_DIR OUT_DIR: creates the zip, the installer and their SHA-256 sums from a build.
set -euo pipefail

here=$(cd "$(dirname "${BASH_SOURCE[0]}")" && pwd)
build=$(cd "$1" && pwd)
mkdir -p "$2"
out=$(cd "$2" && pwd)
rm -rf "$out"/stage "$out"/velm_sof_client-* "$out"/installer "$out"/SHA256SUMS

cmake --install "$build" --prefix "$out/stage" >"$out/install.log"
version=$(sed -n 's/^CMAKE_PROJECT_VERSION:STATIC=//p' "$build/CMakeCache.txt")
name=velm_sof_client-$version

python3 "$here/make_zip.py" "$out/stage" "$out/$name-win64.zip" "$name"

mkdir "$out/installer"
python3 "$here/list_files.py" "$out/stage" >"$out/installer/files.nsh"
makensis -V2 -INPUTCHARSET UTF8 -DVERSION="$version" -DFILES="$out/installer/files.nsh" \
  -DFOLDER_GUARD="$build/packaging/folder_guard/folder_guard.exe" \
  -DOUTPUT="$out/$name-win64-setup.exe" "$here/installer.nsi" >"$out/installer/makensis.log" ||
  { cat "$out/installer/makensis.log" >&2; exit 1; }

cd "$out"
sha256sum "$name-win64.zip" "$name-win64-setup.exe" >SHA256SUMS
ls -l "$name-win64.zip" "$name-win64-setup.exe"
