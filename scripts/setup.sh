#!/usr/bin/env bash
# Installs the Debian packages that building, testing and benchmarking need.
#   scripts/setup.sh          those
#   scripts/setup.sh --fuzz   and clang with its libFuzzer runtime, for scripts/fuzz.sh
# Safe to run again: apt-get skips what is already installed.
set -euo pipefail

packages=(
  build-essential cmake ninja-build pkg-config
  qtbase5-dev libboost-dev libzip-dev libdeflate-dev zlib1g-dev
  libavformat-dev libavcodec-dev libswscale-dev libavutil-dev
  libopencolorio-dev glslang-dev libxxhash-dev
  libegl-dev libopengl-dev libgl-dev libegl-mesa0 libgl1-mesa-dri
  libgtest-dev libgmock-dev libbenchmark-dev
  zip unzip ffmpeg
  zsh man-db groff-base
  python3-jsonschema
  chromium
)
if [ "${1:-}" = "--fuzz" ]; then
  packages+=(clang libclang-rt-dev)
fi

missing=()
for p in "${packages[@]}"; do
  dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q "install ok installed" || missing+=("$p")
done

if [ ${#missing[@]} -gt 0 ]; then
  sudo=""
  [ "$(id -u)" -ne 0 ] && sudo="sudo"
  $sudo apt-get update -qq
  DEBIAN_FRONTEND=noninteractive $sudo apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi
