#!/usr/bin/env bash
# Sets everything up, builds the tool, builds the bundled example into a package and shows what is in it.
set -euo pipefail
cd "$(dirname "$0")/.."

bash scripts/setup.sh
cmake -S . -B build -G Ninja -DCMAKE_BUILD_TYPE=RelWithDebInfo >/dev/null
cmake --build build -j 2 --target packwright_tool

./build/src/packwright build examples/recipe.json -o build/example.qpack
./build/src/packwright inspect build/example.qpack

# A title flattened from a timeline (animated text, a picture-in-picture video and its still), and
# the same title in its editable form, which keeps the timeline as a project.
for recipe in title editable-title; do
  echo
  ./build/src/packwright build "examples/$recipe.json" -o "build/$recipe.qpack"
  ./build/src/packwright inspect "build/$recipe.qpack"
done
