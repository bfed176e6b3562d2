#!/usr/bin/env bash
# The Windows back end under Wine beyond windows_tests: the same tests with UTF-8 as the code page,
# and the scenes, each on a computer set up for it. Usage: windows_scenes_test.sh [build/windows]
set -uo pipefail
. "$(dirname "$0")/windows_support.sh"

# scene NAME [ARGUMENT...]: exactly that one test must run and pass.
scene() {
  local name=$1
  shift
  timeout -k 5 60 wine "$build/windows_scenes.exe" "--gtest_filter=scene.$name" "$@" \
    >"$out/log" 2>&1 </dev/null
  local status=$?
  grep -q '^\[  PASSED  \] 1 test\.' "$out/log" || status=1
  verdict "scene $name" $status "$out/log"
}

timeout -k 5 300 wine "$build/windows_utf8_tests.exe" --gtest_brief=1 >"$out/log" 2>&1 </dev/null
status=$?
grep -q '^\[  PASSED  \] [1-9]' "$out/log" || status=1
verdict 'Windows tests with UTF-8 as the code page' $status "$out/log"

TZ=Europe/Berlin scene ZoneWithDaylightRules
TZ=Asia/Kolkata scene ZoneWithoutDaylightRules
scene ArgumentsBeyondAscii "Grüße €"

international='HKCU\Control Panel\International'
registry add "$international" /v sShortDate /d "d~M~yyyy"
registry add "$international" /v sDecimal /d "٫"
registry add "$international" /v s1159 /d "vörm €"
scene ConventionsOfTheUser
registry add "$international" /v sShortDate /d "M/d/yyyy"
registry add "$international" /v sDecimal /d "."
registry add "$international" /v s1159 /d "AM"

overrides=$WINEDLLOVERRIDES
WINEDLLOVERRIDES="$overrides;winhttp=" scene WithoutWinHttp
WINEDLLOVERRIDES="$overrides;shfolder=" scene WithoutShellFolders

application='HKCU\Software\Wine\AppDefaults\windows_scenes.exe'
registry add "$application" /v Version /d win81
scene VersionOfADeclaredSystem
registry delete "$application"

# A TLS server, and what the service is asked to check.
openssl req -x509 -newkey rsa:2048 -nodes -subj /CN=localhost -days 2 -keyout "$out/key.pem" \
  -out "$out/cert.pem" >/dev/null 2>&1
openssl s_server -accept 47299 -key "$out/key.pem" -cert "$out/cert.pem" -rev \
  >"$out/server.log" 2>&1 </dev/null &
server=$!
for _ in $(seq 50); do grep -q ACCEPT "$out/server.log" && break; sleep 0.1; done
WINEDEBUG=-all,+secur32 scene TlsConversation
grep -q 'dwFlags = 00000000' "$out/log"
verdict 'the TLS service is asked for every check' $? "$out/log"
kill $server 2>/dev/null

# A terminal garbles what a program prints, so the result is taken from its exit code.
run_scene="wine '$build/windows_scenes.exe' --gtest_filter=scene.Terminal"
(sleep 2; printf 'q\r'; sleep 5) |
  timeout -k 5 60 script -qec "stty cols 97 rows 30; $run_scene" /dev/null >"$out/log" 2>&1
verdict 'scene Terminal' $? "$out/log"

# The event log of Wine keeps nothing, but it can tell what reaches it.
for flavour in windows_tests windows_utf8_tests; do
  WINEDEBUG=-all,+eventlog timeout 60 wine "$build/$flavour.exe" \
    --gtest_filter=windows_event_log.* >"$out/log" 2>&1 </dev/null
  grep -q 'Pfad: C:\\\\M\\00fcll \\20ac' "$out/log"
  verdict "event text beyond ASCII ($flavour)" $? "$out/log"
done

wine "$build/winlaunch.exe" cmd /c exit -2146762496 >"$out/log" 2>&1 </dev/null
grep -q 'EXIT=0x800b0100 -2146762496' "$out/log"
verdict 'winlaunch tells the full exit code' $? "$out/log"
summary
