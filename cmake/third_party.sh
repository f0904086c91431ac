# Downloads third-party sources as Debian source packages to $deps/src/NAME-VERSION and builds them. apt runs
# with private state, so the machine's own is not changed.

source_suite=trixie

# Runs an apt command with a private configuration, whose deb-src lines use the machine's own Debian mirror.
apt_private() {
  local state=$deps/apt
  "$@" -o Dir::Etc::SourceList="$state/sources.list" -o Dir::Etc::SourceParts=/dev/null \
    -o Dir::State::Lists="$state/lists" -o Dir::Cache="$state/cache" -o APT::Sandbox::User=root
}

# Prints nothing if apt has no package lists yet.
debian_mirror() {
  apt-get indextargets --format '$(SITE) $(CODENAME)' 'Created-By: Packages' |
    awk '$2 == "bookworm" && !found {print $1; found = 1}'
}

prepare_private_apt() {
  local state=$deps/apt mirror
  [ ! -f "$state/ready" ] || return 0
  mkdir -p "$state/lists/partial" "$state/cache/archives/partial"
  mirror=$(debian_mirror)
  [ -n "$mirror" ] || { as_root apt-get update -qq && mirror=$(debian_mirror); }
  [ -n "$mirror" ] || fail "apt has no bookworm mirror configured"
  local keys='[signed-by=/usr/share/keyrings/debian-archive-keyring.gpg]'
  printf 'deb-src %s %s %s main\n' "$keys" "$mirror" bookworm "$keys" "$mirror" "$source_suite" \
    >"$state/sources.list"
  apt_private apt-get update -qq
  touch "$state/ready"
}

# offered_source NAME VERSION: prints the newest source package version with this prefix, or nothing.
offered_source() {
  apt_private apt-cache showsrc --only-source "$1" | awk -v want="$2" '
    $1 == "Version:" { v = $2; sub(/^[0-9]+:/, "", v); if (index(v, want) == 1) print $2 }' |
    sort -V | tail -1
}

# fetch_source NAME VERSION: unpacks the source package of this upstream version to $deps/src/NAME-VERSION.
# If Debian has replaced this version by a later one of the same series, the later one is used.
fetch_source() {
  local name=$1 version=$2 target=$deps/src/$1-$2 download=$deps/download/$1-$2
  [ ! -d "$target" ] || return 0
  prepare_private_apt
  echo "fetching $name $version"
  rm -rf "$download" && mkdir -p "$download" "$deps/src"
  local full
  full=$(offered_source "$name" "$version")
  if [ -z "$full" ]; then
    apt_private apt-get update -qq
    full=$(offered_source "$name" "$version")
  fi
  if [ -z "$full" ]; then
    full=$(offered_source "$name" "${version%.*}.")
    [ -z "$full" ] || echo "$name $version is no longer available; using $full"
  fi
  [ -n "$full" ] || fail "source package $name has no version $version"
  (cd "$download" && apt_private apt-get source -qq --download-only "$name=$full" >/dev/null &&
    dpkg-source --no-check -x ./*.dsc unpacked >/dev/null)
  mv "$download/unpacked" "$target"
  rm -rf "$download"
}

# The only place that names the versions; cmake/third_party.cmake reads them from these lines.
benchmark_version=1.9.1
cjson_version=1.7.18
libxml2_version=2.9.14
openssl_version=3.5.7
simdjson_version=3.0.1
sqlite3_version=3.46.1
xmlsec1_version=1.2.37

# Builds only libcrypto.a, without network protocols and without algorithms that the token does not use. This
# saves a third of the build time.
openssl_options='no-shared no-tests no-apps no-docs no-module no-engine no-legacy no-quic
  no-argon2 no-aria no-bf no-blake2 no-camellia no-cast no-chacha no-idea no-md4 no-mdc2 no-ocb no-poly1305
  no-rc2 no-rc4 no-rmd160 no-seed no-siphash no-siv no-whirlpool
  no-dh no-dsa no-ec2m no-ecx no-gost no-ml-dsa no-ml-kem no-slh-dsa no-srp
  no-cmp no-comp no-ct no-http no-ocsp no-sock'
# These two libraries contain only what signatures require: trees, canonicalisation, and references within a
# document. They access no network and no external files. libxml2 has no thread support: its callers serialise
# their calls.
libxml2_options='--with-minimum --with-c14n --with-output --with-push --with-sax1 --with-tree --with-xpath
  --with-xptr --without-python --without-zlib --without-lzma --without-iconv --without-http --without-ftp
  --without-threads'
xmlsec1_options='--without-libxslt --without-nss --without-gcrypt --without-gnutls --disable-crypto-dl
  --disable-apps-crypto-dl --disable-apps --disable-docs --disable-mans --disable-pkgconfig'
sqlite_options='-DSQLITE_DQS=0 -DSQLITE_OMIT_LOAD_EXTENSION -DSQLITE_OMIT_DEPRECATED -DSQLITE_THREADSAFE=1'

# Builds are in $deps/NAME-TARGET. A stamp with version and options detects outdated ones.
is_built() { [ "$(cat "$deps/$1/stamp" 2>/dev/null)" = "$2" ]; }
mark_built() { echo "$2" >"$deps/$1/stamp"; }

# with_progress LABEL LOG COMMAND...: runs a long command and reports progress every twenty seconds.
with_progress() {
  local label=$1 log=$2 started=$SECONDS worker
  shift 2
  "$@" >"$log" 2>&1 &
  worker=$!
  while kill -0 "$worker" 2>/dev/null; do
    sleep 1
    (((SECONDS - started) % 20)) ||
      printf '  %s, %s s: %s lines of log\n' "$label" $((SECONDS - started)) "$(wc -l <"$log")"
  done
  wait "$worker" || { tail -n 20 "$log" >&2; fail "$label failed; full log: $log"; }
  echo "built $label in $((SECONDS - started)) s"
}

# build_openssl TARGET PLATFORM [OPTION...]: builds libcrypto as a static library in $deps/openssl-TARGET.
build_openssl() {
  local target=$1 platform=$2 prefix=$deps/openssl-$1 work=$deps/work/openssl-$1
  shift 2
  local options
  options=$(echo $platform "$@" $openssl_options)
  local stamp="$openssl_version $options"
  ! is_built "openssl-$target" "$stamp" || return 0
  fetch_source openssl "$openssl_version"
  rm -rf "$work" "$prefix" && mkdir -p "$work" "$prefix/lib"
  with_progress "openssl $openssl_version for $target" "$work.log" bash -ec "
    cd '$work'
    '$deps/src/openssl-$openssl_version/Configure' $options
    make -j$jobs build_generated libcrypto.a
    mkdir '$prefix/include'
    cp -r include/openssl '$prefix/include/'
    cp -r '$deps/src/openssl-$openssl_version/include/openssl' '$prefix/include/'
    cp libcrypto.a '$prefix/lib/'"
  mark_built "openssl-$target" "$stamp"
  rm -rf "$work"
}

# The command-line program, with the same libcrypto: the benchmarks compare the token with `openssl speed`.
build_openssl_program() {
  local prefix=$deps/openssl-program work=$deps/work/openssl-program
  local options stamp
  options=$(echo linux-x86_64 ${openssl_options/no-apps/})
  stamp="$openssl_version $options"
  ! is_built openssl-program "$stamp" || return 0
  rm -rf "$work" "$prefix" && mkdir -p "$work" "$prefix"
  with_progress "openssl $openssl_version as a program" "$work.log" bash -ec "
    cd '$work'
    '$deps/src/openssl-$openssl_version/Configure' $options
    make -j$jobs build_generated
    make -j$jobs apps/openssl
    cp apps/openssl '$prefix/'"
  mark_built openssl-program "$stamp"
  rm -rf "$work"
}

# The amalgamation of SQLite, generated by its configure script and Tcl.
make_sqlite_amalgamation() {
  local prefix=$deps/sqlite-source work=$deps/work/sqlite-source
  ! is_built sqlite-source "$sqlite3_version" || return 0
  fetch_source sqlite3 "$sqlite3_version"
  rm -rf "$work" "$prefix" && mkdir -p "$work" "$prefix"
  with_progress "sqlite $sqlite3_version amalgamation" "$work.log" bash -ec "
    cd '$work'
    '$deps/src/sqlite3-$sqlite3_version/configure' --disable-tcl --disable-readline
    make sqlite3.c
    cp sqlite3.c sqlite3.h '$prefix/'"
  mark_built sqlite-source "$sqlite3_version"
  rm -rf "$work"
}

# build_sqlite TARGET TOOL_PREFIX: builds the static library in $deps/sqlite-TARGET.
build_sqlite() {
  local target=$1 tool=$2 prefix=$deps/sqlite-$1 stamp="$sqlite3_version $2 $sqlite_options"
  ! is_built "sqlite-$target" "$stamp" || return 0
  make_sqlite_amalgamation
  rm -rf "$prefix" && mkdir -p "$prefix/lib" "$prefix/include"
  with_progress "sqlite $sqlite3_version for $target" "$deps/work/sqlite-$target.log" bash -ec "
    ${tool}gcc -O2 $sqlite_options -c '$deps/sqlite-source/sqlite3.c' -o '$prefix/sqlite3.o'
    ${tool}ar rcs '$prefix/lib/libsqlite3.a' '$prefix/sqlite3.o'
    rm '$prefix/sqlite3.o'
    cp '$deps/sqlite-source/sqlite3.h' '$prefix/include/'"
  mark_built "sqlite-$target" "$stamp"
}

# build_configured NAME VERSION TARGET LIBRARY FOLDER OPTION...: builds a static library in $deps/NAME-TARGET
# with the package's own configure and make. FOLDER is its folder in the source and build trees.
build_configured() {
  local name=$1 version=$2 target=$3 library=$4 folder=$5 work=$deps/work/$1-$3 prefix=$deps/$1-$3
  shift 5
  rm -rf "$work" "$prefix" && mkdir -p "$work" "$prefix/lib" "$prefix/include"
  with_progress "$name $version for $target" "$work.log" bash -ec "
    cd '$work'
    '$deps/src/$name-$version/configure' \\
      --disable-shared --disable-dependency-tracking --with-pic CFLAGS=-O2 $*
    make -j$jobs -C '$folder' AUTOCONF=: AUTOHEADER=: AUTOMAKE=: ACLOCAL=: '$library.la'
    cp '$folder/.libs/$library.a' '$prefix/lib/'
    cp -r '$deps/src/$name-$version/include'/* '$prefix/include/'
    cp -r include/* '$prefix/include/'"
  rm -rf "$work"
}

# build_libxml2 TARGET [OPTION...]
build_libxml2() {
  local target=$1 stamp="$libxml2_version $* $libxml2_options"
  shift
  ! is_built "libxml2-$target" "$stamp" || return 0
  fetch_source libxml2 "$libxml2_version"
  build_configured libxml2 "$libxml2_version" "$target" libxml2 . $libxml2_options "$@"
  mark_built "libxml2-$target" "$stamp"
}

# build_xmlsec1 TARGET [OPTION...]: builds xmlsec1 without its cryptography. The token verifies signatures
# itself.
build_xmlsec1() {
  local target=$1 stamp="$xmlsec1_version $libxml2_version $openssl_version $* $xmlsec1_options"
  shift
  ! is_built "xmlsec1-$target" "$stamp" || return 0
  fetch_source xmlsec1 "$xmlsec1_version"
  build_configured xmlsec1 "$xmlsec1_version" "$target" libxmlsec1 src $xmlsec1_options "$@" \
    "--with-openssl='$deps/openssl-$target'" \
    "LIBXML_CFLAGS='-I$deps/libxml2-$target/include' LIBXML_LIBS='-L$deps/libxml2-$target/lib -lxml2 -lm'"
  mark_built "xmlsec1-$target" "$stamp"
}

# <windows.h> includes all vector intrinsics of the compiler, which takes three quarters of the compile time.
# Defining the include guard of their header skips them.
without_intrinsics=-D_X86INTRIN_H_INCLUDED

build_openssl_for() {
  case $1 in
    native) build_openssl native linux-x86_64 ;;
    # no-pinshared: OpenSSL is linked into modules that must remain unloadable.
    windows) build_openssl windows mingw64 --cross-compile-prefix=x86_64-w64-mingw32- no-pinshared \
      "CPPFLAGS=$without_intrinsics" ;;
  esac
}

build_sqlite_for() {
  case $1 in
    native) build_sqlite native '' ;;
    windows) build_sqlite windows x86_64-w64-mingw32- ;;
  esac
}

build_libxml2_for() {
  case $1 in
    native) build_libxml2 native ;;
    windows) build_libxml2 windows --host=x86_64-w64-mingw32 CPPFLAGS=-DLIBXML_STATIC ;;
  esac
}

build_xmlsec1_for() {
  case $1 in
    native) build_xmlsec1 native ;;
    windows) build_xmlsec1 windows --host=x86_64-w64-mingw32 "CPPFLAGS='-DLIBXML_STATIC -DXMLSEC_STATIC'" ;;
  esac
}

# for_each_target "TARGET..." FUNCTION...: calls each function with each target, in this order.
for_each_target() {
  local targets=$1 function target
  shift
  for function in "$@"; do
    for target in $targets; do "$function" "$target"; done
  done
}

# build_third_party TARGET...: builds what native or windows builds link. OpenSSL is built concurrently with
# the others, because their configure scripts and single-file compilations use one processor at most.
build_third_party() {
  local workers=() worker failed=no
  mkdir -p "$deps/work"
  fetch_source cjson "$cjson_version"
  fetch_source openssl "$openssl_version"
  fetch_source simdjson "$simdjson_version"
  fetch_source sqlite3 "$sqlite3_version"
  fetch_source libxml2 "$libxml2_version"
  fetch_source xmlsec1 "$xmlsec1_version"
  for_each_target "$*" build_openssl_for &
  workers+=($!)
  for_each_target "$*" build_sqlite_for build_libxml2_for &
  workers+=($!)
  for worker in "${workers[@]}"; do wait "$worker" || failed=yes; done
  [ "$failed" = no ] || fail "a third-party build failed"
  for_each_target "$*" build_xmlsec1_for
  echo "ready for $*: cjson $cjson_version, libxml2 $libxml2_version, openssl $openssl_version," \
    "simdjson $simdjson_version, sqlite $sqlite3_version, xmlsec1 $xmlsec1_version"
}
