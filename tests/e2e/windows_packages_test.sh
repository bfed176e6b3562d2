#!/usr/bin/env bash
# ruvo.exe on real packages, where only Windows has the case: names beyond ASCII, a file in use, a
# message box. Usage: windows_packages_test.sh [build/windows]
set -uo pipefail
. "$(dirname "$0")/windows_support.sh"
product={57A11E50-0000-4000-8000-000000000001}
make_package="$root/tests/support/make_package.sh"

# The signer's certificate is signed with SHA-1, since only then Wine judges its chain.
printf 'program file\n' >"$out/held.txt"
for name in client.msi Päckchen.msi; do
  bash "$make_package" --authority "$out/authority" --sha1 --product $product --version 8.1.0 \
    --name Held --property PROP_VERSION=8.1.0 --file "held.txt=$out/held.txt" "$out/$name" \
    >"$out/log" 2>&1 || { verdict "package $name" 1 "$out/log"; summary; exit 1; }
done

# Trusts a root: the value is the SHA-1 (property 3) and the certificate (property 0x20).
openssl x509 -in "$out/authority/root.pem" -outform DER -out "$out/root.der"
sha1=$(sha1sum "$out/root.der" | cut -c 1-40)
size=$(printf '%08x' "$(stat -c %s "$out/root.der")" | sed 's/\(..\)\(..\)\(..\)\(..\)/\4\3\2\1/')
blob="030000000100000014000000${sha1}2000000001000000$size$(xxd -p "$out/root.der" | tr -d '\n')"
roots='HKLM\Software\Microsoft\SystemCertificates\Root\Certificates'
registry add "$roots\\${sha1^^}" /v Blob /t REG_BINARY /d "$blob"

# run ARGUMENT...: one run; $result is its whole process result, $out/log what it said and traced.
run() {
  WINEDEBUG=-all,+eventlog timeout -k 5 200 wine "$build/winlaunch.exe" "$build/ruvo.exe" "$@" \
    >"$out/log" 2>&1 </dev/null
  result=$(tr -d '\r' <"$out/log" | sed -nE 's/^EXIT=0x[0-9a-f]+ (-?[0-9]+)$/\1/p')
}

run --file "Z:${out//\//\\}\\client.msi" --result
[ "$result" = 0 ] && grep -q 'install completed successfully' "$out/log"
verdict 'a signed package installs' $? "$out/log"

source='HKLM\SYSTEM\CurrentControlSet\Services\EventLog\Application\Tallyport'
wine reg query "$source" >"$out/log" 2>&1 </dev/null
tr -d '\r' <"$out/log" | grep -qE 'EventMessageFile +REG_EXPAND_SZ +.*\\ruvo\.exe$' &&
  grep -qE 'TypesSupported +REG_DWORD +0x7' "$out/log"
verdict 'the event source points at the program' $? "$out/log"

run --file "Z:${out//\//\\}\\Päckchen.msi" --result
[ "$result" = 0 ] && grep -q 'from client.msi to P\\00e4ckchen.msi' "$out/log"
verdict 'a package name beyond ASCII is installed, remembered and recorded' $? "$out/log"

wine "$build/windows_helper.exe" hold 'C:\Program Files\Held\held.txt' 60 >"$out/held" 2>&1 </dev/null &
holder=$!
for _ in $(seq 100); do grep -q held "$out/held" && break; sleep 0.1; done
run --file "Z:${out//\//\\}\\Päckchen.msi" --result
kill $holder 2>/dev/null
[ "$result" = 3010 ] && grep -q 'reboot needed' "$out/log"
verdict 'a file in use is replaced at the next start, with 3010' $? "$out/log"

# A message box needs a screen; the null driver has one that nobody sees. The desktop has to start
# with it.
drivers='HKCU\Software\Wine\Drivers'
registry add "$drivers" /v Graphics /d null
ruvo_wine_stop
ruvo_wine_start
title='Velandrim Tallyhall Platform Client Installation Complete'
wine "$build/windows_helper.exe" answer "$title" 100 >"$out/box" 2>&1 </dev/null &
helper=$!
run --file "Z:${out//\//\\}\\client.msi" --result --notify=Größe --version 8.1.0
wait $helper
[ $? = 0 ] && [ "$result" = 0 ] && tr -d '\r' <"$out/box" |
  grep -qx 'The Größe component has been updated to version 8.1.0 on this computer.'
status=$?
cat "$out/box" >>"$out/log"
verdict 'the notification waits for its answer' $status "$out/log"
registry delete "$drivers" /v Graphics
ruvo_wine_stop
ruvo_wine_start

registry delete "$roots\\${sha1^^}"
wine msiexec /x $product /qn >/dev/null 2>&1 </dev/null
summary
