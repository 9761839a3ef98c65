#!/usr/bin/env bash
# The vdenoise element in gst-launch-1.0 pipelines against the C API
# (denoise_frames) and the vdenoise command on the same frames:
#   - NV21, NV12 and I420 through a tee (shared buffers: a new output buffer)
#     and the same frames read back from a file (writable: in place);
#   - a stream whose size changes and then whose format changes: each part
#     must come out as from a fresh denoiser.
# Usage: gst_test.sh PLUGIN_DIR DENOISE_FRAMES WORK_DIR [VDENOISE]
set -euo pipefail
export GST_PLUGIN_PATH=$(realpath "$1")
reference=$(realpath "$2")
work=$(realpath -m "$3")
cli=${4:+$(realpath "$4")}
export GST_REGISTRY=$work/registry.bin
type=6
iso=800
frames=5

fail() { echo "gst_test: $*" >&2; exit 1; }
rm -rf "$work"
mkdir -p "$work"
cd "$work"

gst-inspect-1.0 vdenoise >inspect.txt || fail "gst-inspect-1.0 does not find vdenoise"
for p in method type iso threads; do
  grep -q "^  $p " inspect.txt || fail "gst-inspect-1.0 lists no property $p"
done

# Runs a pipeline, keeping the element's log to tell in-place from copying.
launch() {
  GST_DEBUG=vdenoise:6 GST_DEBUG_NO_COLOR=1 GST_DEBUG_FILE="$work/$1.log" \
    gst-launch-1.0 -q "${@:2}" >/dev/null || fail "pipeline $1 failed"
}

for format in NV21 NV12 I420; do
  f=${format,,}
  caps="video/x-raw,format=$format,width=320,height=240,framerate=30/1"
  # Shared buffers (tee): denoised into new buffers.
  launch "$f-tee" videotestsrc num-buffers=$frames pattern=snow ! "$caps" ! \
    tee name=t ! queue ! filesink location="in.$f" \
    t. ! queue ! vdenoise type=$type iso=$iso ! filesink location="tee.$f"
  grep -q "denoising into a new buffer" "$f-tee.log" || fail "$f: no copy path"
  # The same frames from a file: writable buffers, denoised in place.
  launch "$f-file" filesrc location="in.$f" ! \
    rawvideoparse format=$f width=320 height=240 framerate=30/1 ! \
    vdenoise type=$type iso=$iso ! filesink location="file.$f"
  grep -q "denoising in place" "$f-file.log" || fail "$f: no in-place path"

  "$reference" "$f" 320 240 $type $iso fuzzy "in.$f" "ref.$f"
  [[ $(stat -c %s "ref.$f") -eq $((320 * 240 * 3 / 2 * frames)) ]] ||
    fail "$f: the reference has the wrong size"
  cmp "tee.$f" "ref.$f" || fail "$f: tee pipeline differs from the C API"
  cmp "file.$f" "ref.$f" || fail "$f: in-place pipeline differs from the C API"
  if [[ -n "$cli" && "$f" != nv12 ]]; then
    "$cli" -s 320x240 --pix-fmt "$f" --type $type --iso $iso "in.$f" "cli.$f" \
      2>/dev/null
    cmp "cli.$f" "ref.$f" || fail "$f: vdenoise (the command) differs"
  fi
  echo "gst_test: $format matches the C API"
done

# One stream: 320x240 NV21, then 256x192 NV21 (new size), then 256x192
# I420 (new format). concat switches caps mid-stream.
part() { # name format width height pattern
  echo "videotestsrc num-buffers=3 pattern=$5 ! video/x-raw,format=$2,width=$3,height=$4,framerate=30/1 ! tee name=$1 ! queue ! filesink location=in.$1 $1. ! queue ! c."
}
launch renegotiate concat name=c ! vdenoise type=$type iso=$iso ! \
  filesink location=out.stream \
  $(part pa NV21 320 240 snow) $(part pb NV21 256 192 snow) \
  $(part pc I420 256 192 snow)
"$reference" nv21 320 240 $type $iso fuzzy in.pa ref.a
"$reference" nv21 256 192 $type $iso fuzzy in.pb ref.b
"$reference" i420 256 192 $type $iso fuzzy in.pc ref.c
cat ref.a ref.b ref.c >ref.stream
cmp out.stream ref.stream ||
  fail "a size or format change did not start the history afresh"
echo "gst_test: size and format changes start afresh"
echo "gst_test: passed"
