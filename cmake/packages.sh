# The Debian packages that the project requires, by purpose.

# For `./dev demo`: third-party sources, Windows programs, and Wine.
demo_packages=(
  gcc libc6-dev make cmake ninja-build dpkg-dev ca-certificates perl python3 tcl xz-utils
  g++-mingw-w64-x86-64-posix binutils-mingw-w64-x86-64
  nlohmann-json3-dev libcli11-dev libboost1.81-dev
  wine wine64
)

# For `./dev build`: the native programs, the test programs and the call reference. CMake uses iproute2 to
# check whether tests can use network namespaces.
build_packages=("${demo_packages[@]}" g++ googletest doxygen iproute2)

# For `./dev test`.
test_packages=(
  "${build_packages[@]}" openssl xmlsec1 xvfb xauth clang-format cppcheck nsis
  mono-mcs libmono-i18n-cjk4.0-cil ecj libjna-java chromium
)

coverage_packages=("${test_packages[@]}" gcovr)
package_packages=("${build_packages[@]}" nsis)
analysis_packages=("${build_packages[@]}" clang-tidy-16 cppcheck)
fuzz_packages=("${build_packages[@]}" clang libclang-rt-14-dev)

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

# install_packages PACKAGE...: installs those that are missing.
install_packages() {
  local missing
  mapfile -t missing < <(missing_packages "$@")
  if [ ${#missing[@]} -eq 0 ]; then
    echo "nothing to install"
    return
  fi
  echo "installing: ${missing[*]}"
  as_root apt-get update -qq
  as_root env DEBIAN_FRONTEND=noninteractive \
    apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
}

# Drives Chromium in the test of hostile web pages. It requires Node.js 18, the version of Debian 12.
playwright_version=1.61.0

# Installs playwright-core in $deps/playwright. npm comes from Debian, unless Node.js is installed with an npm
# of its own, with which Debian's package conflicts.
install_playwright() {
  command -v npm >/dev/null || install_packages nodejs npm
  ! is_built playwright "$playwright_version" || return 0
  rm -rf "$deps/playwright" && mkdir -p "$deps/playwright"
  PLAYWRIGHT_SKIP_BROWSER_DOWNLOAD=1 npm install --prefix "$deps/playwright" --no-save --ignore-scripts \
    --no-audit --no-fund --loglevel error "playwright-core@$playwright_version" ||
    fail "npm cannot install playwright-core $playwright_version"
  mark_built playwright "$playwright_version"
}
