#!/usr/bin/env bash
# Builds overlay_merge_bench in build-bench (Release) and times the overlay merge on 10,000 to
# 1,000,000 clips. Arguments go to the benchmark, e.g. --benchmark_filter=/1000000
# It needs about 2 GB of memory for the million-clip timeline and its merged preset.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$root/build-bench"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
      -DPACKWRIGHT_BUILD_BENCH=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target overlay_merge_bench -j2
"$build/bench/overlay_merge_bench" "$@"
