#!/usr/bin/env bash
# Develops recordings through the plug-in and leaves pictures and sound in out/.  usage: tools/demo.sh BUILD_DIR [FILE…]
# Without files: the recordings of demo/, a synthetic 4K clip and a synthetic .qorix recording. Fails when anything failed or the plug-in left something behind.
set -uo pipefail
[ $# -ge 1 ] || { echo "usage: tools/demo.sh BUILD_DIR [FILE…]" >&2; exit 1; }
root=$(cd "$(dirname "$0")/.." && pwd)
build=$(realpath "$1")
shift
host=$build/qorix-host
out=$root/out
pictures=0
sounds=0
failures=0
summary=()

failed() {
  echo "FAILED: $*" >&2
  failures=$((failures + 1))
}

# The sizes that a clip is offered in, by name, out of the table of "qorix-host info".
offered_sizes() {
  sed -n 's/^  sizes  *//p' <<<"$1" | grep -o '(full)\|(half)\|(quarter)' | tr -d '()'
}

# The frame in the middle of the clip, out of the same table.
middle_frame() {
  local frames
  frames=$(sed -n 's/^  frames  *\([0-9]*\) .*/\1/p' <<<"$1")
  echo $((${frames:-1} / 2))
}

demo_clip() {
  local file=$1 name info number size picture speed
  name=$(basename "$file")
  name=${name%.*}
  mkdir -p "$out/$name"
  echo
  info=$("$host" info "$file") || { failed "info of $file"; return; }
  echo "$info"
  number=$(middle_frame "$info")
  for size in $(offered_sizes "$info"); do
    picture=$out/$name/frame_${number}_$size.png
    "$host" frame "$file" -n "$number" --size "$size" -o "$picture" || { failed "frame $number of $file, $size"; continue; }
    echo "  picture        ${picture#"$root"/}"
    pictures=$((pictures + 1))
  done
  if ! grep -q '^  sound  *none$' <<<"$info"; then
    "$host" audio "$file" -o "$out/$name/sound.wav" >/dev/null || failed "sound of $file"
    echo "  sound written  ${out#"$root"/}/$name/sound.wav"
    sounds=$((sounds + 1))
  fi
  speed=$("$host" frames "$file") || failed "frames of $file"
  summary+=("$(printf '%-14s %s' "$name" "$speed")")
}

mkdir -p "$out"
files=("$@")
if [ ${#files[@]} -eq 0 ]; then
  # Development adds a stop to what the camera says; this keeps the scene's bright sky below white.
  synthetic=$out/synthetic_4k.zip
  "$build/qorix-sample" make "$synthetic" --frames 24 --size 3840x2160 --codec lj92 --fps 24000/1001 --drop 9 --gain-map --exposure -1 \
    --tone s24 --tone-start 0.1 --flash 18 ||
    failed "making the synthetic clip"
  recording=$out/recording.qorix
  "$build/qorix-sample" make "$recording" --frames 24 --size 1920x1080 --fps 24000/1001 --drop 9 --gain-map --exposure -1 \
    --tone f32 --tone-start 0.1 --flash 18 ||
    failed "making the synthetic recording"
  files=("$root"/demo/*.zip "$synthetic" "$recording")
fi

# The default is a log curve for grading, which looks pale on a screen.
export QORIX_IMPORT_CURVE=${QORIX_IMPORT_CURVE:-rec709}
export QORIX_IMPORT_LOG=${QORIX_IMPORT_LOG:-$out/demo.log}
[ "$QORIX_IMPORT_LOG" != "$out/demo.log" ] || rm -f "$QORIX_IMPORT_LOG"
echo "Developed with QORIX_IMPORT_CURVE=$QORIX_IMPORT_CURVE."
for file in "${files[@]}"; do demo_clip "$file"; done

echo
echo "Delivered at full size, not written:"
printf '  %s\n' "${summary[@]:-nothing}"
echo "Written: $pictures pictures and $sounds sound files below ${out#"$root"/}/. Failures: $failures."
"$host" log-report "$QORIX_IMPORT_LOG" -o "$out/report.html" >/dev/null || failed "report of $QORIX_IMPORT_LOG"
echo "What the plug-in's log says: ${out#"$root"/}/report.html"
[ "$failures" -eq 0 ]
