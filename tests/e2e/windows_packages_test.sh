#!/usr/bin/env bash
# ruvo.exe on real packages, where only Windows has the case: names beyond ASCII, a file in use, a
# message box. Usage: windows_packages_test.sh
. "$(dirname "$0")/lib.sh"
use wine
build=$top/build/windows
product={57A11E50-0000-4000-8000-000000000001}
products=("$product")

printf 'program file\n' >"$scratch/held.txt"
for name in client.msi Päckchen.msi; do
  package --product $product --version 8.1.0 --name Held --property PROP_VERSION=8.1.0 \
    --file "held.txt=$scratch/held.txt" $name
done
fresh_machine
install() { run --file "$(as_argument "$scratch/$1")" --result "${@:2}"; }

it 'a signed package installs'
install client.msi
expect_result 0
expect_records 'install completed successfully'

it 'the event source points at the program'
source='HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Tallyport'
case $(reg_get "$source" EventMessageFile) in *\\ruvo.exe) ;; *) fail "$(reg_get "$source" EventMessageFile)" ;; esac
expect_equal 'what it supports' "$(reg_get "$source" TypesSupported)" 0x7

it 'a package name beyond ASCII is installed, remembered and recorded'
install Päckchen.msi
expect_result 0
expect_records 'changing package name from client.msi to P\00e4ckchen.msi' 'install completed successfully'

it 'a file in use is replaced at the next start, with 3010'
(
  . "$top/tools/wine-env.sh"
  exec wine "$build/windows_helper.exe" hold 'C:\Program Files\Held\held.txt' 60 </dev/null
) >"$scratch/held" 2>&1 &
servers=($!)
for _ in $(seq 100); do grep -q held "$scratch/held" && break; sleep 0.1; done
install Päckchen.msi
stop_servers
expect_result 3010
expect_records 'install completed successfully, reboot needed'

# A message box needs a screen; the null driver has one that nobody sees. The desktop has to start
# with it.
restart_wine() { in_wine bash -c '. "$0/tools/wine-env.sh"; ruvo_wine_stop; ruvo_wine_start' "$top" >/dev/null 2>&1; }
drivers='HKCU\Software\Wine\Drivers'
reg_set "$drivers" Graphics null
restart_wine

it 'the notification waits for its answer'
in_wine wine "$build/windows_helper.exe" answer \
  'Velandrim Tallyhall Platform Client Installation Complete' 100 >"$scratch/box" 2>&1 &
helper=$!
install client.msi --notify=Größe --version 8.1.0
wait $helper || fail 'no box was answered'
expect_result 0
expect_equal 'the box' "$(tr -d '\r' <"$scratch/box" | grep component)" \
  'The Größe component has been updated to version 8.1.0 on this computer.'

reg_drop "$drivers"
restart_wine
fresh_machine
finish
