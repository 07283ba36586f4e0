#!/usr/bin/env bash
# Times the whole `packwright build` of a title from a timeline file of 10,000, 100,000 and
# 1,000,000 overlay clips (one text item and four keyframes each; make_timeline.py writes them):
# wall time, processor time (user + system: what a shared machine disturbs least) and peak memory
# from /usr/bin/time -v, the size of the stored item.xml, and the median
# of RUNS runs (default 3). Builds packwright in build-bench (Release) first.
#
#   run_build_timeline.sh [CLIP COUNTS...]      e.g. run_build_timeline.sh 10000 100000
#
# PACKWRIGHT=path/to/packwright times that binary instead of building one; RUNS=N sets the runs.
#
# The million-clip run needs about 5 GB of memory; its item.xml would not fit a byte array, so the
# build ends with one clear error (reported here as "failed" with its message).
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$root/build-bench"
runs="${RUNS:-3}"
counts=("$@")
[ ${#counts[@]} -gt 0 ] || counts=(10000 100000 1000000)

tool="${PACKWRIGHT:-}"
if [ -z "$tool" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
          -DPACKWRIGHT_BUILD_BENCH=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build" --target packwright -j2 >/dev/null
    tool="$(find "$build/src" -name packwright -type f -perm -u+x | head -n 1)"
fi
export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"

area="$(mktemp -d)"
trap 'rm -rf "$area"' EXIT

median() { sort -g | awk '{ v[NR] = $1 } END { print v[int((NR + 1) / 2)] }'; }

printf '%10s %10s %10s %12s %14s  %s\n' clips "time (s)" "cpu (s)" "peak (MB)" "item.xml (MB)" \
    result
for count in "${counts[@]}"; do
    folder="$area/$count"
    python3 "$root/bench/make_timeline.py" "$count" "$folder"
    times=()
    cpus=()
    peaks=()
    result=ok
    item=0
    for ((run = 1; run <= runs; run++)); do
        rm -rf "$folder/work" "$folder/title.qpack"
        if /usr/bin/time -v -o "$folder/time.txt" \
            "$tool" build "$folder/recipe.json" -o "$folder/title.qpack" --keep-work "$folder/work" \
            >"$folder/out.txt" 2>"$folder/err.txt"; then
            item="$(find "$folder/work" -name item.xml -printf '%s\n' | head -n 1)"
        else
            result="failed: $(tail -n 1 "$folder/err.txt")"
        fi
        times+=("$(awk -F': ' '/Elapsed \(wall clock\)/ { n = split($2, p, ":"); s = 0;
                   for (i = 1; i <= n; i++) s = s * 60 + p[i]; print s }' "$folder/time.txt")")
        cpus+=("$(awk -F': ' '/(User|System) time/ { s += $2 } END { print s }' "$folder/time.txt")")
        peaks+=("$(awk -F': ' '/Maximum resident set size/ { print $2 / 1024 }' "$folder/time.txt")")
    done
    printf '%10s %10.2f %10.2f %12.0f %14.1f  %s\n' "$count" \
        "$(printf '%s\n' "${times[@]}" | median)" "$(printf '%s\n' "${cpus[@]}" | median)" \
        "$(printf '%s\n' "${peaks[@]}" | median)" \
        "$(echo "$item" | awk '{ print $1 / 1048576 }')" "$result"
    rm -rf "$folder"
done
