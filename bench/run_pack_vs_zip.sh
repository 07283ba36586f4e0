#!/usr/bin/env bash
# Builds pack_bench in build-bench and compares Bundle::Zip::compressAll with the zip tool.
# Arguments go to pack_bench, e.g. --media-mib 64,512 --rounds 3 --dir /var/tmp
# It needs about 4 x the largest media total free in the work folder (tree, two packages).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$root/build-bench"

command -v zip >/dev/null || { echo "run_pack_vs_zip: zip is not installed (scripts/setup.sh)" >&2; exit 1; }
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
      -DPACKWRIGHT_BUILD_BENCH=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" --target pack_bench -j2
"$build/bench/pack_bench" "$@"
