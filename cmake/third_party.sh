# Third-party sources, taken by name from Debian's source packages and kept in $deps, a folder an entry:
# $deps/NAME-VERSION. A private apt state is used, so that the machine's own is left as it is.

source_suite=trixie

# A private apt configuration whose one deb-src line is derived from the machine's own Debian mirror.
apt_private() {
  local state=$deps/apt
  "$@" -o Dir::Etc::SourceList="$state/sources.list" -o Dir::Etc::SourceParts=/dev/null \
    -o Dir::State::Lists="$state/lists" -o Dir::Cache="$state/cache" -o APT::Sandbox::User=root
}

prepare_private_apt() {
  local state=$deps/apt mirror
  [ ! -f "$state/ready" ] || return 0
  mkdir -p "$state/lists/partial" "$state/cache/archives/partial"
  mirror=$(apt-get indextargets --format '$(SITE) $(CODENAME)' 'Created-By: Packages' |
    awk '$2 == "bookworm" {print $1; exit}')
  [ -n "$mirror" ] || fail "this machine's apt names no mirror of bookworm"
  local keys='[signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]'
  printf 'deb-src %s %s %s main\n' "$keys" "$mirror" bookworm "$keys" "$mirror" "$source_suite" >"$state/sources.list"
  apt_private apt-get update -qq
  touch "$state/ready"
}

# fetch_source NAME VERSION: unpacks the source package, of that upstream version, into $deps/src/NAME-VERSION.
fetch_source() {
  local name=$1 version=$2 target=$deps/src/$1-$2 download=$deps/download/$1-$2
  [ ! -d "$target" ] || return 0
  prepare_private_apt
  echo "fetching $name $version"
  rm -rf "$download" && mkdir -p "$download" "$deps/src"
  local full
  full=$(apt_private apt-cache showsrc --only-source "$name" | awk -v want="$version" '
    $1 == "Version:" { v = $2; sub(/^[0-9]+:/, "", v); if (index(v, want) == 1) found = $2 } END { print found }')
  [ -n "$full" ] || fail "the source package $name has no version $version"
  (cd "$download" && apt_private apt-get source -qq --download-only "$name=$full" >/dev/null &&
    dpkg-source --no-check -x ./*.dsc unpacked >/dev/null)
  mv "$download/unpacked" "$target"
  rm -rf "$download"
}

cjson_version=1.7.18
httplib_version=0.18.7
openssl_version=3.5.7
sqlite_version=3.46.1

openssl_options='no-shared no-tests no-apps no-docs no-module no-engine no-legacy no-quic'
sqlite_options='-DSQLITE_DQS=0 -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_OMIT_DEPRECATED -DSQLITE_THREADSAFE=1'

# Builds are kept in $deps/NAME-TARGET; a stamp of version and options tells whether one is the one wanted.
is_built() { [ "$(cat "$deps/$1/stamp" 2>/dev/null)" = "$2" ]; }
mark_built() { echo "$2" >"$deps/$1/stamp"; }

# with_progress LABEL LOG COMMAND...: runs a long command, a line of its log every twenty seconds.
with_progress() {
  local label=$1 log=$2 started=$SECONDS worker
  shift 2
  "$@" >"$log" 2>&1 &
  worker=$!
  while kill -0 "$worker" 2>/dev/null; do
    sleep 1
    (((SECONDS - started) % 20)) || printf '  %s, %s s: %s lines of log\n' "$label" $((SECONDS - started)) "$(wc -l <"$log")"
  done
  wait "$worker" || { tail -n 20 "$log" >&2; fail "$label failed; the whole log: $log"; }
  echo "built $label in $((SECONDS - started)) s"
}

# build_openssl TARGET PLATFORM [OPTION...]: libcrypto as a static library in $deps/openssl-TARGET.
build_openssl() {
  local target=$1 platform=$2 prefix=$deps/openssl-$1 work=$deps/work/openssl-$1
  shift 2
  local stamp="$openssl_version $platform $* $openssl_options"
  ! is_built "openssl-$target" "$stamp" || return 0
  fetch_source openssl "$openssl_version"
  rm -rf "$work" "$prefix" && mkdir -p "$work" "$prefix/lib"
  with_progress "openssl $openssl_version for $target" "$work.log" bash -ec "
    cd '$work'
    '$deps/src/openssl-$openssl_version/Configure' $platform $* $openssl_options
    make -j$jobs build_generated libcrypto.a
    mkdir '$prefix/include'
    cp -r include/openssl '$prefix/include/'
    cp -r '$deps/src/openssl-$openssl_version/include/openssl' '$prefix/include/'
    cp libcrypto.a '$prefix/lib/'"
  mark_built "openssl-$target" "$stamp"
  rm -rf "$work"
}

# The one-file form of SQLite, made by its own configure and Tcl.
make_sqlite_amalgamation() {
  local prefix=$deps/sqlite-source work=$deps/work/sqlite-source
  ! is_built sqlite-source "$sqlite_version" || return 0
  fetch_source sqlite3 "$sqlite_version"
  rm -rf "$work" "$prefix" && mkdir -p "$work" "$prefix"
  with_progress "sqlite $sqlite_version in one file" "$work.log" bash -ec "
    cd '$work'
    '$deps/src/sqlite3-$sqlite_version/configure' --disable-tcl --disable-readline
    make sqlite3.c
    cp sqlite3.c sqlite3.h '$prefix/'"
  mark_built sqlite-source "$sqlite_version"
  rm -rf "$work"
}

# build_sqlite TARGET TOOL_PREFIX: the static library in $deps/sqlite-TARGET.
build_sqlite() {
  local target=$1 tool=$2 prefix=$deps/sqlite-$1 stamp="$sqlite_version $2 $sqlite_options"
  ! is_built "sqlite-$target" "$stamp" || return 0
  make_sqlite_amalgamation
  rm -rf "$prefix" && mkdir -p "$prefix/lib" "$prefix/include"
  with_progress "sqlite $sqlite_version for $target" "$deps/work/sqlite-$target.log" bash -ec "
    ${tool}gcc -O2 $sqlite_options -c '$deps/sqlite-source/sqlite3.c' -o '$prefix/sqlite3.o'
    ${tool}ar rcs '$prefix/lib/libsqlite3.a' '$prefix/sqlite3.o'
    rm '$prefix/sqlite3.o'
    cp '$deps/sqlite-source/sqlite3.h' '$prefix/include/'"
  mark_built "sqlite-$target" "$stamp"
}

build_third_party() {
  mkdir -p "$deps/work"
  fetch_source cjson "$cjson_version"
  fetch_source cpp-httplib "$httplib_version"
  build_sqlite native ''
  build_sqlite windows x86_64-w64-mingw32-
  build_openssl native linux-x86_64
  # OpenSSL lies in modules that can be unloaded; it would keep them from it otherwise.
  build_openssl windows mingw64 --cross-compile-prefix=x86_64-w64-mingw32- no-pinshared
  echo "ready: cjson $cjson_version, cpp-httplib $httplib_version, openssl $openssl_version, sqlite $sqlite_version"
}
