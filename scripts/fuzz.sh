#!/usr/bin/env bash
# Builds the libFuzzer targets with clang in build-fuzz/ and runs each for a bounded time from the
# seed corpus in fuzz/corpus/ (see docs/fuzzing.md). Fails when a target crashes, trips a
# sanitizer, leaks, hangs or breaks one of its checks; the input that did it is saved in
# build-fuzz/artifacts/.
#   scripts/fuzz.sh [SECONDS]   seconds per target, 60 by default
set -euo pipefail
cd "$(dirname "$0")/.."

seconds=${1:-60}
bash scripts/setup.sh --fuzz

build=build-fuzz
cmake -S . -B "$build" -G Ninja -DCMAKE_CXX_COMPILER=clang++ -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DPACKWRIGHT_BUILD_FUZZERS=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j 2 --target xml_reader_fuzzer package_opener_fuzzer \
  timeline_file_fuzzer

export ASAN_OPTIONS=detect_leaks=1
export LSAN_OPTIONS=suppressions=$PWD/tests/lsan.supp:print_suppressions=0
export UBSAN_OPTIONS=print_stacktrace=1:halt_on_error=1
# The targets' temporary folders go here, so that a run that crashed leaves nothing in /tmp.
export TMPDIR=$PWD/$build/tmp
rm -rf "$TMPDIR"
mkdir -p "$TMPDIR" "$build/artifacts"

# fuzz TARGET MAX_LEN TIMEOUT [OPTIONS...]: new inputs go to build-fuzz/corpus/TARGET, the seeds in
# the tree stay as they are.
fuzz() {
  local target=$1 max_len=$2 timeout=$3
  shift 3
  local log=$build/$target.log
  mkdir -p "$build/corpus/$target"
  if ! "$build/fuzz/${target}_fuzzer" "$build/corpus/$target" "fuzz/corpus/$target" \
      -max_total_time="$seconds" -max_len="$max_len" -timeout="$timeout" -rss_limit_mb=2048 \
      -artifact_prefix="$build/artifacts/$target-" -print_final_stats=1 "$@" 2>"$log"; then
    tail -n 80 "$log"
    echo "fuzz: $target failed; the input is in $build/artifacts/, the log in $log" >&2
    exit 1
  fi
  local runs
  runs=$(sed -n 's/^stat::number_of_executed_units: *//p' "$log")
  echo "fuzz: $target: $runs inputs in $seconds s, no problem found"
}

fuzz xml_reader 16384 10 -dict=fuzz/xml_reader.dict
fuzz package_opener 65536 20
# Full stacks for leaks, so that the suppression of a leak inside Qt's JSON parser can match.
ASAN_OPTIONS=detect_leaks=1:fast_unwind_on_malloc=0 fuzz timeline_file 16384 10
rm -rf "$TMPDIR"
