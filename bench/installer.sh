#!/usr/bin/env bash
# The digest and the copy of an installer of SIZE MB (256) as processes, beside openssl dgst, dd and
# cp on the same file in the page cache, in turn, RUNS times (9) each. Prints the medians, and the
# peak memory of ours at 1 MB and at SIZE MB. Usage: installer.sh [build/linux]; SIZE and RUNS are
# read from the environment. Fails when a step of ours has another result than the command.
set -euo pipefail
root=$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)
build=$(cd "${1:-$root/build/linux}" && pwd)
work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
export RUVO_MACHINE=$work/machine
head -c "${SIZE:-256}M" /dev/urandom >"$work/large"
head -c 1M "$work/large" >"$work/small"

python3 - "$build/installer_steps" "$work" "${SIZE:-256}" "${RUNS:-9}" <<'PYTHON'
import filecmp, hashlib, os, statistics, subprocess, sys, time
steps, work, size, runs = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
large, small, out = work + "/large", work + "/small", work + "/out"

def digest(path):
    return hashlib.file_digest(open(path, "rb"), "sha256").hexdigest()

def peak(command):  # memory in KB; a child of Python would begin with Python's own
    subprocess.run(["/usr/bin/time", "-f", "%M", "-o", work + "/peak"] + command,
                   stdin=subprocess.DEVNULL, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    return int(open(work + "/peak").read().split()[-1])

def measure(command):  # seconds, seconds of processor time
    start = time.monotonic()
    child = subprocess.Popen(command, stdout=subprocess.DEVNULL, stderr=subprocess.DEVNULL)
    _, status, usage = os.wait4(child.pid, 0)
    child.returncode = os.waitstatus_to_exitcode(status)
    seconds = time.monotonic() - start
    assert child.returncode == 0, command
    return seconds, usage.ru_utime + usage.ru_stime

groups = {
    "digest": {"ours": [steps, "digest", large, digest(large)],
               "openssl dgst": ["openssl", "dgst", "-sha256", large]},
    "copy": {"ours": [steps, "copy", large, out],
             "dd bs=64k": ["dd", "bs=64k", "if=" + large, "of=" + out],
             "cp": ["cp", large, out]},
}
for group, commands in groups.items():
    taken = {name: [] for name in commands}
    for run in range(runs):
        for name, command in commands.items():
            if os.path.exists(out):
                os.remove(out)
            taken[name].append(measure(command))
            assert group == "digest" or filecmp.cmp(large, out, shallow=False)
    for name, rows in taken.items():
        wall, cpu = zip(*rows)
        print(f"{group:6} {name:12} median {statistics.median(wall) * 1000:4.0f} ms"
              f" ({size / statistics.median(wall):5.0f} MB/s),"
              f" processor {statistics.median(cpu) * 1000:4.0f} ms, best {min(wall) * 1000:4.0f} ms")
for group, other in (("digest", digest(small)), ("copy", out)):
    at_small = peak([steps, group, small, other])
    at_large = peak(groups[group]["ours"])
    print(f"{group:6} peak memory: {at_small} KB at 1 MB, {at_large} KB at {size} MB")
PYTHON
