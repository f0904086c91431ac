# Wine with a prefix of the project's own, under build/; a test can name another one.

export WINEPREFIX=${VELM_WINE_PREFIX:-$root/build/wine}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='

wine_program() {
  local candidate
  for candidate in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
    if [ -x "$candidate" ]; then echo "$candidate"; return; fi
  done
  fail "no wine"
}

wine_server() {
  local candidate
  for candidate in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver; do
    if [ -x "$candidate" ]; then echo "$candidate"; return; fi
  done
  command -v wineserver
}

# All prefixes are copies of one, which takes Wine some seconds to make. Its C: drive is hard-linked, as Wine
# replaces files there and does not write into them.
make_prefix() {
  local template=$root/build/wine-template lock
  [ ! -f "$WINEPREFIX/.ready" ] || return 0
  mkdir -p "$template" "$WINEPREFIX"
  exec {lock}>"$template.lock"
  flock "$lock"
  [ -f "$template/.ready" ] || WINEPREFIX=$template make_template {lock}>&-
  exec {lock}>&-
  cp -a --link "$template/drive_c" "$WINEPREFIX/"
  cp -a "$template/dosdevices" "$template"/*.reg "$template/.update-timestamp" "$WINEPREFIX/"
  touch "$WINEPREFIX/.ready"
}

# The null graphics driver lets windows exist, unseen, where there is no display.
make_template() {
  echo "making the Wine prefix"
  "$(wine_program)" wineboot -i >/dev/null 2>&1
  "$(wine_program)" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
  "$(wine_server)" -w
  touch "$WINEPREFIX/.ready"
}

prepare_wine() {
  make_prefix
  start_wine
}

# One server for many programs. It and its services are started apart from any of them: they would keep the
# output of the program that started them open for as long as they live.
start_wine() {
  "$(wine_server)" -k0 2>/dev/null && return
  "$(wine_server)" -p60 </dev/null >/dev/null 2>&1
  "$(wine_program)" wineboot </dev/null >/dev/null 2>&1
}

# The servers of the slots, too, in which tests run.
stop_all_wine() {
  local prefix
  for prefix in "$WINEPREFIX" "$root"/build/slots/*/wine; do
    WINEPREFIX=$prefix stop_wine
  done
}

stop_wine() {
  [ ! -d "$WINEPREFIX" ] || "$(wine_server)" -k 2>/dev/null || true
}
