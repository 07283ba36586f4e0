#!/usr/bin/env bash
# Sets everything up, builds and runs the tests.
#   scripts/test.sh             the tests, in build/
#   scripts/test.sh --sanitize  the tests built with address and undefined-behaviour sanitizers, in build-asan/
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh

build=build
# The benchmarks are built (not run) so that they keep compiling.
flags=(-DCMAKE_BUILD_TYPE=RelWithDebInfo -DPACKWRIGHT_BUILD_BENCH=ON)
if [ "${1:-}" = "--sanitize" ]; then
  build=build-asan
  flags=(-DCMAKE_BUILD_TYPE=Debug -DPACKWRIGHT_SANITIZE=ON)
  export ASAN_OPTIONS=detect_leaks=1:abort_on_error=1
  export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
fi

cmake -S . -B "$build" -G Ninja "${flags[@]}" >/dev/null
cmake --build "$build" -j 2
ctest --test-dir "$build" --output-on-failure -j 2
