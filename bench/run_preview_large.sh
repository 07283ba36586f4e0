#!/usr/bin/env bash
# Times `packwright preview` of a package of about 700 MB: the median of RUNS runs (default 5) of
# the HTML sheet and of the PNG sheet, beside the median of `verify` of the same package (whose
# checks the sheet runs for its header, on its own partial unpack). The goal is a sheet in under 3 s: media is read in place from
# the archive and decoded at the size it is shown at, never unpacked whole.
#
# The package is the same on every run: one 1080p video made bit-exact by ffmpeg (testsrc2,
# MPEG-4 part 2, a key frame a second) imported COPIES times under different names (default 12,
# about 60 MB each), a minute of audio, a picture, the bundled example's LUT, and its shader as an
# effect and as a transition.
#
#   run_preview_large.sh            PACKWRIGHT=path/to/packwright RUNS=N COPIES=N WORK=DIR
#
# Builds packwright in build-bench (Release) unless PACKWRIGHT names one. WORK (default: a
# temporary folder, removed at the end) holds the media and the package, about 1.5 GB.
set -euo pipefail

root="$(cd "$(dirname "${BASH_SOURCE[0]}")/.." && pwd)"
build="$root/build-bench"
runs="${RUNS:-5}"
copies="${COPIES:-12}"

command -v ffmpeg >/dev/null || { echo "run_preview_large: ffmpeg is not installed (scripts/setup.sh)" >&2; exit 1; }
tool="${PACKWRIGHT:-}"
if [ -z "$tool" ]; then
    cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
          -DPACKWRIGHT_BUILD_BENCH=ON -DPACKWRIGHT_BUILD_TESTS=OFF >/dev/null
    cmake --build "$build" --target packwright_tool -j2 >/dev/null
    tool="$build/src/packwright"
fi
export QT_QPA_PLATFORM="${QT_QPA_PLATFORM:-offscreen}"

if [ -n "${WORK:-}" ]; then
    work="$WORK"
    mkdir -p "$work"
else
    work="$(mktemp -d)"
    trap 'rm -rf "$work"' EXIT
fi
mkdir -p "$work/media"

bitexact=(-flags +bitexact -fflags +bitexact -threads 1)
if [ ! -f "$work/media/clip.mp4" ]; then
    ffmpeg -v error -y -f lavfi -i testsrc2=size=1920x1080:rate=25:duration=20 \
           -c:v mpeg4 -q:v 2 -g 25 "${bitexact[@]}" "$work/media/clip.mp4"
    ffmpeg -v error -y -f lavfi -i "sine=frequency=440:duration=60" \
           -c:a pcm_s16le "${bitexact[@]}" "$work/media/tone.wav"
    ffmpeg -v error -y -f lavfi -i testsrc2=size=3840x2160:rate=1 -frames:v 1 \
           "${bitexact[@]}" "$work/media/still.png"
fi
cp "$root/examples/effects/warm-afternoon.cube" "$root/examples/effects/soft-vignette.frag" \
   "$root/examples/effects/grain.png" "$work/media/"

{
    echo '{"name": "Large Preview Bench", "components": ['
    echo '  {"kind": "lut-effect", "title": "Warm", "lut": "media/warm-afternoon.cube"},'
    # Rendered on the reference frame by a child process of the sheet's.
    echo '  {"kind": "shader-effect", "title": "Vignette", "shader": "media/soft-vignette.frag",'
    echo '   "auxImage": "media/grain.png", "supportsIntensity": true},'
    echo '  {"kind": "shader-transition", "title": "Grain", "shader": "media/soft-vignette.frag",'
    echo '   "auxImage": "media/grain.png", "supportsIntensity": true},'
    echo '  {"kind": "import", "title": "Tone", "file": "media/tone.wav", "importKind": "audio"},'
    echo '  {"kind": "import", "title": "Still", "file": "media/still.png", "importKind": "image"},'
    for i in $(seq 1 "$copies"); do
        name=$(printf 'clip-%02d.mp4' "$i")
        [ -f "$work/media/$name" ] || cp "$work/media/clip.mp4" "$work/media/$name"
        sep=","; [ "$i" = "$copies" ] && sep=""
        echo "  {\"kind\": \"import\", \"title\": \"Clip $i\", \"file\": \"media/$name\", \"importKind\": \"video\"}$sep"
    done
    echo ']}'
} > "$work/recipe.json"

package="$work/large.qpack"
[ -f "$package" ] || "$tool" build "$work/recipe.json" -o "$package" --no-checks >/dev/null
echo "package: $(du -m "$package" | cut -f1) MB, $((copies + 5)) items"

# The median of `runs` timings of a command, in seconds.
median() {
    local times=()
    for _ in $(seq 1 "$runs"); do
        local start end
        start=$(date +%s.%N)
        "$@" >/dev/null
        end=$(date +%s.%N)
        times+=("$(awk -v a="$start" -v b="$end" 'BEGIN {printf "%.3f", b - a}')")
    done
    printf '%s\n' "${times[@]}" | sort -n | awk '{a[NR]=$1} END {print a[int((NR+1)/2)]}'
}

html=$(median "$tool" preview "$package" -o "$work/sheet.html")
png=$(median "$tool" preview "$package" -o "$work/sheet.png")
verify=$(median "$tool" verify "$package")
echo "preview -o sheet.html: median ${html} s of $runs runs (goal < 3 s)"
echo "preview -o sheet.png:  median ${png} s of $runs runs"
echo "verify:                median ${verify} s of $runs runs (it unpacks the whole package)"
echo "html sheet / verify:   $(awk -v a="$html" -v b="$verify" 'BEGIN {printf "%.2f", a / b}')"
