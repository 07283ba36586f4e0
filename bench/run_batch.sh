#!/usr/bin/env bash
# Many example-sized recipes built in one `packwright build` call against as many separate calls.
#
#   bench/run_batch.sh [--count N] [--jobs N] [--pairs N] [--build DIR] [--dir DIR]
#
# Each recipe is examples/recipe.json (every kind of component but overlays) under its own name and
# package file, all sharing the examples' files. Prints the time of each way, their medians over the
# pairs (run one after the other, interleaved) and the ratio.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
count=200
jobs=""
pairs=1
build="$root/build"
dir="${TMPDIR:-/var/tmp}/packwright-batch"
while [ $# -gt 0 ]; do
  case "$1" in
    --count) count="$2"; shift 2 ;;
    --jobs) jobs="$2"; shift 2 ;;
    --pairs) pairs="$2"; shift 2 ;;
    --build) build="$2"; shift 2 ;;
    --dir) dir="$2"; shift 2 ;;
    *) echo "run_batch: unknown argument $1" >&2; exit 2 ;;
  esac
done
tool="$build/src/packwright"
[ -x "$tool" ] || { echo "run_batch: no tool at $tool (build it, or give --build)" >&2; exit 1; }

rm -rf "$dir"
mkdir -p "$dir/out"
cp -r "$root/examples" "$dir/examples"
python3 - "$dir" "$count" <<'PY'
import json, sys
folder, count = sys.argv[1], int(sys.argv[2])
with open(f"{folder}/examples/recipe.json") as f:
    recipe = json.load(f)
for i in range(count):
    recipe["name"] = f"Package {i:03d}"
    recipe["output"] = f"../out/package-{i:03d}.qpack"
    with open(f"{folder}/examples/recipe-{i:03d}.json", "w") as f:
        json.dump(recipe, f, indent=1)
PY
recipes=("$dir"/examples/recipe-*.json)
jobs_flag=()
[ -n "$jobs" ] && jobs_flag=(-j "$jobs")

now() { date +%s.%N; }
declare -a one separate
for ((p = 0; p < pairs; p++)); do
  rm -f "$dir"/out/*.qpack
  start=$(now)
  "$tool" build "${jobs_flag[@]}" "${recipes[@]}" >"$dir/batch.txt" 2>"$dir/batch.err" || {
    tail -3 "$dir/batch.txt" "$dir/batch.err" >&2; echo "run_batch: the batch failed" >&2; exit 1; }
  one+=("$(echo "$(now) - $start" | bc)")
  built=$(ls "$dir"/out/*.qpack | wc -l)
  [ "$built" -eq "$count" ] || { echo "run_batch: $built of $count packages" >&2; exit 1; }

  rm -f "$dir"/out/*.qpack
  start=$(now)
  for recipe in "${recipes[@]}"; do
    "$tool" build "$recipe" >/dev/null 2>>"$dir/separate.err" || { echo "run_batch: $recipe failed" >&2; exit 1; }
  done
  separate+=("$(echo "$(now) - $start" | bc)")
  echo "pair $((p + 1)): one call ${one[-1]} s, $count calls ${separate[-1]} s" >&2
done
python3 - "${one[*]}" "${separate[*]}" "$count" "$(tail -1 "$dir/batch.txt")" <<'PY'
import statistics, sys
one = [float(x) for x in sys.argv[1].split()]
separate = [float(x) for x in sys.argv[2].split()]
m = statistics.median
print(f"{sys.argv[3]} recipes: one call median {m(one):.1f} s, separate calls median "
      f"{m(separate):.1f} s, ratio {m(one) / m(separate):.2f}x  ({sys.argv[4]})")
PY
