# Wine with the project's own prefix in build/. Tests can select another one.

export WINEPREFIX=${VELM_WINE_PREFIX:-$root/build/wine}
export WINEDEBUG=${WINEDEBUG:--all}
export WINEDLLOVERRIDES='mscoree=;mshtml=;winemenubuilder.exe='

wine_program() {
  local candidate
  for candidate in /usr/lib/wine/wine64 "$(command -v wine64 || true)" "$(command -v wine || true)"; do
    if [ -x "$candidate" ]; then echo "$candidate"; return; fi
  done
  fail "wine is not installed"
}

wine_server() {
  local candidate
  for candidate in /usr/lib/wine/wineserver64 /usr/lib/wine/wineserver; do
    if [ -x "$candidate" ]; then echo "$candidate"; return; fi
  done
  command -v wineserver
}

# Creating a prefix takes several seconds, so all are copies of one template. The C: drive is hard-linked:
# Wine replaces files there and never modifies them in place.
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

# With the null graphics driver, windows exist without a display but are not visible.
make_template() {
  echo "creating the Wine prefix"
  "$(wine_program)" wineboot -i >/dev/null 2>&1
  "$(wine_program)" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
  "$(wine_server)" -w
  touch "$WINEPREFIX/.ready"
}

prepare_wine() {
  make_prefix
  start_wine
}

# One server for many programs. It and its services are started separately from the programs: otherwise they
# would keep a program's output open until they exit.
start_wine() {
  "$(wine_server)" -k0 2>/dev/null && return
  "$(wine_server)" -p60 </dev/null >/dev/null 2>&1
  "$(wine_program)" wineboot </dev/null >/dev/null 2>&1
}

# Includes the servers of the slots in which tests run.
stop_all_wine() {
  local prefix
  for prefix in "$WINEPREFIX" "$root"/build/slots/*/wine; do
    WINEPREFIX=$prefix stop_wine
  done
}

stop_wine() {
  [ ! -d "$WINEPREFIX" ] || "$(wine_server)" -k 2>/dev/null || true
}
