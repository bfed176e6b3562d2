#!/usr/bin/env bash
# Downloads a file of SIZE MB (1024) from nginx into a file, plain and over TLS, ours and curl in
# turn, RUNS times (5) each; then the requests of http_bench over a kept connection. Prints the
# medians, and the best, which other work on the machine disturbs less. Usage: download.sh [build/linux]; SIZE and RUNS are read from the environment.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$root/build/linux}" && pwd)
size=${SIZE:-1024}
runs=${RUNS:-5}
work=$(mktemp -d)
export RUVO_MACHINE=$work/machine

free_port() {
  python3 -c 'import socket; s = socket.socket(); s.bind(("127.0.0.1", 0)); print(s.getsockname()[1])'
}

plain=$(free_port)
tls=$(free_port)
mkdir "$work/www"
head -c "${size}M" /dev/urandom >"$work/www/file"
echo hello >"$work/www/small"
openssl req -x509 -newkey rsa:2048 -nodes -keyout "$work/key.pem" -subj /CN=localhost -days 2 \
  -out "$work/cert.pem" 2>/dev/null
cat >"$work/nginx.conf" <<CONF
daemon off; worker_processes 1; pid $work/pid; error_log $work/error.log; user root;
events {}
http {
  access_log off; sendfile on; keepalive_requests 1000000000;
  client_body_temp_path $work/body; proxy_temp_path $work/proxy; fastcgi_temp_path $work/fcgi;
  uwsgi_temp_path $work/uwsgi; scgi_temp_path $work/scgi;
  server { listen 127.0.0.1:$plain; root $work/www; }
  server {
    listen 127.0.0.1:$tls ssl; root $work/www; ssl_protocols TLSv1.2;
    ssl_certificate $work/cert.pem; ssl_certificate_key $work/key.pem;
  }
}
CONF
nginx -c "$work/nginx.conf" -p "$work" &
server=$!
trap 'kill $server; wait $server || true; rm -rf "$work"' EXIT
until curl -sko /dev/null "https://127.0.0.1:$tls/small"; do sleep 0.1; done

# The two commands run in turn, each first every other time, so that both meet the same load.
python3 - "$runs" "$size" "$build/fetch" "$work" "http://127.0.0.1:$plain/file" \
  "https://127.0.0.1:$tls/file" <<'PYTHON'
import os, resource, statistics, subprocess, sys, time
runs, size, fetch, work = int(sys.argv[1]), int(sys.argv[2]), sys.argv[3], sys.argv[4]
for name, url in (("plain", sys.argv[5]), ("TLS", sys.argv[6])):
    commands = {"ours": [fetch, "get", url, work + "/out"],
                "curl": ["curl", "-sk", "-o", work + "/out", url]}
    taken = {key: [] for key in commands}
    for run in range(runs):
        for key, command in sorted(commands.items(), reverse=run % 2 == 0):
            if os.path.exists(work + "/out"):
                os.remove(work + "/out")
            before = resource.getrusage(resource.RUSAGE_CHILDREN)
            start = time.monotonic()
            subprocess.run(command, check=True, stdout=subprocess.DEVNULL)
            seconds = time.monotonic() - start
            after = resource.getrusage(resource.RUSAGE_CHILDREN)
            assert os.path.getsize(work + "/out") == size << 20
            taken[key].append((seconds, after.ru_utime + after.ru_stime - before.ru_utime - before.ru_stime))
    for key, pairs in taken.items():
        wall, cpu = (sorted(column) for column in zip(*pairs))
        print(f"{name:6} {key}: median {size / statistics.median(wall):5.0f} MB/s,"
              f" {statistics.median(cpu):.2f} s of processor time;"
              f" best {size / wall[0]:5.0f} MB/s, {cpu[0]:.2f} s")
PYTHON
BENCH_URL="http://127.0.0.1:$plain/small" "$build/http_bench" --benchmark_repetitions=5 \
  --benchmark_report_aggregates_only=true
