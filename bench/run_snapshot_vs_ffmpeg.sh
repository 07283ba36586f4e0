#!/usr/bin/env bash
# Builds snapshot_bench and compares Media::Snapshot::write with the ffmpeg command.
#   bench/run_snapshot_vs_ffmpeg.sh [--build DIR] [snapshot_bench arguments...]
# e.g. --times 0,2520,4960,7320,9960 --rounds 5 --gop 50 --noise 12 --x264 open-gop=1 --dir /var/tmp
# Without --build it makes a Release build in build-bench. A given build folder that exists keeps
# its build type and other options; only the benchmarks are switched on.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$root/build-bench"
if [ "${1:-}" = "--build" ]; then
  build="$2"
  shift 2
fi

command -v ffmpeg >/dev/null || { echo "run_snapshot_vs_ffmpeg: ffmpeg is not installed (scripts/setup.sh)" >&2; exit 1; }
if [ -f "$build/CMakeCache.txt" ]; then
  cmake -S "$root" -B "$build" -DPACKWRIGHT_BUILD_BENCH=ON >/dev/null
else
  cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
        -DPACKWRIGHT_BUILD_BENCH=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
fi
type=$(sed -n 's/^CMAKE_BUILD_TYPE:[A-Z]*=//p' "$build/CMakeCache.txt")
echo "build folder $build (${type:-no build type})"
cmake --build "$build" --target snapshot_bench -j2
"$build/bench/snapshot_bench" "$@"
