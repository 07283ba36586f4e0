#!/usr/bin/env bash
# Installs the library into a temporary prefix and builds a small application against it with
# find_package(Packwright), as an application of ours would.
set -euo pipefail
cd "$(dirname "$0")/.."

prefix=$(mktemp -d)
consumer=$(mktemp -d)
trap 'rm -rf "$prefix" "$consumer"' EXIT

cmake --install build --prefix "$prefix" >/dev/null
cmake -S tests/install -B "$consumer" -G Ninja -DCMAKE_PREFIX_PATH="$prefix" >/dev/null
cmake --build "$consumer" >/dev/null
QT_QPA_PLATFORM=offscreen "$consumer/consumer" "$consumer/consumer-made.qpack"
unzip -tq "$consumer/consumer-made.qpack"
echo "install check: an application built against the installed library made a package"
