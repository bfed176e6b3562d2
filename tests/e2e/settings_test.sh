#!/usr/bin/env bash
# Settings documents and gates: one document steers a run, from a file, a pipe, and standard input
# in all its forms.
. "$(dirname "$0")/lib.sh"

client={C11E0000-0000-4000-8000-000000000003}

plist() { # FILE KEYS
  printf '<?xml version="1.0" encoding="UTF-8"?>\n<plist version="1.0"><dict>%s</dict></plist>\n' "$2" >"$scratch/$1"
}

settings() { # KEYS ARGUMENT...: a run with a settings file
  plist update.plist "$1"
  run -X "$(as_argument "$scratch/update.plist")" --result "${@:2}"
}

for back_end in ${RUVO_BACK_ENDS:-native wine}; do
  use "$back_end"
  rm -rf "$scratch/authority"
  package --product $client --name Settings client.msi
  products=("$client")
  fresh_machine
  installer=$(as_argument "$scratch/client.msi")
  reg_set "$settings_key" ruvoseed 524288

  it 'a document installs'
  settings '<key>loglevel</key><integer>2</integer><key>coverage</key><integer>524288</integer>
    <key>properties</key><array><string>TP_A=1</string><string>FOO=2</string></array>' --file "$installer" TP_B=2
  expect_result 0
  expect_records 'starting install with properties: PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress TP_A=1' \
    'install completed successfully'

  it 'each gate refuses with its result and record'
  settings '<key>expiration</key><string>20120102030405Z</string>' --file "$installer" -l2
  expect_result 6
  expect_records 'update instructions have expired'
  settings '<key>osversion</key><dict><key>minimum</key><string>99.0</string></dict>' --file "$installer" -l2
  expect_result 8
  expect_records 'OS version not targeted'
  settings '<key>osversion</key><dict><key>maximum</key><string>5.1</string></dict>' --file "$installer" -l2
  expect_result 8
  settings '<key>coverage</key><integer>524287</integer>' --file "$installer" -l2
  expect_result 9
  expect_records 'Random selector not targeted'
  reg_set "$settings_key" ruvogate 1000
  settings '' --file "$installer" -l2
  expect_result 10
  expect_records 'update disabled for this client'
  reg_set "$settings_key" ruvogate 0

  if [ "$back_end" = native ]; then
    it 'a computer that does not tell its version takes nothing'
    cp "$RUVO_MACHINE/registry.reg" "$scratch/kept.reg"
    reg_drop 'HKEY_LOCAL_MACHINE\SOFTWARE\Microsoft\Windows NT\CurrentVersion'
    settings '' --file "$installer" -l2
    expect_result 7
    expect_records 'OS version not sufficient'
    cp "$scratch/kept.reg" "$RUVO_MACHINE/registry.reg"
  fi

  it 'a disabled update does nothing, and says so at level 2'
  settings '<key>enabled</key><false/>' --file "$installer"
  expect_result 0
  expect_records
  settings '<key>enabled</key><false/>' --file "$installer" -l2
  expect_records 'update process is disabled'

  it 'the seed is drawn once and kept'
  reg_drop "$settings_key"
  run --result
  expect_equal 'the seed without a Settings key' "$(reg_get "$settings_key" ruvoseed)" ''
  reg_set "$settings_key" version ''
  run --result
  seed=$(reg_get "$settings_key" ruvoseed)
  [[ $seed =~ ^[0-9]+$ ]] || fail "the seed is '$seed'"
  run --result
  expect_equal 'the seed after another run' "$(reg_get "$settings_key" ruvoseed)" "$seed"

  it 'settings that cannot be read are passed over'
  run -X "$(as_argument "$scratch/absent.plist")" --result
  expect_result 2
  printf '<plist><dict><key>expiration' >"$scratch/cut.plist"
  run -X "$(as_argument "$scratch/cut.plist")" --result
  expect_result 2
  head -c 40000 /dev/urandom >"$scratch/noise"
  run -X "$(as_argument "$scratch/noise")" --result
  expect_result 2

  it 'standard input: a file, a pipe, nothing, closed'
  plist input.plist '<key>expiration</key><string>20120102030405Z</string>'
  input=$scratch/input.plist run -x --result
  expect_result 6
  input=/dev/null run -x --result
  expect_result 2
  mkfifo "$scratch/pipe.$back_end"
  cat "$scratch/input.plist" >"$scratch/pipe.$back_end" &
  input=$scratch/pipe.$back_end run -x --result
  expect_result 6
  printf '{"expiration": "20120102030405Z"}' >"$scratch/input.json"
  input=$scratch/input.json run -x --result
  expect_result 6
  if [ "$back_end" = native ]; then
    rm -f "$RUVO_MACHINE/result"
    "$program" -x --result <&- >/dev/null 2>&1
    expect_equal 'the result with a closed input' "$(cat "$RUVO_MACHINE/result")" 2
  fi

  it 'a file wins over standard input'
  plist two.plist '<key>enabled</key><true/>'
  input=$scratch/input.plist run -x -X "$(as_argument "$scratch/two.plist")" --result
  expect_result 2

  it 'the documents of the settings reference are read'
  for page in window share disabled; do
    cp "$top/docs/settings/$page.plist" "$scratch/page.plist"
    # Expired, so that nothing is fetched; a document that could not be read would end with 2.
    sed -i 's|20991231235959Z|20120102030405Z|; s|<key>url</key>|<key>expiration</key><string>20120102030405Z</string><key>url</key>|' "$scratch/page.plist"
    run -X "$(as_argument "$scratch/page.plist")" --result
    if [ $page = disabled ]; then expect_result 0; else expect_result 6; fi
  done

  fresh_machine
done

# A person types the document at a console: a pseudo terminal, natively.
if [[ " ${RUVO_BACK_ENDS:-native wine} " == *' native '* ]]; then
  use native
  it 'standard input on a console'
  rm -f "$RUVO_MACHINE/result"
  python3 - "$program" "$scratch/input.json" <<'PY'
import os, pty, sys, time
program, document = sys.argv[1:]
text = open(document, 'rb').read()
pid, fd = pty.fork()
if pid == 0:
    os.execv(program, [program, '-x', '--result'])
# A console read ends with the end-of-file key on an empty line.
time.sleep(0.3)
os.write(fd, text + b'\n\x04')
time.sleep(0.2)
os.write(fd, b'\x04')
os.waitpid(pid, 0)
PY
  expect_equal 'the result' "$(cat "$RUVO_MACHINE/result" 2>/dev/null)" 6
fi

finish
