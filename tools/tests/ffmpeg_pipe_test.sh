#!/bin/bash
# The documented pipe, through ffmpeg itself:
#   ffmpeg ... -f yuv4mpegpipe - | vdenoise - - | ffmpeg -f yuv4mpegpipe -i - out
# Exits 77 (skipped) when ffmpeg is not installed.
#
#   ffmpeg_pipe_test.sh VDENOISE WORKDIR
set -u

VD=$(realpath "$1")
WORK=$2
if ! command -v ffmpeg >/dev/null 2>&1; then
  echo "ffmpeg is not installed: skipped"
  exit 77
fi
rm -rf "$WORK"
mkdir -p "$WORK"
cd "$WORK" || exit 1

passed=0
failed=0
check() {
  local name=$1
  shift
  if "$@"; then passed=$((passed + 1)); else echo "FAIL: $name"; failed=$((failed + 1)); fi
}

FF="ffmpeg -hide_banner -loglevel error -nostdin"
SRC="testsrc2=size=176x144:rate=25"

# Into a video file, as in the help text.
$FF -f lavfi -i "$SRC" -frames:v 12 -pix_fmt yuv420p -f yuv4mpegpipe - |
  "$VD" -q - - |
  $FF -f yuv4mpegpipe -i - -y out.mkv
codes=("${PIPESTATUS[@]}")
check "source ffmpeg" [ "${codes[0]}" -eq 0 ]
check "vdenoise in the pipe" [ "${codes[1]}" -eq 0 ]
check "target ffmpeg" [ "${codes[2]}" -eq 0 ]
frames=$(ffprobe -v error -count_frames -select_streams v:0 \
  -show_entries stream=nb_read_frames -of csv=p=0 out.mkv 2>/dev/null)
check "all 12 frames arrive ($frames)" [ "$frames" = "12" ]

# Back to YUV4MPEG2: ffmpeg reads every frame vdenoise writes, and the
# frame size matches.
$FF -f lavfi -i "$SRC" -frames:v 5 -pix_fmt yuv420p -f yuv4mpegpipe - |
  "$VD" -q - - | $FF -f yuv4mpegpipe -i - -f rawvideo -y back.yuv
check "raw round trip size" [ "$(stat -c %s back.yuv)" -eq $((5 * 176 * 144 * 3 / 2)) ]

# ffmpeg's own 4:2:2 and interlaced streams are refused with advice that
# works.
$FF -f lavfi -i "$SRC" -frames:v 2 -pix_fmt yuv422p -strict -1 -f yuv4mpegpipe -y c422.y4m
"$VD" c422.y4m x.y4m 2>err.txt
check "4:2:2 refused with exit 2" [ $? -eq 2 ]
check "4:2:2 advice" grep -q "pix_fmt yuv420p" err.txt
$FF -i c422.y4m -pix_fmt yuv420p -y fixed.y4m
"$VD" -q fixed.y4m fixed_out.y4m
check "the advised conversion works" [ $? -eq 0 ]

$FF -f lavfi -i "$SRC" -frames:v 2 -pix_fmt yuv420p -field_order tt -f yuv4mpegpipe -y tff.y4m
if head -n 1 tff.y4m | grep -q " It"; then
  "$VD" tff.y4m x.y4m 2>err.txt
  check "interlaced refused with exit 2" [ $? -eq 2 ]
  check "interlaced advice" grep -q "yadif" err.txt
  $FF -i tff.y4m -pix_fmt yuv420p -vf yadif -y deint.y4m
  "$VD" -q deint.y4m deint_out.y4m
  check "the advised deinterlace works" [ $? -eq 0 ]
fi

$FF -f lavfi -i "$SRC" -frames:v 2 -pix_fmt yuv420p10le -strict -1 -f yuv4mpegpipe -y deep.y4m
"$VD" deep.y4m x.y4m 2>err.txt
check "10-bit refused with exit 2" [ $? -eq 2 ]
check "10-bit named" grep -q "10-bit" err.txt

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
