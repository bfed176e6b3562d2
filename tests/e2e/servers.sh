# Real servers for whole runs, each on a loopback port that was free. To be sourced behind lib.sh.
#
#   start_web_server FOLDER   nginx over FOLDER: $http_port and $https_port
#   start_proxy               tinyproxy: $proxy_port; its log is $scratch/proxy.log
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
  cat >"$scratch/proxy.conf" <<CONF
Port $proxy_port
Listen 127.0.0.1
Timeout 60
LogFile "$scratch/proxy.log"
LogLevel Connect
Allow 127.0.0.1
MaxClients 20
CONF
  tinyproxy -d -c "$scratch/proxy.conf" >/dev/null 2>&1 &
  servers+=($!)
  await_port "$proxy_port"
}
