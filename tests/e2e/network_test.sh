#!/usr/bin/env bash
# The network code against real peers, each started here on a port of its own of the loopback
# address: nginx, Python's http.server, squid, tinyproxy, openssl s_server, and curl as the client
# of a listening socket; and over Winsock and Schannel, under Wine, against nginx.
set -uo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/../.." && pwd)
. "$root/tests/e2e/servers.sh"
fetch=$root/build/linux/fetch
[ -x "$fetch" ] || { echo "no $fetch"; exit 1; }
work=$(mktemp -d)
scratch=$work # for servers.sh
export RUVO_MACHINE=$work/machine
passed=0
failed=0
servers=()

finish() {
  local pid
  for pid in "${servers[@]}"; do kill "$pid" 2>/dev/null; done
  wait 2>/dev/null
  rm -rf "$work"
}
trap finish EXIT

# check NAME EXPECTED ACTUAL: the text must match the pattern.
check() {
  # shellcheck disable=SC2053 # the right side is a pattern
  if [[ $3 == $2 ]]; then
    passed=$((passed + 1))
    echo "ok      $1"
  else
    failed=$((failed + 1))
    printf 'not ok  %s\n  expected %s\n  got      %s\n' "$1" "$2" "$3"
  fi
}

# same NAME FILE FILE
same() {
  check "$1" same "$(cmp -s "$2" "$3" && echo same || echo differs)"
}

# start COMMAND...: a server that ends with this script.
start() {
  "$@" >>"$work/servers.log" 2>&1 </dev/null &
  servers+=($!)
}

# await PORT: until something listens there.
await() { await_port "$1" || tail -20 "$work/servers.log"; }

out=$work/out
# get URL [SETTING...]: into $out, and prints the outcome.
get() {
  local url=$1
  shift
  rm -f "$out"
  timeout 60 "$fetch" get "$url" "$out" "$@" seconds=10
}

# The same of the Windows program.
get_in_wine() {
  rm -f "$out"
  (
    . "$root/tools/wine-env.sh" >/dev/null 2>&1
    cd "$work" && timeout -k 5 60 wine "$root/build/windows/fetch.exe" get "$1" out "${@:2}" seconds=10
  ) 2>/dev/null </dev/null | tr -d '\r'
}

# ---- certificates ---------------------------------------------------------------------------------

certificate() { # NAME SUBJECT-NAME DAYS
  openssl req -newkey rsa:2048 -nodes -keyout "$work/$1.key" -subj "/CN=$1" \
    -out "$work/$1.csr" 2>/dev/null
  openssl x509 -req -in "$work/$1.csr" -CA "$work/root.pem" -CAkey "$work/root.key" \
    -CAcreateserial -days "$3" -extfile <(echo "subjectAltName=$2") -out "$work/$1.pem" 2>/dev/null
}
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/root.key" -subj '/CN=Test root' -days 30 \
  -out "$work/root.pem" 2>/dev/null
certificate good 'IP:127.0.0.1,DNS:localhost' 30
certificate other DNS:other.example 30
certificate client DNS:client.example 30
# A certificate that has expired.
faked=$(date -d '10 days ago' +%y%m%d%H%M%SZ)
ended=$(date -d '5 days ago' +%y%m%d%H%M%SZ)
printf '[ca]\ndefault_ca=d\n[d]\ndatabase=%s/index\nserial=%s/serial\nnew_certs_dir=%s\npolicy=p\ndefault_md=sha256\n[p]\ncommonName=supplied\n[e]\nsubjectAltName=IP:127.0.0.1\n' \
  "$work" "$work" "$work" >"$work/ca.conf"
: >"$work/index"
echo 01 >"$work/serial"
openssl req -newkey rsa:2048 -nodes -keyout "$work/expired.key" -subj /CN=expired \
  -out "$work/expired.csr" 2>/dev/null
openssl ca -batch -config "$work/ca.conf" -extensions e -cert "$work/root.pem" \
  -keyfile "$work/root.key" -startdate "$faked" -enddate "$ended" -in "$work/expired.csr" \
  -out "$work/expired.pem" >/dev/null 2>&1
mkdir -p "$RUVO_MACHINE/trust" "$RUVO_MACHINE/stores/user"
cp "$work/root.pem" "$RUVO_MACHINE/trust/"

# ---- nginx ------------------------------------------------------------------------------------------

www=$work/www
mkdir -p "$www"
head -c 70000000 /dev/urandom >"$www/large.bin"
seq 1 400000 >"$www/text.txt"
: >"$www/empty"
echo hello >"$www/hello.txt"
plain=$(free_port)
tls=$(free_port)
cat >"$work/nginx.conf" <<CONF
daemon off; worker_processes 1; pid $work/nginx.pid; error_log $work/nginx.log;
user root;
events { worker_connections 64; }
http {
  log_format coding '\$request_uri \$sent_http_content_encoding';
  access_log $work/access.log coding; default_type application/octet-stream;
  client_body_temp_path $work/body; proxy_temp_path $work/proxy; fastcgi_temp_path $work/fcgi;
  uwsgi_temp_path $work/uwsgi; scgi_temp_path $work/scgi;
  gzip on; gzip_types *; gzip_min_length 1000;
  server {
    listen 127.0.0.1:$plain; root $www;
    location /moved { return 302 http://127.0.0.1:$plain/hello.txt; }
    location /loop { return 302 http://127.0.0.1:$plain/loop; }
    location /ungzipped/ { gzip off; alias $www/; }
    location /slow/ { gzip off; alias $www/; limit_rate 20000k; }
  }
  server {
    listen 127.0.0.1:$tls ssl; root $www; gzip off;
    ssl_certificate $work/good.pem; ssl_certificate_key $work/good.key;
  }
}
CONF
start nginx -c "$work/nginx.conf" -p "$work"
await "$plain"
await "$tls"
base=http://127.0.0.1:$plain

secure=https://127.0.0.1:$tls

# on_either GET PLACE: what both programs must do.
on_either() {
  local get=$1 place=$2
  check "plain file$place" 'result=0 done=1 status=200 bytes=6 message=HTTP/1.1 200 OK' "$($get "$base/hello.txt")"
  check "large file$place" 'result=0 *bytes=70000000 *' "$($get "$base/ungzipped/large.bin")"
  same "large file is the same$place" "$www/large.bin" "$out"
  check "gzip in chunks$place" 'result=0 *status=200 *' "$($get "$base/text.txt")"
  same "gzip is decoded$place" "$www/text.txt" "$out"
  check "it came in gzip$place" '/text.txt gzip' "$(grep text.txt "$work/access.log" | tail -n 1)"
  check "TLS$place" 'result=0 *status=200 bytes=6 *' "$($get "$secure/hello.txt" level=0)"
  check "TLS, large file$place" 'result=0 *bytes=70000000 *' "$($get "$secure/large.bin")"
  same "TLS, large file is the same$place" "$www/large.bin" "$out"
  check "TLS, kept connection$place" 'result=0 *bytes=6 *' "$($get "$secure/hello.txt" times=50)"
  check "unknown name$place" 'result=-43 *socket creation failed' "$($get "http://none.invalid/")"
  check "nobody there$place" 'result=-1098 *socket creation failed' "$($get "http://127.0.0.1:$(free_port)/")"
}
on_either get ''
on_either get_in_wine ', under Wine'

check 'empty file' 'result=0 done=1 status=200 bytes=0 *' "$(get "$base/empty")"
check 'missing file' 'result=0 done=1 status=404 *' "$(get "$base/none")"
check 'redirect not followed' 'result=0 done=1 status=302 *' "$(get "$base/moved")"
check 'redirect followed' 'result=0 done=1 status=200 bytes=6 *' "$(get "$base/moved" follow=1)"
check 'endless redirects' 'result=0 done=0 * message=redirect rejected' "$(get "$base/loop" follow=1)"
check 'kept connection' 'result=0 done=1 status=200 bytes=6 *' "$(get "$base/hello.txt" times=500)"
check 'upload refused' 'result=0 done=1 status=405 *' "$(get "$base/hello.txt" "upload=$www/hello.txt")"
check 'slow server' 'result=0 *bytes=70000000 *' "$(get "$base/slow/large.bin" seconds=1)"
check 'by name' 'result=0 *status=200 *' "$(get "http://localhost:$plain/hello.txt")"

# ---- TLS: nginx and openssl s_server ---------------------------------------------------------------

# Wine's Schannel checks no certificate; what becomes of the checks there, scripted services tell.
check 'TLS, chain checked' 'result=0 *status=200 bytes=6 *' "$(get "$secure/hello.txt" level=2)"
check 'TLS, chain and name checked' 'result=0 *status=200 bytes=6 *' "$(get "$secure/hello.txt" level=3)"

# judged NAME PORT LEVEL-0 LEVEL-2 LEVEL-3
judged() {
  check "$1, level 0" "$3" "$(get "https://127.0.0.1:$2/hello.txt" level=0)"
  check "$1, level 2" "$4" "$(get "https://127.0.0.1:$2/hello.txt" level=2)"
  check "$1, level 3" "$5" "$(get "https://127.0.0.1:$2/hello.txt" level=3)"
}
ok='result=0 *status=200 *'
refused='result=-2005 done=1 status=0 *socket creation failed'

cd "$www" || exit 1
for name in expired other; do
  port=$(free_port)
  start openssl s_server -accept "127.0.0.1:$port" -cert "$work/$name.pem" -key "$work/$name.key" -WWW -quiet
  await "$port"
  # s_server answers without a length, so that only the handshake counts.
  [ $name = expired ] && judged 'expired certificate' "$port" "$ok" "$refused" "$refused"
  [ $name = other ] && judged 'certificate of another name' "$port" "$ok" "$ok" "$refused"
done
rm "$RUVO_MACHINE/trust/root.pem"
check 'unknown root' "$refused" "$(get "$secure/hello.txt" level=2)"
cp "$work/root.pem" "$RUVO_MACHINE/trust/"

port=$(free_port)
start openssl s_server -accept "127.0.0.1:$port" -cert "$work/good.pem" -key "$work/good.key" \
  -Verify 1 -CAfile "$work/root.pem" -WWW -quiet
await "$port"
check 'client certificate demanded, none given' 'result=-2005 *' "$(get "https://127.0.0.1:$port/hello.txt")"
check 'client certificate not in the store' 'result=-2005 *' "$(get "https://127.0.0.1:$port/hello.txt" keys=client)"
cat "$work/client.pem" "$work/client.key" >"$RUVO_MACHINE/stores/user/client.pem"
check 'client certificate from the store' "$ok" "$(get "https://127.0.0.1:$port/hello.txt" keys=CLIENT)"
rm "$RUVO_MACHINE/stores/user/client.pem"
openssl pkcs12 -export -in "$work/client.pem" -inkey "$work/client.key" -passout pass:s3cret \
  -out "$work/client.pfx"
check 'client certificate from a PFX file' "$ok" \
  "$(get "https://127.0.0.1:$port/hello.txt" "keys=client:s3cret@$work/client.pfx")"
check 'PFX file with a wrong password' 'result=-2005 *' \
  "$(get "https://127.0.0.1:$port/hello.txt" "keys=client:wrong@$work/client.pfx")"

port=$(free_port)
start openssl s_server -accept "127.0.0.1:$port" -cert "$work/good.pem" -key "$work/good.key" -tls1_3 -quiet
await "$port"
check 'TLS 1.3 only, which the computers do not speak' 'result=-2005 *' "$(get "https://127.0.0.1:$port/")"
check 'TLS to a plain server' 'result=-2005 *' "$(get "https://127.0.0.1:$plain/")"

# ---- a second web server ---------------------------------------------------------------------------

port=$(free_port)
start python3 -m http.server "$port" --bind 127.0.0.1 --directory "$www"
await "$port"
check 'http.server' 'result=0 done=1 status=200 bytes=6 message=HTTP/1.0 200 OK' "$(get "http://127.0.0.1:$port/hello.txt")"
check 'http.server, large file' 'result=0 *bytes=70000000 *' "$(get "http://127.0.0.1:$port/large.bin")"

# ---- memory ------------------------------------------------------------------------------------------

# Prints the peak memory of a command, in KB, behind what it prints.
with_peak() {
  python3 -c 'import resource, subprocess, sys
subprocess.run(sys.argv[1:])
print("peak", resource.getrusage(resource.RUSAGE_CHILDREN).ru_maxrss)' "$@"
}
truncate -s 2G "$www/huge.bin"
for url in "$base/ungzipped/huge.bin" "$secure/huge.bin"; do
  answer=$(with_peak "$fetch" get "$url" /dev/null seconds=10)
  check "2 GB arrive, ${url%%:*}" 'result=0 done=1 status=200 *' "$answer"
  peak=${answer##*peak }
  [ "$peak" -le 24576 ] && enough=yes || enough="no, $peak KB"
  check "in at most 24 MB of memory, ${url%%:*}" yes "$enough"
done
rm "$www/huge.bin"

# ---- forward proxies --------------------------------------------------------------------------------

start_proxy
check 'squid, plain' "$ok" "$(get "$base/hello.txt" "proxy=127.0.0.1:$proxy_port")"
check 'squid, large file' 'result=0 *bytes=70000000 *' "$(get "$base/ungzipped/large.bin" "proxy=127.0.0.1:$proxy_port")"
check 'squid, tunnel' 'result=0 *bytes=70000000 *' "$(get "$secure/large.bin" "proxy=127.0.0.1:$proxy_port")"
same 'squid, tunnelled file is the same' "$www/large.bin" "$out"
check 'squid, nobody behind the tunnel' 'result=-1098 done=1 status=503 * message=proxy CONNECT failed: HTTP/1.1 503 *' \
  "$(get "https://127.0.0.1:$(free_port)/" "proxy=127.0.0.1:$proxy_port")"

tiny_port=$(free_port)
cat >"$work/tiny.conf" <<CONF
Port $tiny_port
Listen 127.0.0.1
MaxClients 10
LogFile "$work/tiny.log"
PidFile "$work/tiny.pid"
CONF
start tinyproxy -d -c "$work/tiny.conf"
await "$tiny_port"
check 'tinyproxy, plain' "$ok" "$(get "$base/hello.txt" "proxy=127.0.0.1:$tiny_port")"
# Its reply to CONNECT carries a header line, which is taken for the status line of the response.
check 'tinyproxy, tunnel with a header line' 'result=0 done=1 status=-1 bytes=0 *' \
  "$(get "$secure/hello.txt" "proxy=127.0.0.1:$tiny_port")"

# ---- the listening side ------------------------------------------------------------------------------

# listened NAME EXPECTED CURL-ARGUMENT... -- LISTEN-ARGUMENT...
listened() {
  local name=$1 expected=$2 curl_arguments=() port
  shift 2
  while [ "$1" != -- ]; do curl_arguments+=("$1"); shift; done
  shift
  port=$(free_port)
  timeout 60 "$fetch" listen ":$port" "$@" >"$work/listen.log" &
  local pid=$!
  local i answer=
  for i in $(seq 100); do
    answer=$(curl -sk --max-time 10 "${curl_arguments[@]/PORT/$port}") && break
    sleep 0.05
  done
  wait "$pid"
  check "$name" "$expected" "$answer $(cat "$work/listen.log")"
}
listened 'curl as the client' 'GET /a?b=1 HTTP/1.1 request=GET /a?b=1 HTTP/1.1' \
  'http://127.0.0.1:PORT/a?b=1' --
openssl pkcs12 -export -in "$work/good.pem" -inkey "$work/good.key" -passout pass:p \
  -out "$work/good.pfx"
listened 'curl as the client, TLS' 'GET /s HTTP/1.1 request=GET /s HTTP/1.1' \
  'https://127.0.0.1:PORT/s' -- "keys=good:p@$work/good.pfx"

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
