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

# The null graphics driver lets windows exist, unseen, where there is no display.
prepare_wine() {
  if [ ! -f "$WINEPREFIX/.ready" ]; then
    echo "making the Wine prefix"
    mkdir -p "$WINEPREFIX"
    "$(wine_program)" wineboot -i >/dev/null 2>&1
    "$(wine_program)" reg add 'HKCU\Software\Wine\Drivers' /v Graphics /d null /f >/dev/null 2>&1
    "$(wine_server)" -w
    touch "$WINEPREFIX/.ready"
  fi
  start_wine
}

# One server for many programs. It and its services are started apart from any of them: they would keep the
# output of the program that started them open for as long as they live.
start_wine() {
  "$(wine_server)" -k0 2>/dev/null && return
  "$(wine_server)" -p60 </dev/null >/dev/null 2>&1
  "$(wine_program)" wineboot </dev/null >/dev/null 2>&1
}

stop_wine() {
  [ ! -d "$WINEPREFIX" ] || "$(wine_server)" -k 2>/dev/null || true
}
