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

build_third_party() {
  mkdir -p "$deps"
  fetch_source cjson "$cjson_version"
  fetch_source cpp-httplib "$httplib_version"
  echo "ready: cjson $cjson_version, cpp-httplib $httplib_version"
}
