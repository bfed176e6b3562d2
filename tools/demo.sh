#!/usr/bin/env bash
# Shows whole updates on real input: builds the program for this computer and for Windows, makes a
# test root and a package signed by "Velandrim Software Inc.", and runs the program on it natively
# (on a stand-in computer in a scratch folder) and under Wine. No arguments, no questions.
set -u
cd "$(dirname "$0")/.."

title() { printf '\n== %s\n' "$1"; }
note() { printf '   %s\n' "$1"; }

title 'Setting up and building'
bash tools/setup.sh || exit 1
for preset in linux windows; do
  tools/build.sh "$preset" ruvo $([ "$preset" = windows ] && echo winlaunch) >/dev/null || exit 1
  note "$(ls -l "build/$preset"/ruvo "build/$preset"/ruvo.exe 2>/dev/null | awk '{print $NF ", " $5 " bytes"}')"
done

. tests/e2e/lib.sh
. tests/e2e/servers.sh

# show ARGUMENT...: one run, its command line, result and records.
show() {
  local shown='' argument
  for argument in "$@"; do shown+=" ${argument//$scratch\//}"; done
  printf '\n   $ ruvo%s\n' "${shown//Z:${scratch//\//\\}\\/}"
  run "$@"
  [ -n "$output" ] && printf '%s\n' "$output" | sed 's/^/     /'
  printf '     result %s\n' "$result"
  printf '%s\n' "$records" | sed -nE 's/^([^\t]+)\t(.*)$/     event  \1: \2/p'
}

registry() {
  printf '     registry  installed version "%s", package name "%s"\n' \
    "$(reg_get 'HKEY_LOCAL_MACHINE\Software\Rehearsal\Client' version)" \
    "$(reg_get 'HKEY_LOCAL_MACHINE\SOFTWARE\Classes\Installer\Products\0000E11C000000040800000000000010\SourceList' PackageName)"
}

client={C11E0000-0000-4000-8000-000000000001}

plist() { # FILE KEYS
  printf '<?xml version="1.0"?>\n<plist version="1.0">\n<dict>\n%s\n</dict>\n</plist>\n' "$2" >"$scratch/$1"
}

for back_end in native wine; do
  use "$back_end"
  if [ "$back_end" = native ]; then title 'On this computer, with a stand-in Windows computer in a folder'; else title 'As ruvo.exe, under Wine'; fi
  rm -rf "$scratch/authority"
  echo 'the client' >"$scratch/client.txt"
  package --product $client --version 8.1.0 --name Client --property PROP_VERSION=8.1.0 \
    --reg-version 'Software\Rehearsal\Client' --file "client.txt=$scratch/client.txt" client.msi
  products=("$client")
  fresh_machine

  printf '\n   A signed package on the disk\n'
  registry
  show --file "$(as_argument "$scratch/client.msi")" --result --loglevel=15
  registry
  note "installed: $(cat "$(drive_c)/Program Files/Client/client.txt" 2>&1)"

  printf '\n   The same again under mode 2: a version is installed, so the package is not needed\n'
  show --file "$(as_argument "$scratch/client.msi")" --result --loglevel=2 --mode=2

  printf '\n   The package inside a container, an executable with a trailer at its end\n'
  make_container "$scratch/client.exe" "$scratch/client.msi" boxed.msi build/windows/winlaunch.exe
  show --file "$(as_argument "$scratch/client.exe")" --result --loglevel=2

  printf '\n   A package that was not signed\n'
  package --unsigned unsigned.msi
  show --file "$(as_argument "$scratch/unsigned.msi")" --result

  printf '\n   Steered by a settings document\n'
  reg_set "$settings_key" ruvoseed 524288
  plist install.plist '<key>loglevel</key><integer>2</integer>
<key>coverage</key><integer>524288</integer>
<key>properties</key><array><string>TP_SERVER=server.example</string></array>'
  show -X "$(as_argument "$scratch/install.plist")" --file "$(as_argument "$scratch/client.msi")" --result
  plist expired.plist '<key>loglevel</key><integer>2</integer>
<key>expiration</key><string>20120102030405Z</string>'
  show -X "$(as_argument "$scratch/expired.plist")" --file "$(as_argument "$scratch/client.msi")" --result
  plist window.plist '<key>loglevel</key><integer>2</integer>
<key>osversion</key><dict><key>minimum</key><string>11.0</string></dict>'
  show -X "$(as_argument "$scratch/window.plist")" --file "$(as_argument "$scratch/client.msi")" --result
  plist share.plist '<key>loglevel</key><integer>2</integer>
<key>coverage</key><integer>10486</integer>'
  show -X "$(as_argument "$scratch/share.plist")" --file "$(as_argument "$scratch/client.msi")" --result

  printf '\n   Downloaded over HTTPS, through a proxy; then found in the cache\n'
  start_web_server "$scratch/www"
  start_proxy
  cp "$scratch/client.msi" "$scratch/www/"
  show --url "https://localhost:$https_port/client.msi" --proxy "127.0.0.1:$proxy_port" --result --loglevel=2
  show --url "https://localhost:$https_port/client.msi" --result --loglevel=2 \
    --digest "$(sha256sum "$scratch/client.msi" | cut -c 1-64)"
  stop_servers
  fresh_machine
done

title 'A rollout over a million computers'
bash tools/rollout.sh | sed 's/^/   /'
