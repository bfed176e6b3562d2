#!/usr/bin/env bash
# The local course: a package on disk goes all the way, or is refused with the result, the records
# and the traces that it should leave.
. "$(dirname "$0")/lib.sh"

first_properties='PROP_AUTOSPAWN=1 PROP_SILENCE=2 REBOOT=ReallySuppress'
reinstall_properties="REINSTALL=ALL REINSTALLMODE=vamus $first_properties"
replacing_properties="PROP_REPLACING=1 $first_properties"
client={C11E0000-0000-4000-8000-000000000001}
printer={C11E0000-0000-4000-8000-000000000002}

information() { printf 'information\t%s' "$1"; }

make_packages() {
  echo "program file" >"$scratch/client.txt"
  package --product $client --version 8.1.0 --name Client --property PROP_VERSION=8.1.0 \
    --reg-version 'Software\Rehearsal\Client' --file "client.txt=$scratch/client.txt" client.msi
  package --product $client --version 8.1.0 --name Client --property PROP_VERSION=8.1.0 \
    --reg-version 'Software\Rehearsal\Client' --file "client.txt=$scratch/client.txt" renamed.msi
  package --product $printer --name Printer --property "PROP_UPGRADE_PRODUCTID=$client" replacing.msi
  package --publisher 'Another Software Inc.' other.msi
  package --unsigned unsigned.msi
  package --expired expired.msi
  package --untrusted untrusted.msi
  package --condition 'PROP_NEVER' refused.msi
  head -c 3000 "$scratch/client.msi" >"$scratch/cut.msi"
  head -c 5000 /dev/urandom >"$scratch/junk.msi"
  : >"$scratch/empty.msi"
}

client_of() { echo "$(drive_c)/Program Files/Client/client.txt"; }

for back_end in ${RUVO_BACK_ENDS:-native wine}; do
  use "$back_end"
  rm -rf "$scratch/authority"
  make_packages
  products=("$client" "$printer")
  fresh_machine

  it 'a signed package installs'
  run --file "$(as_argument "$scratch/client.msi")" --result -l2
  expect_result 0
  expect_records "starting install with properties: $first_properties" 'install completed successfully'
  expect_file "$(client_of)"
  expect_equal 'what is left in the folder' "$(ls "$scratch" | grep -c '^client.msi')" 1

  it 'the same package is reinstalled'
  rm -f "$(client_of)"
  run --file "$(as_argument "$scratch/client.msi")" --result -l2
  expect_result 0
  expect_records "starting install with properties: $reinstall_properties" 'install completed successfully'
  expect_file "$(client_of)"

  it 'without --result the process result is 0, and the default log level records the outcome'
  run --file "$(as_argument "$scratch/client.msi")"
  expect_result 0
  expect_records 'install completed successfully'

  it 'a package of another name changes the name that the installer remembers'
  run --file "$(as_argument "$scratch/renamed.msi")" --result
  expect_result 0
  expect_records 'changing package name from client.msi to renamed.msi' 'install completed successfully'

  it 'mode 2 refuses what is installed, mode 3 what is not newer, with 128'
  reg_set 'HKEY_LOCAL_MACHINE\Software\Rehearsal\Client' version 8.1.0
  for mode in 1 2 3 7; do
    run --file "$(as_argument "$scratch/client.msi")" --result -l2 --mode=$mode
    expect_result 128
    expect_records 'install not necessary'
  done
  reg_set 'HKEY_LOCAL_MACHINE\Software\Rehearsal\Client' version 8.0.9
  run --file "$(as_argument "$scratch/client.msi")" --result --mode=3
  expect_result 0

  it 'a package that names an installed product replaces it'
  run --file "$(as_argument "$scratch/replacing.msi")" --result -l2
  expect_result 0
  expect_records "starting install with properties: $replacing_properties" 'install completed successfully'

  it 'properties of our families reach the installer, others do not'
  run --file "$(as_argument "$scratch/client.msi")" -l2 TP_A=1 PATH=x PROP_B=b FOO=1
  expect_records "starting install with properties: $reinstall_properties TP_A=1 PROP_B=b" 'install completed successfully'

  it 'verify stops behind the signature'
  run --file "$(as_argument "$scratch/client.msi")" --result --verify -l2
  expect_result 0
  expect_records

  it 'a file URL is a local course'
  run --url "file://$(as_argument "$scratch/client.msi")" --result
  expect_result 0
  expect_file "$scratch/client.msi"

  it 'signatures that are not good enough'
  run --file "$(as_argument "$scratch/unsigned.msi")" --result
  expect_result $((0x800B0100 - 0x100000000))
  expect_records 'invalid, incorrect, or missing signature'
  run --file "$(as_argument "$scratch/other.msi")" --result
  expect_result -1
  run --file "$(as_argument "$scratch/untrusted.msi")" --result
  expect_result $((0x800B0109 - 0x100000000))
  run --file "$(as_argument "$scratch/expired.msi")" --result
  expect_result $((0x800B0101 - 0x100000000))
  run --file "$(as_argument "$scratch/junk.msi")" --result
  expect_result $((0x800B0003 - 0x100000000))
  run --file "$(as_argument "$scratch/cut.msi")" --result
  [ "$result" -lt -1 ] || fail "a cut package gives $result"

  it 'the start and the end of a run are recorded at level 15'
  run --file "$(as_argument "$scratch/unsigned.msi")" --result -l15
  expect_records 'update process started' 'invalid, incorrect, or missing signature' \
    "update process completed with result $((0x800B0100 - 0x100000000))"
  [ "$back_end" = wine ] ||
    expect_equal 'the event ids' "$record_ids" "$(printf '0x4000044C\n0x800004B2\n0x4000044E')"

  it 'what is no installer ends with 5'
  run --file "$(as_argument "$scratch/empty.msi")" --result -l2
  expect_result 5
  expect_records 'failed to extract installer'
  run --file "$(as_argument "$scratch/absent.msi")" --result
  expect_result 5
  run --file "$(as_argument "$scratch")" --result
  expect_result 5

  it 'a package that refuses gives the installer error'
  run --file "$(as_argument "$scratch/refused.msi")" --result
  expect_result 1603
  expect_records 'install failed with result 1603'

  it 'a package is taken out of its container by name and count'
  make_container "$scratch/named.exe" "$scratch/client.msi" boxed.msi
  run --file "$(as_argument "$scratch/named.exe")" --result
  expect_result 0
  expect_file "$scratch/boxed.msi"
  cmp -s "$scratch/boxed.msi" "$scratch/client.msi" || fail 'the package is not the one in the container'
  make_container "$scratch/nameless.exe" "$scratch/client.msi" unused "" 2
  run --file "$(as_argument "$scratch/nameless.exe")" --name given --result
  expect_result 0
  expect_file "$scratch/given.msi"
  run --file "$(as_argument "$scratch/nameless.exe")" --result
  expect_result 0
  expect_file "$scratch/nameless.exe.msi"
  make_container "$scratch/single.exe" "$scratch/client.msi" boxed.msi "" 1
  run --file "$(as_argument "$scratch/single.exe")" --result
  expect_result 5
  make_container "$scratch/lying.exe" "$scratch/client.msi" boxed2.msi
  printf '\xff\xff\xff\x7f' | dd of="$scratch/lying.exe" bs=1 seek=$(($(stat -c %s "$scratch/lying.exe") - 12)) conv=notrunc 2>/dev/null
  run --file "$(as_argument "$scratch/lying.exe")" --result
  expect_result 5
  expect_no_file "$scratch/boxed2.msi"

  it 'nothing to do ends with 2 and no record of its own'
  run --result -l2
  expect_result 2
  expect_records
  run -l2
  expect_result 0
  run --result --url=file://
  expect_result 2

  # Only a lack of memory leads there, which no computer gives on demand: a run with a heap that fails.
  it 'a path that can'"'"'t be held ends with 4'
  whole_run=(--gtest_filter=Run.APathThatCannotBeFormedEndsWith4 --gtest_brief=1)
  if [ "$back_end" = native ]; then outcome=$("$top/build/linux/unit_tests" "${whole_run[@]}" 2>&1)
  else outcome=$(in_wine wine "$top/build/windows/unit_tests.exe" "${whole_run[@]}" 2>/dev/null | tr -d '\r'); fi
  expect_equal 'the run' "$(printf '%s\n' "$outcome" | tail -n 1)" '[  PASSED  ] 1 test.'

  it 'usage and invalid options'
  run --help --result
  expect_result 0
  expect_records
  case $output in *'Usage: '*'-?, --help                     print usage'*) ;; *) fail "usage: $output" ;; esac
  run --result --bogus
  expect_result 1
  case $output in *'invalid option: --bogus'*) ;; *) fail "no message: $output" ;; esac
  run --result --quiet --bogus
  expect_result 1
  expect_equal 'the output' "$output" ''

  fresh_machine
done

# What Wine has no case of is played on the stand-in computer.
if [[ " ${RUVO_BACK_ENDS:-native wine} " == *' native '* ]]; then
  use native
  rehearsal='HKEY_LOCAL_MACHINE\SOFTWARE\Ruvo\Rehearsal'

  it 'a reboot, a busy service: the installer has the last word'
  for code in 3010 1618; do
    fresh_machine
    reg_set "$rehearsal" InstallResults $code
    run --file "$scratch/client.msi" --result
    expect_result $code
  done
fi

finish
