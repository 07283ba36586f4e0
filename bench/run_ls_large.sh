#!/usr/bin/env bash
# Times `packwright ls` on a package of about 700 MB of stored media against one of a few kB:
# the median wall time of 5 runs and the peak memory (RSS) of each, from GNU time, and
# the same of `packwright --version`, the cost of starting the program at all.
# Usage: bench/run_ls_large.sh [--build DIR] [--dir WORKDIR] [--mib TOTAL] [--runs N]
# Without --build it makes a Release build in build-bench. It needs about 3 x TOTAL free in
# WORKDIR (the media, the working copy of the build, the package).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build=""
work_parent="${TMPDIR:-/tmp}"
mib=700
runs=5
while [ $# -gt 0 ]; do
    case "$1" in
        --build) build="$2"; shift 2 ;;
        --dir) work_parent="$2"; shift 2 ;;
        --mib) mib="$2"; shift 2 ;;
        --runs) runs="$2"; shift 2 ;;
        *) echo "run_ls_large: unknown argument $1" >&2; exit 2 ;;
    esac
done
if [ -z "$build" ]; then
    build="$root/build-bench"
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
          -DPACKWRIGHT_BUILD_BENCH=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build" --target packwright_tool -j2
fi
tool="$build/src/packwright"
work="$(mktemp -d "$work_parent/ls-large.XXXXXX")"
trap 'rm -rf "$work"' EXIT
export QT_QPA_PLATFORM=offscreen

python3 - "$tool" "$work" "$mib" "$runs" <<'PY'
import json, os, random, statistics, subprocess, sys, time

tool, work, mib, runs = sys.argv[1], sys.argv[2], int(sys.argv[3]), int(sys.argv[4])
clip_mib = 100
peak_file = os.path.join(work, "peak")

def make(name, sizes):
    """A package of imports whose media are deterministic random bytes (stored: .mp4)."""
    folder = os.path.join(work, name)
    os.makedirs(folder)
    rng = random.Random(20261123)
    components = []
    for i, size in enumerate(sizes):
        path = os.path.join(folder, f"clip-{i}.mp4")
        with open(path, "wb") as out:
            left = size
            while left:
                n = min(left, 1 << 24)
                out.write(rng.randbytes(n))
                left -= n
        components.append({"kind": "import", "importKind": "other", "file": path,
                           "title": f"Clip {i}"})
    recipe = os.path.join(folder, "recipe.json")
    with open(recipe, "w") as out:
        json.dump({"name": name, "components": components}, out)
    package = os.path.join(work, name + ".qpack")
    subprocess.run([tool, "build", recipe, "-o", package, "--no-checks"], check=True,
                   stdout=subprocess.DEVNULL)
    for i in range(len(sizes)):
        os.remove(os.path.join(folder, f"clip-{i}.mp4"))
    return package

def measure(package):
    times, peaks = [], []
    for _ in range(runs):
        start = time.perf_counter()
        command = [tool, "ls", package] if package else [tool, "--version"]
        # GNU time reports the peak of the program itself (a child's own rusage would count
        # this interpreter's pages that the fork shared).
        status = subprocess.run(["/usr/bin/time", "-f", "%M", "-o", peak_file] + command,
                                stdout=subprocess.DEVNULL).returncode
        times.append(time.perf_counter() - start)
        if status != 0:
            sys.exit(f"run_ls_large: {' '.join(command)} failed")
        with open(peak_file) as f:
            peaks.append(int(f.read().split()[-1]))  # KiB
    return statistics.median(times), max(peaks)

sizes = [clip_mib << 20] * (mib // clip_mib) + ([(mib % clip_mib) << 20] if mib % clip_mib else [])
large = make("large", sizes)
small = make("small", [4096])
rows = []
for name, package in (("large", large), ("small", small)):
    median, peak = measure(package)
    rows.append((name, os.path.getsize(package), median, peak))
    print(f"{name:5}  {os.path.getsize(package) / 1e6:9.1f} MB  ls median {median * 1000:7.1f} ms"
          f"  peak RSS {peak / 1024:6.1f} MiB  ({runs} runs)")
(_, _, t_large, m_large), (_, _, t_small, m_small) = rows
start_time, start_peak = measure(None)
print(f"start  (--version alone)   median {start_time * 1000:7.1f} ms  peak RSS {start_peak / 1024:6.1f} MiB")
print(f"large/small: time {t_large / t_small:.2f}x, peak memory {m_large / m_small:.2f}x;"
      f" goal: under 0.2 s and flat memory")
PY
