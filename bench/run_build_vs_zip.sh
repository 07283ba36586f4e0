#!/usr/bin/env bash
# The whole `packwright build` of a content package against `zip -r -q -n .mp4:.png` of the same
# files, and `packwright open` against `unzip -q`, from one run of interleaved pairs.
#
#   bench/run_build_vs_zip.sh [--scale N] [--pairs N] [--build DIR] [--dir DIR] [--no-checks]
#                             [--no-cache | --cold-cache]
#
# The workload is generated once per scale, deterministically, with FFmpeg's lavfi sources: 6 H.264
# clips (about 89 MB), 40 PNG stills (about 37 MB), 60 .cube LUTs (about 58 MB of text) and 40
# shaders, as 146 components of one recipe. --scale 8 gives 8 times as many files of each kind
# (about 1.5 GB). --no-checks passes the option on to the build, leaving out the content checks
# (LUTs parsed, shaders compiled, media probed), which zip has no counterpart of. The checks keep
# their findings in a cache of the benchmark's own (in the workload's folder): after the first build
# they come from there; --cold-cache empties it before every build, --no-cache passes the option on.
# Prints the medians, their ratios, the package sizes and the peak memory of each.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
scale=1
pairs=5
build="$root/build"
dir="${TMPDIR:-/var/tmp}/packwright-build-vs-zip"
flags=()
cold=0
while [ $# -gt 0 ]; do
  case "$1" in
    --scale) scale="$2"; shift 2 ;;
    --pairs) pairs="$2"; shift 2 ;;
    --build) build="$2"; shift 2 ;;
    --dir) dir="$2"; shift 2 ;;
    --no-checks) flags+=(--no-checks); shift ;;
    --no-cache) flags+=(--no-cache); shift ;;
    --cold-cache) cold=1; shift ;;
    *) echo "run_build_vs_zip: unknown argument $1" >&2; exit 2 ;;
  esac
done
tool="$build/src/packwright"
for program in zip unzip ffmpeg python3 /usr/bin/time; do
  command -v "$program" >/dev/null || { echo "run_build_vs_zip: $program is missing (scripts/setup.sh)" >&2; exit 1; }
done

work="$dir/scale$scale"
src="$work/src"
if [ ! -f "$src/recipe.json" ]; then
  rm -rf "$work"
  mkdir -p "$src/media" "$src/stills" "$src/luts" "$src/shaders"
  echo "generating the workload at scale $scale in $src ..." >&2
  for ((i = 0; i < 6 * scale; i++)); do
    # Noise keeps the encoder from shrinking the clips far below the issue's sizes.
    ffmpeg -loglevel error -y -f lavfi \
      -i "testsrc2=size=1280x720:rate=30:duration=8,noise=alls=12:allf=t:all_seed=$i" \
      -c:v libx264 -preset ultrafast -b:v 14.8M -maxrate 14.8M -bufsize 30M -pix_fmt yuv420p \
      -fflags +bitexact -flags:v +bitexact "$src/media/clip$i.mp4"
  done
  for ((i = 0; i < 40 * scale; i++)); do
    ffmpeg -loglevel error -y -f lavfi \
      -i "testsrc2=size=854x600:rate=1,noise=alls=24:allf=u:all_seed=$((1000 + i))" \
      -frames:v 1 -fflags +bitexact "$src/stills/still$i.png"
  done
  python3 - "$src" "$scale" <<'EOF'
import json, sys
src, scale = sys.argv[1], int(sys.argv[2])
components = []
for i in range(60 * scale):
    n = 33
    with open(f"{src}/luts/look{i}.cube", "w") as f:
        f.write(f'TITLE "look {i}"\nLUT_3D_SIZE {n}\n')
        g = 0.8 + (i % 7) * 0.05
        for b in range(n):
            for gg in range(n):
                for r in range(n):
                    f.write("%.6f %.6f %.6f\n" % ((r / (n - 1)) ** g, (gg / (n - 1)) ** (2 - g),
                                                   min(1.0, b / (n - 1) * (0.9 + 0.002 * (i % 50)))))
    components.append({"kind": "lut-effect", "title": f"Look {i}", "lut": f"luts/look{i}.cube"})
for i in range(40 * scale):
    with open(f"{src}/shaders/tint{i}.frag", "w") as f:
        f.write("#version 120\nuniform sampler2D source;\nuniform float intensity;\n"
                "varying vec2 texCoord;\n\nvoid main() {\n"
                "    vec4 colour = texture2D(source, texCoord);\n"
                f"    vec3 tint = vec3({(i % 10) / 10:.2f}, {(i % 7) / 7:.3f}, {(i % 3) / 3:.3f});\n"
                "    gl_FragColor = vec4(mix(colour.rgb, colour.rgb * tint, intensity), colour.a);\n"
                "}\n")
    components.append({"kind": "shader-effect", "title": f"Tint {i}",
                       "shader": f"shaders/tint{i}.frag", "supportsIntensity": True})
for i in range(40 * scale):
    components.append({"kind": "import", "title": f"Still {i}", "file": f"stills/still{i}.png",
                       "importKind": "image"})
for i in range(6 * scale):
    components.append({"kind": "import", "title": f"Clip {i}", "file": f"media/clip{i}.mp4"})
with open(f"{src}/recipe.json", "w") as f:
    json.dump({"name": "Bench", "output": "../bench.qpack", "components": components}, f, indent=1)
EOF
fi
media=$(du -sb "$src" | cut -f1)
echo "workload: $(ls "$src"/media | wc -l) clips, $(ls "$src"/stills | wc -l) stills, $(ls "$src"/luts | wc -l) LUTs, $(ls "$src"/shaders | wc -l) shaders, $((media / 1000000)) MB" >&2

[ -x "$tool" ] || { echo "run_build_vs_zip: no tool at $tool (build it, or give --build)" >&2; exit 1; }

# One timed run: "seconds peak-KiB processor-seconds" on stdout.
timed() {
  /usr/bin/time -f "%e %M %U %S" -o "$work/time.txt" "$@" >/dev/null 2>"$work/err.txt" || {
    cat "$work/err.txt" >&2; echo "run_build_vs_zip: failed: $*" >&2; exit 1; }
  awk '{ print $1, $2, $3 + $4 }' "$work/time.txt"
}

export XDG_CACHE_HOME="$work/cache"
declare -a build_s build_kb zip_s zip_kb open_s open_kb unzip_s unzip_kb build_cpu zip_cpu
for ((p = 0; p < pairs; p++)); do
  rm -f "$work/bench.qpack" "$work/zip.zip"
  [ "$cold" = 1 ] && rm -rf "$XDG_CACHE_HOME"
  read -r s kb cpu < <(timed "$tool" build "$src/recipe.json" "${flags[@]}")
  build_s+=("$s"); build_kb+=("$kb"); build_cpu+=("$cpu")
  read -r s kb cpu < <(cd "$src" && timed zip -r -q -n .mp4:.png "$work/zip.zip" media stills luts shaders)
  zip_s+=("$s"); zip_kb+=("$kb"); zip_cpu+=("$cpu")
  rm -rf "$work/opened" "$work/unzipped"
  read -r s kb _ < <(timed "$tool" open "$work/bench.qpack" --into "$work/opened"); open_s+=("$s"); open_kb+=("$kb")
  read -r s kb _ < <(timed unzip -q "$work/bench.qpack" -d "$work/unzipped"); unzip_s+=("$s"); unzip_kb+=("$kb")
  echo "pair $((p + 1)): build ${build_s[-1]} s, zip ${zip_s[-1]} s, open ${open_s[-1]} s, unzip ${unzip_s[-1]} s" >&2
done

python3 - "$(stat -c %s "$work/bench.qpack")" "$(stat -c %s "$work/zip.zip")" \
  "${build_s[*]}" "${zip_s[*]}" "${open_s[*]}" "${unzip_s[*]}" \
  "${build_kb[*]}" "${zip_kb[*]}" "${open_kb[*]}" "${unzip_kb[*]}" "${build_cpu[*]}" "${zip_cpu[*]}" <<'EOF'
import statistics, sys
package, archive = int(sys.argv[1]), int(sys.argv[2])
b, z, o, u, bk, zk, ok, uk, bc, zc = ([float(x) for x in a.split()] for a in sys.argv[3:13])
m = statistics.median
ratio = lambda x, y: statistics.median(p / q for p, q in zip(x, y))
print(f"build  median {m(b):.2f} s   zip   median {m(z):.2f} s   ratio {m(b) / m(z):.2f}x "
      f"(median of pair ratios {ratio(b, z):.2f}x)")
print(f"cpu    build median {m(bc):.2f} s   zip median {m(zc):.2f} s   ratio {m(bc) / m(zc):.2f}x")
print(f"open   median {m(o):.2f} s   unzip median {m(u):.2f} s   ratio {m(o) / m(u):.2f}x "
      f"(median of pair ratios {ratio(o, u):.2f}x)")
print(f"size   package {package} B   zip {archive} B   ratio {package / archive:.4f}")
print(f"peak   build {max(bk) / 1024:.0f} MiB   zip {max(zk) / 1024:.0f} MiB   "
      f"open {max(ok) / 1024:.0f} MiB   unzip {max(uk) / 1024:.0f} MiB")
EOF
