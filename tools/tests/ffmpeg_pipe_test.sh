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

# A raw camera dump of any even size in ffmpeg's own NV12 and I420 layouts,
# through pipe: names: every frame arrives, and the two layouts carry the
# same pictures (ffmpeg's repacking of NV12 to I420 is exact).
RAW="testsrc2=size=854x480:rate=25"
$FF -f lavfi -i "$RAW" -frames:v 4 -pix_fmt nv12 -f rawvideo - |
  "$VD" -q -s 854x480 -pix_fmt nv12 pipe: pipe:1 >cam_out.nv12
check "nv12 dump size" [ "$(stat -c %s cam_out.nv12)" -eq $((4 * 854 * 480 * 3 / 2)) ]
$FF -f lavfi -i "$RAW" -frames:v 4 -pix_fmt yuv420p -f rawvideo - |
  "$VD" -q -s 854x480 -pix_fmt yuv420p - cam_out.i420
$FF -f rawvideo -pix_fmt nv12 -s 854x480 -i cam_out.nv12 -pix_fmt yuv420p \
  -f rawvideo -y cam_nv12_as_i420.yuv
check "nv12 and i420 dumps give the same pictures" cmp -s cam_nv12_as_i420.yuv cam_out.i420

# An odd size (ffmpeg itself makes none, so written here) is refused with
# a crop that works.
{
  printf 'YUV4MPEG2 W175 H144 F25:1 Ip C420jpeg\n'
  for i in 1 2; do
    printf 'FRAME\n'
    head -c $((175 * 144 + 2 * 88 * 72)) /dev/urandom
  done
} >odd.y4m
"$VD" odd.y4m x.y4m 2>err.txt
check "odd size refused with exit 2" [ $? -eq 2 ]
advice=$(grep -o "ffmpeg -i in.y4m .*out.y4m" err.txt | sed 's/in\.y4m/odd.y4m/; s/out\.y4m/-y even.y4m/')
$FF ${advice#ffmpeg }
"$VD" -q even.y4m even_out.y4m
check "the advised crop works" [ $? -eq 0 ]

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
