# Whole runs of the real program, for tests/e2e/*_test.sh and tools/demo.sh. To be sourced (bash).
#
# The same calls drive both back ends: `use native` runs build/linux/ruvo on a machine folder of
# its own, `use wine` runs build/windows/ruvo.exe in the private Wine of tools/wine-env.sh.
#
#   use native|wine            the back end of what follows
#   fresh_machine              a computer without our keys, products, cache and events
#   run ARGUMENT...            one run; sets $result (signed), $output (both streams) and $records
#   reg_set KEY NAME VALUE     a text value; KEY is HKEY_LOCAL_MACHINE\... (the key is made)
#   reg_get KEY NAME           its text, nothing when absent
#   reg_drop KEY               the key and what is below it
#   set_system_proxy [LIST [BYPASS]]   the computer's own proxies; without arguments none
#   package OPTION... NAME     a package in $scratch (tests/support/make_package.sh), signed for $back_end
#   as_argument FILE           the file's path as the program is given it
#
#   it TEXT                    begins a case; the checks that follow belong to it
#   expect_result N            and the like; a failed check is shown and fails the case
#   finish                     prints "N passed, N failed", cleans up, ends the script

set -u
top=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
scratch=$(mktemp -d /tmp/ruvo-e2e-XXXXXX)
cases_passed=0
cases_failed=0
case_name=
case_bad=0

# ---- cases -----------------------------------------------------------------------------------

end_case() {
  [ -n "$case_name" ] || return 0
  if [ "$case_bad" = 0 ]; then
    cases_passed=$((cases_passed + 1))
  else
    cases_failed=$((cases_failed + 1))
  fi
  case_name=
}

it() {
  end_case
  case_name="$1"
  case_bad=0
}

fail() {
  printf 'FAILED  %s [%s]: %s\n' "$case_name" "${back_end:-}" "$1"
  case_bad=1
}

expect_equal() { # WHAT GOT WANTED
  [ "$2" = "$3" ] || fail "$1 is
$(printf '%s' "$2" | sed 's/^/    | /')
  and not
$(printf '%s' "$3" | sed 's/^/    | /')"
}

expect_result() { [ "$result" = "$1" ] || fail "the result is $result, not $1; records: $records"; }
expect_records() { # the texts of the records, one an argument
  local wanted
  wanted=$(printf '%s\n' "$@")
  [ $# = 0 ] && wanted=
  expect_equal 'the records' "$(printf '%s\n' "$records" | cut -f 2-)" "$wanted"
}
expect_file() { [ -f "$1" ] || fail "$1 is not there"; }
expect_no_file() { [ ! -e "$1" ] || fail "$1 is there"; }

finish() {
  end_case
  stop_servers
  rm -rf "$scratch"
  printf '%d passed, %d failed\n' "$cases_passed" "$cases_failed"
  [ "$cases_failed" = 0 ]
  exit
}

# Servers that a test starts put their process ids here.
servers=()
stop_servers() {
  local pid
  for pid in ${servers[@]+"${servers[@]}"}; do kill "$pid" 2>/dev/null; done
  servers=()
}
trap 'stop_servers; rm -rf "$scratch"' EXIT

# ---- back ends -------------------------------------------------------------------------------

have_wine=
use() {
  back_end=$1
  if [ "$back_end" = native ]; then
    program=${RUVO_NATIVE:-$top/build/linux/ruvo}
    export RUVO_MACHINE=$scratch/machine
    return
  fi
  program=$top/build/windows/ruvo.exe
  if [ -z "$have_wine" ]; then
    # The environment of Wine has its own HOME; only what runs Wine sees it.
    (. "$top/tools/wine-env.sh" && ruvo_wine_start) >/dev/null 2>&1 || { echo "Wine could not be started"; exit 1; }
    have_wine=1
  fi
}

in_wine() { # COMMAND...: a command in the environment of the private Wine
  (. "$top/tools/wine-env.sh" >/dev/null 2>&1; "$@" </dev/null)
}

wine_drive() { # folder of drive C: of the prefix
  in_wine bash -c 'echo "$WINEPREFIX/dosdevices/c:"'
}

drive_c() {
  if [ "$back_end" = native ]; then echo "$RUVO_MACHINE/drive_c"; else wine_drive; fi
}

temp_folder() { # the folder that the program takes for temporary files
  if [ "$back_end" = native ]; then echo "$RUVO_MACHINE/drive_c/Windows/Temp"
  else in_wine bash -c 'f=$(winepath -u "$(wine cmd /c echo %TEMP% 2>/dev/null | tr -d "\r")" 2>/dev/null); echo "$f"'; fi
}

cache_folder() { echo "$(temp_folder)/Tallyport"; }

as_argument() {
  if [ "$back_end" = native ]; then echo "$1"; else echo "Z:${1//\//\\}"; fi
}

# ---- the registry ----------------------------------------------------------------------------

reg_escaped() { printf '%s' "$1" | sed 's/[\\"]/\\&/g'; }

reg_set() {
  if [ "$back_end" = native ]; then
    [ -f "$RUVO_MACHINE/registry.reg" ] || "$program" >/dev/null 2>&1
    printf '\n[%s]\n"%s"="%s"\n' "$1" "$2" "$(reg_escaped "$3")" >>"$RUVO_MACHINE/registry.reg"
  else
    in_wine wine reg add "$1" /v "$2" /d "$3" /f /reg:64 >/dev/null 2>&1
  fi
}

reg_get() {
  if [ "$back_end" = native ]; then
    key="[$1]" name="\"$2\"=" awk '
      BEGIN { key = tolower(ENVIRON["key"]); name = tolower(ENVIRON["name"]) }
      /^\[/ { here = tolower($0) == key }
      here && tolower(substr($0, 1, length(name))) == name { value = substr($0, length(name) + 1) }
      END { if (value != "") { gsub(/^"|"$/, "", value); gsub(/\\\\/, "\\", value); print value } }
    ' "$RUVO_MACHINE/registry.reg" 2>/dev/null | tr -d '\r'
  else
    in_wine wine reg query "$1" /v "$2" /reg:64 2>/dev/null | tr -d '\r' |
      sed -nE 's/^ +[^ ]+ +REG_[A-Z_]+ +(.*)$/\1/p'
  fi
}

reg_drop() {
  if [ "$back_end" = native ]; then
    [ -f "$RUVO_MACHINE/registry.reg" ] || return 0
    key="[$1" awk 'BEGIN { key = tolower(ENVIRON["key"]) }
      /^\[/ { gone = index(tolower($0), key) == 1 }
      !gone { print }' "$RUVO_MACHINE/registry.reg" >"$scratch/registry.new"
    mv "$scratch/registry.new" "$RUVO_MACHINE/registry.reg"
  else
    in_wine wine reg delete "$1" /f /reg:64 >/dev/null 2>&1
  fi
}

set_system_proxy() {
  local key
  if [ "$back_end" = native ]; then
    key='HKEY_LOCAL_MACHINE\SOFTWARE\Ruvo\Rehearsal'
    reg_drop "$key"
    [ $# = 0 ] && return
    reg_set "$key" Proxy "$1"
    reg_set "$key" ProxyBypass "${2:-}"
    return
  fi
  key='HKLM\Software\Microsoft\Windows\CurrentVersion\Internet Settings\Connections'
  if [ $# = 0 ]; then
    in_wine wine reg delete "$key" /v WinHttpSettings /f /reg:64 >/dev/null 2>&1
    return
  fi
  # What WinHTTP keeps: size, flags, "named proxy", then each text behind its length.
  local blob
  blob=$(printf "$(little 24)$(little 0)$(little 3)$(little ${#1})%s$(little "$(printf %s "${2:-}" | wc -c)")%s" "$1" "${2:-}" |
    xxd -p | tr -d '\n')
  in_wine wine reg add "$key" /v WinHttpSettings /t REG_BINARY /d "$blob" /f /reg:64 >/dev/null 2>&1
}

settings_key='HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\Tallyport\Settings'

# ---- the computer ----------------------------------------------------------------------------

trust_root() { # makes the computer trust the test root
  local root=$scratch/authority/root.pem
  [ -f "$root" ] || return 0
  if [ "$back_end" = native ]; then
    mkdir -p "$RUVO_MACHINE/trust" && cp "$root" "$RUVO_MACHINE/trust/"
    return
  fi
  # A certificate store is a registry key; the value is a list of properties (here the SHA-1) and
  # the certificate itself.
  local der=$scratch/root.der sha1 size blob
  openssl x509 -in "$root" -outform DER -out "$der"
  sha1=$(sha1sum "$der" | cut -c 1-40)
  size=$(printf '%08x' "$(stat -c %s "$der")" | sed 's/\(..\)\(..\)\(..\)\(..\)/\4\3\2\1/')
  blob=03000000010000001400000${sha1:+0}${sha1}2000000001000000$size$(xxd -p "$der" | tr -d '\n')
  {
    printf 'Windows Registry Editor Version 5.00\r\n\r\n'
    printf '[HKEY_LOCAL_MACHINE\\Software\\Microsoft\\SystemCertificates\\Root\\Certificates\\%s]\r\n' "${sha1^^}"
    printf '"Blob"=hex:%s\r\n' "$(printf '%s' "$blob" | sed 's/../&,/g; s/,$//')"
  } >"$scratch/root.reg"
  in_wine wine regedit /S "$(as_argument "$scratch/root.reg")" >/dev/null 2>&1
}

products=() # product codes that a test installs, so that a Wine computer can be rid of them

fresh_machine() {
  if [ "$back_end" = native ]; then
    rm -rf "$RUVO_MACHINE"
    "$program" >/dev/null 2>&1 # makes the folder
    rm -f "$RUVO_MACHINE/events.log"
  else
    local code
    for code in ${products[@]+"${products[@]}"}; do
      in_wine wine msiexec /x "$code" /qn >/dev/null 2>&1
    done
    reg_drop 'HKEY_LOCAL_MACHINE\System\CurrentControlSet\Services\Tallyport'
    reg_drop 'HKEY_LOCAL_MACHINE\Software\Rehearsal'
    set_system_proxy
    rm -rf "$(cache_folder)"
  fi
  trust_root
}

package() {
  local options=(--authority "$scratch/authority")
  # Wine judges a chain only when the leaf certificate is signed with SHA-1.
  [ "$back_end" = wine ] && options+=(--sha1)
  local name=${*: -1}
  bash "$top/tests/support/make_package.sh" "${options[@]}" "${@:1:$#-1}" "$scratch/$name" >"$scratch/package.log" 2>&1 ||
    { cat "$scratch/package.log"; echo "the package $name could not be made"; exit 1; }
}

# little NUMBER: its four bytes, the lowest first, as printf escapes
little() { printf '\\x%02x\\x%02x\\x%02x\\x%02x' $(($1 & 255)) $(($1 >> 8 & 255)) $(($1 >> 16 & 255)) $(($1 >> 24 & 255)); }

# make_container OUT PACKAGE NAME [PROGRAM] [COUNT]: a program (or some bytes) that carries the
# package under that name; with a COUNT of 2 the container stores no name.
make_container() {
  local out=$1 package=$2 name=$3 head=${4:-} count=${5:-3} name_at name_size package_at package_size
  if [ -n "$head" ]; then cat "$head" >"$out"; else printf 'some program' >"$out"; fi
  name_at=$(stat -c %s "$out") name_size=${#name}
  printf '%s' "$name" >>"$out"
  package_at=$(stat -c %s "$out") package_size=$(stat -c %s "$package")
  cat "$package" >>"$out"
  if [ "$count" = 2 ]; then name_at=$package_at name_size=$package_size; fi
  printf "$(little "$name_at")$(little "$name_size")$(little 1)$(little 1)$(little "$package_at")$(little "$package_size")$(little "$count")rvTP" >>"$out"
}

# ---- runs ------------------------------------------------------------------------------------

launch_in_wine() { # ARGUMENT...: what the program prints, Wine's trace of its records, its exit code
  (
    . "$top/tools/wine-env.sh" >/dev/null 2>&1
    cd "$scratch" || exit 1
    export WINEDEBUG=-all,+eventlog
    [ -n "${wine_overrides:-}" ] && export WINEDLLOVERRIDES="$WINEDLLOVERRIDES;$wine_overrides"
    timeout ${run_seconds:-60} wine "$top/build/windows/winlaunch.exe" "$(as_argument "$program")" "$@" 2>&1 <"${input:-/dev/null}"
  )
}

# Standard input comes from the file $input, or is empty. $records has a line for each record: type
# (success, information, warning, error), a tab, the text.
run() {
  if [ "$back_end" = native ]; then
    rm -f "$RUVO_MACHINE/events.log" "$RUVO_MACHINE/result"
    output=$(cd "$scratch" && timeout ${run_seconds:-60} "$program" "$@" 2>&1 <"${input:-/dev/null}")
    status=$?
    # An exit status holds 8 bits; the stand-in computer keeps the whole process result.
    result=$(cat "$RUVO_MACHINE/result" 2>/dev/null || echo "none (status $status)")
    # The stand-in installer writes records of its own, under another source.
    records=$(awk -F '\t' '$4 == "Tallyport" { print $2 "\t" $5 }' "$RUVO_MACHINE/events.log" 2>/dev/null)
    record_ids=$(awk -F '\t' '$4 == "Tallyport" { print $3 }' "$RUVO_MACHINE/events.log" 2>/dev/null)
  else
    local raw
    raw=$(launch_in_wine "$@")
    # Seldom Wine ends a program before it began: not even the launcher has printed its line, which
    # it does whatever becomes of the program.
    if [ -z "$raw" ]; then
      echo "    Wine started nothing; once more: $*" >&2
      raw=$(launch_in_wine "$@")
    fi
    raw=$(printf '%s\n' "$raw" | tr -d '\r')
    result=$(printf '%s\n' "$raw" | sed -nE 's/^EXIT=0x[0-9a-fA-F]+ (-?[0-9]+)$/\1/p' | tail -n 1)
    result=${result:-none ($(printf %s "$raw" | tail -n 3 | cut -c 1-300))}
    # Wine records nothing, but traces the text of each record under the class of its type.
    records=$(printf '%s\n' "$raw" | sed -nE '
      s/^([0-9a-f]+:)?err:eventlog:ReportEvent[AW] L?"(.*)"$/error\t\2/p
      s/^([0-9a-f]+:)?warn:eventlog:ReportEvent[AW] L?"(.*)"$/warning\t\2/p
      s/^([0-9a-f]+:)?trace:eventlog:ReportEvent[AW] L?"(.*)"$/information\t\2/p' | sed 's/\\\\/\\/g')
    output=$(printf '%s\n' "$raw" | grep -avE '(err|warn|trace|fixme):eventlog:|^EXIT=0x')
  fi
}
