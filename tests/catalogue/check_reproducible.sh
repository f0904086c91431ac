# check_reproducible.sh SOURCE BINARY DEPS LIBRARY: builds the library from a copy of the source in another
# folder and compares the result byte for byte with LIBRARY.
set -eu
source=$1 binary=$2 deps=$3 library=$4

rm -rf "$binary"
mkdir -p "$binary/source"
tar -C "$source" --exclude=./build --exclude=./.deps --exclude=./.git -cf - . | tar -C "$binary/source" -xf -
cmake -S "$binary/source" --preset windows -B "$binary/build" -DVELM_DEPS="$deps" \
  -DBUILD_TESTING=OFF -DVELM_DOCUMENTATION=OFF >"$binary/configure.log"
cmake --build "$binary/build" --target velm_sof_client -j "$(nproc)" >"$binary/build.log"
cmp "$library" "$binary/build/src/velm_sof_client.dll"
echo "identical"
rm -rf "$binary"
