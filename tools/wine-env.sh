# wine-env.sh: a private Wine for tests. To be sourced (bash).
#
#   . tools/wine-env.sh           exports the environment, makes the prefix and starts its server
#   wine build/windows/unit_tests.exe
#   ruvo_wine_stop                ends the server again; the prefix stays for the next time
#
# RUVO_WINE_HOME chooses the folder; without it, build/wine of this tree. Sourcing it twice, or
# with the prefix there already, only exports and makes sure that the server is up.
#
# Why each setting:
# - winedbg.exe=   a crash then always ends with code 5; else a debugger starts, and the code may be 0
# - mscoree, mshtml=  no offer to install them
# - wintrust, secur32=n,b  a scripted service of that name that a test loads, or that lies beside
#                  the program, is taken; without one, Wine's own
# - no DISPLAY     a message box returns at once instead of waiting for a person
# - no http_proxy  Wine would report it as the computer's default proxy
# - C.UTF-8        command-line arguments beyond ASCII arrive
# - HOME           the profile's folders are links into it
# - the server stands and holds no pipe: otherwise each program starts its own, and whoever waits
#   for the end of a captured output waits for Wine's services
# A prefix isn't made twice at once: a lock file orders those who come together.

ruvo_wine_home=${RUVO_WINE_HOME:-$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)/build/wine}
export WINEPREFIX="$ruvo_wine_home/prefix"
export HOME="$ruvo_wine_home/home"
export WINEARCH=win64
export WINEDEBUG=-all
export WINEDLLOVERRIDES="mscoree,mshtml,winedbg.exe=;wintrust,secur32=n,b"
export LANG=C.UTF-8
unset LC_ALL DISPLAY WAYLAND_DISPLAY http_proxy HTTP_PROXY https_proxy HTTPS_PROXY

ruvo_wine_server() {
  local server
  for server in "$(command -v wineserver64)" /usr/lib/wine/wineserver64 "$(command -v wineserver)"; do
    [ -x "$server" ] && { echo "$server"; return; }
  done
  echo "wine-env.sh: no wineserver found; install wine64" >&2
  return 1
}

ruvo_wine_start() {
  local server
  server=$(ruvo_wine_server) || return 1
  mkdir -p "$HOME" "$ruvo_wine_home"
  (
    flock 9
    if [ ! -e "$ruvo_wine_home/ready" ]; then
      rm -rf "$WINEPREFIX"
      wineboot -i >/dev/null 2>&1 9>&- </dev/null || exit 1
      touch "$ruvo_wine_home/ready"
    fi
    "$server" -p >/dev/null 2>&1 9>&- </dev/null
    wine hostname.exe >/dev/null 2>&1 9>&- </dev/null
  ) 9>"$ruvo_wine_home/lock" || { echo "wine-env.sh: the prefix could not be made" >&2; return 1; }
}

ruvo_wine_stop() {
  local server
  server=$(ruvo_wine_server) || return 0
  "$server" -k >/dev/null 2>&1 || true
  "$server" -w >/dev/null 2>&1 || true
}

ruvo_wine_start
