# The Debian packages that the project builds, tests and shows itself with.

debian_packages=(
  build-essential cmake ninja-build dpkg-dev ca-certificates python3 perl tcl xz-utils
  g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
  googletest nlohmann-json3-dev libcli11-dev xmlsec1
  wine wine64 xvfb xauth iproute2
  doxygen cppcheck nsis
  mono-mcs libmono-i18n-cjk4.0-cil ecj libjna-java
)

# What `./dev analyse` and `./dev fuzz` need beyond that.
analysis_packages=(clang-tidy-16)
fuzz_packages=(clang libclang-rt-14-dev)

as_root() {
  if [ "$(id -u)" -eq 0 ]; then "$@"; else sudo "$@"; fi
}

missing_packages() {
  local package
  for package in "$@"; do
    dpkg-query -W -f='${Status}\n' "$package" 2>/dev/null | grep -q '^install ok installed$' ||
      echo "$package"
  done
}

# install_packages PACKAGE...: those that are not installed yet.
install_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$@")
  if [ ${#missing[@]} -eq 0 ]; then
    echo "all $# are installed"
    return
  fi
  echo "installing: ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}
