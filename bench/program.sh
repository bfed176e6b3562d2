#!/usr/bin/env bash
# The whole program as processes: the usage text, a run without instructions, and a local run of a
# signed package of SIZE MB (100) up to the install, which a played result of 1603 stands for.
# Prints the medians of RUNS runs (100; a tenth of it for the package), and what one package run
# reads and writes, by system call and file (strace). Fails when the package is read more than
# twice, when its run takes more than 24 MB of memory, or when the outcome of a run is another one.
# Usage: program.sh [build/linux]; SIZE and RUNS are read from the environment.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$root/build/linux}" && pwd)
size=${SIZE:-100}
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export RUVO_MACHINE=$work/machine
ruvo=$build/ruvo

head -c "${size}M" /dev/urandom >"$work/payload"
bash "$root/tests/support/make_package.sh" --file "data.bin=$work/payload" "$work/package.msi"
"$ruvo" >/dev/null 2>&1 || true # makes the machine folder
mkdir -p "$RUVO_MACHINE/trust"
cp "$work/authority/root.pem" "$RUVO_MACHINE/trust/"
printf '\n[HKEY_LOCAL_MACHINE\\SOFTWARE\\Ruvo\\Rehearsal]\n"InstallResults"="1603"\n' \
  >>"$RUVO_MACHINE/registry.reg"

strace -f -y -e trace=read,pread64,readv,mmap,write,pwrite64,sendfile,copy_file_range \
  -o "$work/calls" "$ruvo" --file "$work/package.msi" --result >/dev/null 2>&1 || true
python3 - "$ruvo" "$work" "${RUNS:-100}" <<'PYTHON'
import collections, os, re, statistics, subprocess, sys, time
ruvo, work, runs = sys.argv[1], sys.argv[2], int(sys.argv[3])
package = work + "/package.msi"
result = os.environ["RUVO_MACHINE"] + "/result"

def peak(command):  # memory in KB; a child of Python would begin with Python's own
    subprocess.run(["/usr/bin/time", "-f", "%M", "-o", work + "/peak"] + command,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return int(open(work + "/peak").read().split()[-1])

def measure(command):
    start = time.monotonic()
    child = subprocess.Popen(command, stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL,
                             stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    return time.monotonic() - start, usage.ru_utime + usage.ru_stime

failed = False
def check(good, text):
    global failed
    if not good:
        failed = True
        print("FAILED: " + text)

for name, arguments, count, outcome in (
        ("--help", ["--help"], runs, None),
        ("no instructions", ["--result"], runs, None),
        ("package", ["--file", package, "--result"], max(runs // 10, 1), "1603"),
        ("/bin/true", None, runs, None)):
    command = [ruvo] + arguments if arguments else ["/bin/true"]
    wall, cpu = zip(*(measure(command) for _ in range(count)))
    memory = peak(command)
    print(f"{name:15} median {statistics.median(wall) * 1000:6.1f} ms, processor"
          f" {statistics.mean(cpu) * 1000:6.1f} ms (mean), best {min(wall) * 1000:6.1f} ms,"
          f" peak memory {memory} KB")
    if outcome:
        check(open(result).read().strip() == outcome, "the result is not " + outcome)
        check(memory <= 24 << 10, "more than 24 MB of memory")

calls, total = collections.Counter(), collections.Counter()
for line in open(work + "/calls"):
    call = re.match(r"\d+ +(\w+)\(\d+<([^>]*)>.* = (\d+)$", line.strip())
    if call and call[2] == package:
        calls[call[1]] += 1
        total[call[1]] += int(call[3])
size = os.path.getsize(package)
print(f"the package has {size} bytes")
for name in sorted(calls):
    print(f"{name:8} {calls[name]:6} calls {total[name]:11} bytes")
taken = sum(total[name] for name in total if "read" in name)
print(f"read {taken / size:.3f} times")
check(size * 1.9 < taken < size * 2 + (1 << 20), "the package is not read twice")
check(not re.search(r"mmap\([^\n]*package\.msi", open(work + "/calls").read()), "it is mapped")
sys.exit(failed)
PYTHON
