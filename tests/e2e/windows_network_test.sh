#!/usr/bin/env bash
# The network code over Winsock and Schannel, under Wine, against real servers on the loopback address.
# Wine's Schannel validates nothing; what becomes of the checks is tested natively and with a scripted
# service. Usage: windows_network_test.sh [build/windows]
set -uo pipefail
. "$(dirname "$0")/windows_support.sh"

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# fetched NAME PATTERN SAME-AS URL [SETTING...]: the outcome's line must match the pattern, and the
# file be the same as SAME-AS unless that is "-".
fetched() {
  local name=$1 pattern=$2 wanted=$3
  shift 3
  (cd "$out" && timeout -k 5 60 wine "$build/fetch.exe" get "$1" got "${@:2}" seconds=10) \
    >"$out/log" 2>/dev/null </dev/null
  local status=0
  # shellcheck disable=SC2053 # the right side is a pattern
  [[ $(tr -d '\r' <"$out/log") == $pattern ]] || status=1
  [ "$wanted" = - ] || cmp -s "$out/got" "$wanted" || status=1
  verdict "$name" $status "$out/log"
}

mkdir "$out/www"
head -c 20000000 /dev/urandom >"$out/www/large.bin"
echo hello >"$out/www/hello.txt"
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$out/key.pem" -subj /CN=peer -days 2 \
  -out "$out/cert.pem" 2>/dev/null
plain=$(free_port)
tls=$(free_port)
closed=$(free_port)
cat >"$out/nginx.conf" <<CONF
daemon off; worker_processes 1; pid $out/pid; error_log $out/error.log; user root;
events {}
http {
  access_log off; gzip on; gzip_types *;
  client_body_temp_path $out/body; proxy_temp_path $out/proxy; fastcgi_temp_path $out/fcgi;
  uwsgi_temp_path $out/uwsgi; scgi_temp_path $out/scgi;
  server { listen 127.0.0.1:$plain; root $out/www; }
  server {
    listen 127.0.0.1:$tls ssl; root $out/www;
    ssl_certificate $out/cert.pem; ssl_certificate_key $out/key.pem;
  }
}
CONF
nginx -c "$out/nginx.conf" -p "$out" >/dev/null 2>&1 </dev/null &
server=$!
trap 'kill $server; wait $server 2>/dev/null; rm -rf "$out"' EXIT
until curl -sko /dev/null "https://127.0.0.1:$tls/hello.txt"; do
  kill -0 $server || exit 1
  sleep 0.1
done

fetched 'plain file' 'result=0 done=1 status=200 bytes=6 *' "$out/www/hello.txt" \
  "http://127.0.0.1:$plain/hello.txt"
fetched 'large file, decoded from gzip' 'result=0 *bytes=20000000 *' "$out/www/large.bin" \
  "http://127.0.0.1:$plain/large.bin"
fetched 'TLS' 'result=0 done=1 status=200 bytes=6 *' "$out/www/hello.txt" \
  "https://127.0.0.1:$tls/hello.txt"
fetched 'TLS, large file' 'result=0 *bytes=20000000 *' "$out/www/large.bin" \
  "https://127.0.0.1:$tls/large.bin"
fetched 'TLS, kept connection' 'result=0 *bytes=6 *' - "https://127.0.0.1:$tls/hello.txt" times=20
fetched 'nobody there' 'result=-1098 *' - "http://127.0.0.1:$closed/"
fetched 'unknown name' 'result=-43 *' - 'http://none.invalid/'
summary
