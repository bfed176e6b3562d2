# Real servers for whole runs, each on a loopback port that was free. To be sourced behind lib.sh.
#
#   start_web_server FOLDER   nginx over FOLDER: $http_port and $https_port
#   start_proxy               squid: $proxy_port; its log is $scratch/proxy.log
#   start_broken_server       answers in wrong ways, see below: $broken_port
#   stop_servers              ends all (lib.sh)

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

# Waits until something listens on a port.
await_port() {
  local tries
  for tries in $(seq 100); do
    (exec 3<>"/dev/tcp/127.0.0.1/$1") 2>/dev/null && return 0
    sleep 0.05
  done
  echo "nothing listens on port $1" >&2
  return 1
}

server_certificate() {
  [ -f "$scratch/server.pem" ] && return
  openssl req -x509 -newkey rsa:2048 -nodes -days 30 -subj /CN=localhost \
    -addext 'subjectAltName=DNS:localhost,IP:127.0.0.1' \
    -keyout "$scratch/server.key" -out "$scratch/server.pem" 2>/dev/null
}

start_web_server() {
  local folder=$1 work=$scratch/nginx
  mkdir -p "$folder" "$work"
  server_certificate
  http_port=$(free_port)
  https_port=$(free_port)
  cat >"$work/nginx.conf" <<CONF
daemon off;
worker_processes 1;
pid $work/pid;
error_log $work/error.log;
$([ "$(id -u)" = 0 ] && echo 'user root;')
events { worker_connections 256; }
http {
  access_log $work/access.log;
  client_body_temp_path $work/body; proxy_temp_path $work/proxy; fastcgi_temp_path $work/fastcgi;
  uwsgi_temp_path $work/uwsgi; scgi_temp_path $work/scgi;
  types { application/octet-stream msi; text/plain txt; }
  gzip on; gzip_types text/plain; gzip_min_length 1;
  server {
    listen 127.0.0.1:$http_port;
    listen 127.0.0.1:$https_port ssl;
    ssl_certificate $scratch/server.pem;
    ssl_certificate_key $scratch/server.key;
    ssl_protocols TLSv1.2 TLSv1.3;
    root $folder;
    location /moved { return 302 /client.msi; }
  }
}
CONF
  nginx -p "$work" -c "$work/nginx.conf" -e "$work/error.log" >"$work/log" 2>&1 &
  servers+=($!)
  await_port "$http_port" && await_port "$https_port"
}

start_proxy() {
  proxy_port=$(free_port)
  cat >"$scratch/squid.$proxy_port.conf" <<CONF
http_port 127.0.0.1:$proxy_port
http_access allow all
cache deny all
pid_filename $scratch/squid.$proxy_port.pid
cache_log $scratch/squid.$proxy_port.log
access_log stdio:$scratch/proxy.log
coredump_dir $scratch
logfile_rotate 0
pinger_enable off
CONF
  chmod 777 "$scratch" # squid gives its rights up
  squid -N -f "$scratch/squid.$proxy_port.conf" >/dev/null 2>&1 &
  servers+=($!)
  await_port "$proxy_port"
}

# start_broken_server: a server that answers each path in its own wrong way; $broken_port.
#   /nothing.msi      closes without a response     /gzip.msi    a gzip body with a wrong checksum
#   /short.msi        closes in the middle of the body      /silent.msi  never answers
start_broken_server() {
  broken_port=$(free_port)
  python3 - "$broken_port" <<'PY' >/dev/null 2>&1 &
import gzip, socket, sys
listener = socket.create_server(('127.0.0.1', int(sys.argv[1])))
kept = []
while True:
    peer, _ = listener.accept()
    request = b''
    while b'\r\n\r\n' not in request:
        piece = peer.recv(65536)
        if not piece:
            break
        request += piece
    head = b'HTTP/1.1 200 OK\r\n'
    if b'/gzip.msi' in request:
        body = bytearray(gzip.compress(b'x' * 10000))
        body[-6] ^= 1
        peer.sendall(head + b'Content-Encoding: gzip\r\nContent-Length: %d\r\n\r\n' % len(body) + bytes(body))
    elif b'/short.msi' in request:
        peer.sendall(head + b'Content-Length: 1000\r\n\r\nonly this')
    elif b'/silent.msi' in request:
        kept.append(peer)
        continue
    peer.close()
PY
  servers+=($!)
  await_port "$broken_port"
}
