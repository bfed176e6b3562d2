#!/usr/bin/env bash
# The download course: what is fetched, what is left behind, and what is told, from real servers.
. "$(dirname "$0")/lib.sh"
. "$(dirname "$0")/servers.sh"

client={C11E0000-0000-4000-8000-000000000004}
none=127.0.0.1:1 # nobody listens there
requests() { wc -l <"$scratch/nginx/access.log"; }
cached() { ls "$(cache_folder)" 2>/dev/null | tr '\n' ' ' | sed 's/ $//'; }
temporary() { find "$(temp_folder)" -maxdepth 1 -name 'tmp*' 2>/dev/null | wc -l; }
leaving() { # the record of the cached file NAME, by its last part, since temporary folders differ
  case $records in *"leaving installer at "*"\\Tallyport\\$1"*) ;; *) fail "no record of leaving $1: $records" ;; esac
}
seen_by_proxy() { # TEXT TIMES: so often in the proxy's log, which may lag, for this back end
  local times
  for _ in $(seq 40); do
    times=$(tail -n "+$proxy_line" "$scratch/proxy.log" | grep -cF "$1")
    [ "$times" = "$2" ] && return
    sleep 0.05
  done
  fail "the proxy saw $1 $times times, not $2"
}
first_record() { printf '%s\n' "$records" | head -n 1 | cut -f 2-; }

start_web_server "$scratch/www"
start_proxy
start_broken_server

for back_end in ${RUVO_BACK_ENDS:-native wine}; do
  use "$back_end"
  rm -rf "$scratch/authority"
  package --product $client --name Download client.msi
  products=("$client")
  fresh_machine
  cp "$scratch/client.msi" "$scratch/www/client.msi"
  cp "$scratch/client.msi" "$scratch/www/setup"
  cp "$scratch/client.msi" "$scratch/www/.hidden"
  make_container "$scratch/www/client.exe" "$scratch/client.msi" boxed.msi
  digest=$(sha256sum "$scratch/client.msi" | cut -c 1-64)
  http=http://127.0.0.1:$http_port
  https=https://localhost:$https_port
  before=$(temporary)
  proxy_line=$(($(cat "$scratch/proxy.log" 2>/dev/null | wc -l) + 1))

  it 'a package is fetched, cached and installed'
  run --url "$http/client.msi" --result -l2
  expect_result 0
  expect_equal 'the first record' "$(first_record)" "downloading installer from $http/client.msi"
  leaving client.msi
  expect_equal 'the cache' "$(cached)" client.msi
  cmp -s "$(cache_folder)/client.msi" "$scratch/client.msi" || fail 'the cached file differs'

  it 'a cached copy is recognised by its digest, and no connection is made'
  seen=$(requests)
  run --url "$http/client.msi" --result -l2 --digest "${digest^^}"
  expect_result 0
  case $(first_record) in 'found matching installer at '*client.msi) ;; *) fail "$records" ;; esac
  expect_equal 'the requests' "$(requests)" "$seen"

  it 'another digest, or none, is a download'
  run --url "$http/client.msi" --result --digest "${digest//[0-7]/8}"
  expect_result 0
  run --url "$http/client.msi" --result
  expect_equal 'the requests' "$(requests)" $((seen + 2))

  it 'a name without an ending leaves the file, and not its copy'
  run --url "$http/client.msi?x=1" --name setup --result
  expect_result 0
  expect_equal 'the cache' "$(cached)" 'client.msi setup'
  rm -rf "$(cache_folder)"

  it 'verifying alone leaves the file, too'
  run --url "$http/client.msi" --result --verify -l2
  expect_result 0
  leaving client.msi
  case $records in *install*completed*) fail "$records" ;; esac
  rm -rf "$(cache_folder)"

  it 'a container leaves itself, and not its package'
  run --url "$http/client.exe" --result
  expect_result 0
  expect_equal 'the cache' "$(cached)" client.exe

  it 'without a name nothing is left'
  rm -rf "$(cache_folder)"
  run --url "$http/.hidden" --result
  expect_result 0
  expect_equal 'the cache' "$(cached)" ''
  expect_equal 'the temporary files' "$(temporary)" "$before"
  run --url "$http/" --result # a folder, which the server refuses
  expect_result 403
  expect_equal 'the temporary files' "$(temporary)" "$before"

  it 'a status other than 200 is the result'
  run --url "$http/absent.msi" --result -l1
  expect_result 404
  expect_records 'failed to download installer (404)'
  run --url "$http/moved" --result
  expect_result 302
  expect_equal 'the cache' "$(cached)" ''

  it 'HTTPS, directly'
  run --url "$https/client.msi" --result
  expect_result 0

  it 'through a proxy: the whole URL, and a tunnel'
  run --url "$http/client.msi" --proxy "127.0.0.1:$proxy_port" --result -l2
  expect_result 0
  expect_equal 'the first record' "$(first_record)" "downloading installer from $http/client.msi using proxy 127.0.0.1:$proxy_port"
  run --url "$https/client.msi" --proxy "127.0.0.1:$proxy_port" --result
  expect_result 0
  seen_by_proxy "GET $http/client.msi " 1
  seen_by_proxy "CONNECT localhost:$https_port " 1
  run --url "https://127.0.0.1:1/client.msi" --proxy "127.0.0.1:$proxy_port" --result
  expect_result -1098

  it 'settings choose the proxy: none, or the computer'"'"'s own'
  printf '<plist><dict><key>proxy</key><false/></dict></plist>' >"$scratch/direct.plist"
  run --url "$http/client.msi" --proxy $none -X "$(as_argument "$scratch/direct.plist")" --result
  expect_result 0
  seen_by_proxy "GET $http/client.msi " 1
  printf '<plist><dict><key>proxy</key><true/></dict></plist>' >"$scratch/system.plist"
  set_system_proxy "https=$none;http=127.0.0.1:$proxy_port"
  run --url "$http/client.msi" -X "$(as_argument "$scratch/system.plist")" --result -l2
  expect_result 0
  expect_equal 'the first record' "$(first_record)" "downloading installer from $http/client.msi using proxy 127.0.0.1:$proxy_port"
  seen_by_proxy "GET $http/client.msi " 2
  set_system_proxy "$none" '<local>;127.0.0.1'
  run --url "$http/client.msi" -X "$(as_argument "$scratch/system.plist")" --result -l2
  expect_result 0
  expect_equal 'the first record' "$(first_record)" "downloading installer from $http/client.msi"

  it 'what goes wrong on the way has its code, and leaves no file'
  rm -rf "$(cache_folder)"
  run --url "http://$none/client.msi" --result -l2
  expect_result -1098
  run --url "http://no-such-host.invalid/client.msi" --result
  expect_result -43
  run --url "http://127.0.0.1:$broken_port/gzip.msi" --result
  expect_result -203
  run --url "https://127.0.0.1:$http_port/client.msi" --result
  case $result in -2003 | -2005) ;; *) fail "a server without TLS gives $result" ;; esac
  expect_equal 'the cache' "$(cached)" ''
  run --url "http://127.0.0.1:$broken_port/nothing.msi" --result
  expect_result -1
  expect_equal 'the cache' "$(cached)" ''
  run --url "http://127.0.0.1:$broken_port/short.msi" --result -l1 # caught by the signature check
  expect_records 'invalid, incorrect, or missing signature'
  expect_equal 'the cache' "$(cached)" short.msi # what is refused behind the download stays

  it 'what is installed already is not fetched'
  reg_set 'HKEY_LOCAL_MACHINE\Software\Rehearsal\Download' version 8.1
  seen=$(requests)
  run --url "$http/client.msi" --version 8.1 --mode 3 --instpath 'HKLM:\Software\Rehearsal\Download' --result -l2
  expect_result 0
  expect_records 'install not necessary'
  expect_equal 'the requests' "$(requests)" "$seen"

  it 'a file beside a URL wins, and stays'
  run --url "http://$none/x.msi" --file "$(as_argument "$scratch/client.msi")" --result
  expect_result 0
  expect_file "$scratch/client.msi"

  fresh_machine
done

# All back ends wait at once.
it 'a silent server is given up after 30 seconds, and nothing is left'
waiting=()
for back_end in ${RUVO_BACK_ENDS:-native wine}; do
  (
    use "$back_end"
    SECONDS=0
    run --url "http://127.0.0.1:$broken_port/silent.msi" --result -l1
    [ $SECONDS -ge 29 ] || result="too early: $result"
    printf '%s %s cache: %s\n' "$result" "${records#*$'\t'}" "$(cached)" >"$scratch/silent.$back_end"
  ) &
  waiting+=($!)
done
wait "${waiting[@]}"
for back_end in ${RUVO_BACK_ENDS:-native wine}; do
  expect_equal 'the end' "$(cat "$scratch/silent.$back_end")" '-199 failed to download installer (-199) cache: '
done

finish
