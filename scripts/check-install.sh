#!/usr/bin/env bash
# Installs the library from build/ into a clean prefix and uses it as an application would, with
# only the installed files to go by:
#   - the tool's bash and zsh completions and its manual page are installed;
#   - no private header is installed, and no installed header includes one, or libzip's or
#     FFmpeg's headers, or anything that is not installed;
#   - every installed header compiles as <packwright/...> through find_package(Packwright);
#   - examples/library, copied out of the source tree, builds against the prefix and runs: it
#     builds a package with a LUT effect and a title and reopens it;
#   - the README shows that example's code as it is.
set -euo pipefail
cd "$(dirname "$0")/.."
repo=$(pwd)

work=$(mktemp -d)
trap 'rm -rf "$work"' EXIT
prefix="$work/prefix"
fail() {
  echo "install check: $*" >&2
  exit 1
}

cmake --install build --prefix "$prefix" >/dev/null
include="$prefix/include/packwright"
[ -f "$include/package/builder.h" ] || fail "no public header under $include"
# The tool's shell completions and manual page, made at build time from its help.
for shared in bash-completion/completions/packwright zsh/site-functions/_packwright \
  man/man1/packwright.1; do
  [ -s "$prefix/share/$shared" ] || fail "share/$shared is not installed"
done

# The private headers: the libzip and FFmpeg glue, and what includes it.
for private in platform/bundle/zip_support.h platform/bundle/zip_packer.h \
  platform/bundle/zip_file_source.h platform/bundle/zip_deflate_queue.h platform/media/av_support.h \
  platform/media/frame_finder.h platform/media/stream_reader_impl.h; do
  [ ! -e "$include/$private" ] || fail "the private header $private is installed"
done
headers=$(cd "$include" && find . -name '*.h' | sed 's|^\./||' | LC_ALL=C sort)
for header in $headers; do
  if grep -Eq '#include <(zip\.h|libdeflate|libav|libsw)' "$include/$header"; then
    fail "$header includes a libzip, libdeflate or FFmpeg header"
  fi
  for included in $(sed -n 's|^#include "\(.*\)"|\1|p' "$include/$header"); do
    [ -f "$include/$included" ] || fail "$header includes $included, which is not installed"
  done
done
if grep -q 'PkgConfig::' "$prefix"/lib*/cmake/Packwright/*.cmake; then
  fail "the installed CMake package refers to libzip or FFmpeg"
fi

# Every public header on its own terms, and the example; neither sees the source tree.
cmake_flags=(-G Ninja -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_FIND_USE_PACKAGE_REGISTRY=OFF
  -DCMAKE_EXPORT_COMPILE_COMMANDS=ON)
mkdir "$work/headers"
{
  for header in $headers; do echo "#include <packwright/$header>"; done
  echo "int main() { return 0; }"
} >"$work/headers/all_headers.cpp"
cat >"$work/headers/CMakeLists.txt" <<'EOF'
cmake_minimum_required(VERSION 3.16)
project(PackwrightHeaders LANGUAGES CXX)
set(CMAKE_CXX_STANDARD 17)
find_package(Packwright REQUIRED)
add_executable(all_headers all_headers.cpp)
target_link_libraries(all_headers PRIVATE Packwright::packwright)
EOF
cmake -S "$work/headers" -B "$work/headers/build" "${cmake_flags[@]}" >/dev/null
cmake --build "$work/headers/build" >/dev/null || fail "the installed headers do not compile alone"

cp -r examples/library "$work/example"
cmake -S "$work/example" -B "$work/example/build" "${cmake_flags[@]}" >/dev/null
cmake --build "$work/example/build" >/dev/null
if grep -q "$repo/" "$work/example/build/compile_commands.json" \
  "$work/headers/build/compile_commands.json"; then
  fail "a consumer's compile command refers to the source tree"
fi
QT_QPA_PLATFORM=offscreen "$work/example/build/library_example" "$work/summer.qpack"
unzip -tq "$work/summer.qpack" >/dev/null || fail "the example's package is no sound zip"

# The README's library snippet is the example's marked blocks, unindented, a blank line between.
awk '/\/\/ \[readme\]$/ {if (blocks++) print ""; inside = 1; next}
  /\/\/ \[readme end\]$/ {inside = 0} inside {sub(/^    /, ""); print}' examples/library/main.cpp \
  >"$work/snippet.cpp"
awk '/^## / {section = ($0 == "## The library")} section && /^```cpp$/ {inside = 1; next}
  /^```$/ {inside = 0} section && inside' README.md >"$work/readme.cpp"
diff -u "$work/snippet.cpp" "$work/readme.cpp" ||
  fail "README's library snippet differs from the marked block of examples/library/main.cpp"
echo "install check: $(echo "$headers" | wc -l) public headers compile against the installed" \
  "package; examples/library built against it and reopened its package"
