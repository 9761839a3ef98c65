#!/bin/bash
# Command-level tests of vdenoise: the pipe path, raw formats, reports,
# pictures, and the exit code and message of every error it promises.
#
#   cli_test.sh VDENOISE WORKDIR
set -u

VD=$(realpath "$1")
WORK=$2
rm -rf "$WORK"
mkdir -p "$WORK"
cd "$WORK" || exit 1

passed=0
failed=0
fail() {
  echo "FAIL: $*"
  failed=$((failed + 1))
}
pass() {
  passed=$((passed + 1))
}

# check NAME CONDITION...: runs the condition, counts the result.
check() {
  local name=$1
  shift
  if "$@"; then pass; else fail "$name"; fi
}

# run EXPECTED_CODE NAME ARGS...: runs vdenoise, keeps its stdout and
# stderr in out.txt and err.txt, and checks the exit code.
run() {
  local want=$1 name=$2
  shift 2
  "$VD" "$@" >out.txt 2>err.txt
  local got=$?
  if [ "$got" -ne "$want" ]; then
    fail "$name: exit $got, expected $want"
    sed 's/^/    stderr: /' err.txt | head -20
    return 1
  fi
  pass
  return 0
}

has() { grep -q -- "$1" "$2"; }
lacks() { ! grep -q -- "$1" "$2"; }

# make_y4m FILE W H FRAMES [HEADER_FIELDS]: a YUV4MPEG2 clip of random
# 4:2:0 frames.
make_y4m() {
  local file=$1 w=$2 h=$3 n=$4 fields=${5:-"F25:1 Ip A1:1 C420jpeg"}
  local bytes=$((w * h + 2 * ((w + 1) / 2) * ((h + 1) / 2)))
  {
    printf 'YUV4MPEG2 W%d H%d %s\n' "$w" "$h" "$fields"
    for ((i = 0; i < n; i++)); do
      printf 'FRAME\n'
      head -c "$bytes" /dev/urandom
    done
  } >"$file"
}

W=176
H=144
FRAME=$((W * H * 3 / 2))
HEADER="YUV4MPEG2 W176 H144 F25:1 Ip A1:1 C420jpeg"
make_y4m in.y4m $W $H 6
IN_SIZE=$(stat -c %s in.y4m)

# --- Success paths -------------------------------------------------------

run 0 "file to file" in.y4m out.y4m
check "output has the input's size" [ "$(stat -c %s out.y4m)" -eq "$IN_SIZE" ]
check "header is kept" [ "$(head -n 1 out.y4m)" = "$HEADER" ]
check "summary line" has "vdenoise: 6 frames in .* fps" err.txt
check "summary names the output" has "-> out.y4m" err.txt
check "library per-frame lines stay quiet" lacks "Process VideoDenoise" err.txt
check "no progress line when stderr is not a terminal" lacks $'\r' err.txt
check "no temporary files left" [ "$(ls -A | grep -c vdenoise-)" -eq 0 ]

# The pipe: standard input to standard output, byte-identical to files.
cat in.y4m | "$VD" - - 2>err.txt | cat >piped.y4m
codes=("${PIPESTATUS[@]}")
check "pipe exits 0" [ "${codes[1]}" -eq 0 ]
check "pipe output equals file output" cmp -s piped.y4m out.y4m
check "pipe summary on stderr" has "-> standard output" err.txt
"$VD" - piped2.y4m <in.y4m 2>/dev/null
check "stdin to file" cmp -s piped2.y4m out.y4m

run 0 "quiet" -q in.y4m quiet.y4m
check "--quiet prints nothing" [ ! -s err.txt ]
check "--quiet output" cmp -s quiet.y4m out.y4m

run 0 "verbose" --verbose in.y4m verbose.y4m
check "--verbose shows the library's lines" has "Process VideoDenoise: width:176, height:144, iISO:100, eType:0!" err.txt
check "--verbose shows timing lines" has "Fuzzy_Time: " err.txt

run 0 "frames and skip" --skip 2 --frames 3 in.y4m part.y4m
check "--skip 2 --frames 3 writes 3 frames" [ "$(stat -c %s part.y4m)" -eq $(( ${#HEADER} + 1 + 3 * (FRAME + 6) )) ]
check "summary counts 3 frames" has "vdenoise: 3 frames" err.txt

# Raw frames: the same pixels as NV21 and as I420.
tail -c +$(( ${#HEADER} + 2 )) in.y4m | head -c $((FRAME + 6)) | tail -c $FRAME >one.i420
cat one.i420 one.i420 >two.i420
run 0 "raw i420" -s 176x144 --pix-fmt i420 two.i420 two_out.i420
check "raw i420 size" [ "$(stat -c %s two_out.i420)" -eq $((2 * FRAME)) ]
run 0 "raw yuv420p alias" -s 176x144 --pix-fmt yuv420p two.i420 alias_out.i420
check "yuv420p is i420" cmp -s alias_out.i420 two_out.i420
head -c $((2 * FRAME)) /dev/urandom >two.nv21
run 0 "raw nv21" -s 176x144 --pix-fmt nv21 two.nv21 two_out.nv21
check "raw nv21 size" [ "$(stat -c %s two_out.nv21)" -eq $((2 * FRAME)) ]
# The same pictures as NV12 (chroma pairs swapped) come out as the same
# pictures, swapped the same way.
swap_pairs() {
  perl -e 'binmode STDIN; binmode STDOUT; local $/; my $d = <STDIN>;
    my ($n, $f) = ('$((W * H))', '$FRAME');
    for (my $o = 0; $o < length($d); $o += $f) {
      for (my $i = $o + $n; $i < $o + $f; $i += 2) {
        my $a = substr($d, $i, 1);
        substr($d, $i, 1) = substr($d, $i + 1, 1);
        substr($d, $i + 1, 1) = $a;
      }
    }
    print $d;'
}
swap_pairs <two.nv21 >two.nv12
run 0 "raw nv12" -s 176x144 -pix_fmt nv12 two.nv12 two_out.nv12
check "nv12 gives the nv21 pictures" cmp -s <(swap_pairs <two_out.nv12) two_out.nv21
# YUV4MPEG2 frames reach the library as I420, like raw I420 frames.
{ printf '%s\n' "$HEADER"; printf 'FRAME\n'; cat one.i420; printf 'FRAME\n'; cat one.i420; } >two.y4m
run 0 "y4m of the raw frames" two.y4m two_out.y4m
{
  tail -c +$(( ${#HEADER} + 1 + 6 + 1 )) two_out.y4m | head -c $FRAME
  tail -c +$(( ${#HEADER} + 1 + 2 * 6 + FRAME + 1 )) two_out.y4m | head -c $FRAME
} >two_y4m_frames.i420
check "y4m and raw i420 give the same pictures" cmp -s two_y4m_frames.i420 two_out.i420

# Any even size, portrait as well; the number of threads does not change
# the bytes.
make_y4m wide.y4m 854 480 2
run 0 "854x480" wide.y4m wide_out.y4m
check "854x480 output size" [ "$(stat -c %s wide_out.y4m)" -eq "$(stat -c %s wide.y4m)" ]
make_y4m tall.y4m 360 640 2
run 0 "portrait" --threads 3 tall.y4m tall3.y4m
run 0 "portrait, one thread" --threads 1 tall.y4m tall1.y4m
check "threads do not change the bytes" cmp -s tall1.y4m tall3.y4m
check "summary names method and threads" has "(fuzzy, 1 thread)" err.txt

# Methods.
run 0 "temporal method" --method temporal in.y4m temporal.y4m
check "temporal output size" [ "$(stat -c %s temporal.y4m)" -eq "$IN_SIZE" ]
check "summary names the method" has "(temporal, " err.txt
run 1 "unknown method" --method magic in.y4m x.y4m
check "methods listed" has "takes fuzzy, temporal or adaptive" err.txt
if "$VD" --method adaptive in.y4m adaptive.y4m 2>err.txt; then
  check "adaptive output size" [ "$(stat -c %s adaptive.y4m)" -eq "$IN_SIZE" ]
else
  check "adaptive missing is explained" has "does not have that method yet" err.txt
fi

# Quality report against a reference: the input against itself is
# infinite PSNR.
run 0 "reference" --reference in.y4m --per-frame in.y4m ref_out.y4m
check "report header" has "quality against in.y4m over 6 frames" out.txt
check "report names the SSIM window" has "Gaussian 11x11 window, sigma 1.5" out.txt
check "per-frame rows" [ "$(grep -cE '^ +[0-9]+  [YUV] ' out.txt)" -eq 18 ]
check "mean rows" [ "$(grep -cE '^ +mean  [YUV] ' out.txt)" -eq 3 ]
check "identical input prints inf" has "mean  Y           inf" out.txt
run 0 "reference with stdout output" --reference in.y4m in.y4m - 
check "report goes to stderr when stdout carries video" has "quality against" err.txt
check "stdout is only video" [ "$(head -c 9 out.txt)" = "YUV4MPEG2" ]
make_y4m short.y4m $W $H 2
run 0 "short reference" --reference short.y4m in.y4m short_out.y4m
check "short reference warns" has "the reference ends after 2 frames" err.txt
check "short reference covers 2 frames" has "over 2 frames" out.txt
make_y4m other.y4m 96 96 1
run 2 "reference of another size" --reference other.y4m in.y4m x.y4m
check "size mismatch message" has "is 96x96 but the input is 176x144" err.txt

# Schedule: valid file runs; the type change is the library's business.
printf '# frame type iso\n0 0 100\n3 6 800\n' >sched.txt
run 0 "schedule" --schedule sched.txt in.y4m sched_out.y4m
run 0 "schedule verbose" -y --verbose --schedule sched.txt in.y4m sched_out.y4m
check "schedule reaches the library" has "iISO:800, eType:6" err.txt
check "schedule starts with its first line" has "iISO:100, eType:0" err.txt

# Pictures.
if "$VD" --help | grep -q "no PNG support"; then
  run 1 "png without libpng" --png shots in.y4m png_out.y4m
else
  run 0 "png" --png shots --png-frames 1,last,99 --reference in.y4m in.y4m png_out.y4m
  check "a frame beyond the clip is a warning" has "no picture of frame 99: the frames denoised are 0 to 5" err.txt
  check "picture of frame 1" [ -s shots/frame_000001.png ]
  check "picture of the last frame" [ -s shots/frame_000005.png ]
  check "only the chosen pictures" [ "$(ls shots | wc -l)" -eq 2 ]
  check "picture is a PNG" [ "$(head -c 4 shots/frame_000001.png | tail -c 3)" = "PNG" ]
fi

# Help and version.
run 0 "help" --help
check "help documents the pipe" has "ffmpeg -i clip.mp4 -f yuv4mpegpipe - | vdenoise - - |" out.txt
check "help names the SSIM window" has "Gaussian 11x11 window (sigma 1.5, K1 0.01, K2 0.03)" out.txt
run 0 "version" --version
check "version line" has "^vdenoise " out.txt

# The demo, kept short: two frames per level, clips kept.
run 0 "demo" --demo --frames 2 --out demo_out --keep-clips -q
check "demo table has a row per level" [ "$(grep -cE '^ +[0-3] +[0-9]+ +[0-9]+ +noisy ' out.txt)" -eq 4 ]
check "demo table has fuzzy rows" [ "$(grep -c ' fuzzy ' out.txt)" -eq 4 ]
check "demo clips" [ "$(ls demo_out/fuzzy_level*.y4m | wc -l)" -eq 4 ]
check "demo clip size" [ "$(stat -c %s demo_out/fuzzy_level3.y4m)" -eq $(( $(head -n 1 demo_out/fuzzy_level3.y4m | wc -c) + 2 * (1920 * 1080 * 3 / 2 + 6) )) ]
png=1
"$VD" --help | grep -q "no PNG support" && png=0
if [ $png -eq 1 ]; then
  check "demo pictures" [ "$(ls demo_out/level*.png | wc -l)" -eq 4 ]
fi
run 1 "demo takes no files" --demo in.y4m
# Without --out: the build directory when run from it, else a temporary
# folder it names; clips only when asked.
run 0 "demo in the build directory" --demo --frames 1 -q
build_dir=$(dirname "$(dirname "$VD")")
check "demo names the build directory" has "written to $build_dir/vdenoise-demo/" out.txt
check "demo keeps no clips unless asked" [ "$(ls "$build_dir/vdenoise-demo" | grep -c '\.y4m$')" -eq 0 ]
elsewhere=$(mktemp -d /tmp/vdenoise-cli-XXXXXX)
cp "$VD" "$elsewhere/vdenoise"
mkdir -p tmp
TMPDIR="$PWD/tmp" "$elsewhere/vdenoise" --demo --frames 1 -q >out.txt 2>err.txt
check "installed demo exits 0" [ $? -eq 0 ]
check "installed demo names its temporary folder" has "written to a new temporary folder, $PWD/tmp/vdenoise-demo-" out.txt
[ $png -eq 1 ] && check "installed demo writes there" [ "$(ls tmp/vdenoise-demo-*/level*.png | wc -l)" -eq 4 ]
check "installed demo leaves the current directory alone" [ ! -e vdenoise-demo ]
rm -rf "$elsewhere"

# --- Habits from ffmpeg -----------------------------------------------------

# Overwriting: refused without -y when nobody can be asked, never with -n,
# asked on a terminal.
cp out.y4m keep.y4m
run 1 "existing output refused" in.y4m keep.y4m </dev/null
check "refusal says -y" has "keep.y4m already exists; give -y to overwrite it" err.txt
run 1 "-n never overwrites" -n in.y4m keep.y4m
check "-n message" has "-n says never to overwrite" err.txt
check "refused output untouched" cmp -s keep.y4m out.y4m
run 0 "-y overwrites" -y --frames 1 in.y4m keep.y4m </dev/null
check "-y replaced the file" [ "$(stat -c %s keep.y4m)" -eq $(( ${#HEADER} + 1 + FRAME + 6 )) ]
check "1 frame, not 1 frames" has "vdenoise: 1 frame in" err.txt
if command -v script >/dev/null 2>&1; then
  printf 'n\n' | script -qec "'$VD' in.y4m keep.y4m" /dev/null >tty.txt 2>&1
  check "asks on a terminal" has "keep.y4m already exists. Overwrite? \[y/N\]" tty.txt
  check "no keeps the file" [ "$(stat -c %s keep.y4m)" -eq $(( ${#HEADER} + 1 + FRAME + 6 )) ]
  printf 'y\n' | script -qec "'$VD' in.y4m keep.y4m" /dev/null >tty.txt 2>&1
  check "yes replaces the file" cmp -s keep.y4m out.y4m
  # Binary video is not sent to a terminal.
  script -qec "'$VD' in.y4m -; echo \"exit=\$?\"" /dev/null >tty.txt 2>&1
  check "terminal output refused" has "exit=1" tty.txt
  check "terminal hint" has "vdenoise IN - > out.y4m" tty.txt
fi

# Through a symbolic link: the target is replaced, the link and the
# target's permission bits stay.
mkdir -p real
cp in.y4m real/target.y4m
chmod 600 real/target.y4m
ln -sf real/target.y4m link.y4m
run 0 "write through a link" -y in.y4m link.y4m
check "the link stays a link" [ -L link.y4m ]
check "the target holds the output" cmp -s real/target.y4m out.y4m
check "the target keeps its permissions" [ "$(stat -c %a real/target.y4m)" = 600 ]
check "no temporary file beside the target" [ "$(ls -A real | wc -l)" -eq 1 ]

# ffmpeg's names: pipe:, -i, size names, -pix_fmt, -V, and a typo.
"$VD" -q -i pipe: pipe:1 <in.y4m >piped3.y4m
check "pipe: and pipe:1" cmp -s piped3.y4m out.y4m
run 0 "size name and -pix_fmt" -s qcif -pix_fmt yuv420p two.i420 named_out.i420
check "qcif is 176x144" cmp -s named_out.i420 two_out.i420
run 1 "pipe:2 refused" in.y4m pipe:2
check "other descriptors through /dev/fd" has "/dev/fd/N" err.txt
run 0 "-V" -V
check "-V is --version" has "^vdenoise " out.txt
run 1 "typo" --refrence in.y4m in.y4m x.y4m
check "did you mean" has "unknown option --refrence (did you mean --reference?)" err.txt

# YUV4MPEG2: an unknown rate (F0:0) and each FRAME line's fields pass
# through.
{
  printf 'YUV4MPEG2 W%d H%d F0:0 Ip A0:0 C420jpeg\n' $W $H
  for i in 0 1 2; do
    printf 'FRAME XFRAME=%d\n' "$i"
    head -c $FRAME /dev/urandom
  done
} >params.y4m
run 0 "F0:0 and FRAME fields" params.y4m params_out.y4m
check "F0:0 kept" [ "$(head -n 1 params_out.y4m)" = "YUV4MPEG2 W176 H144 F0:0 Ip A0:0 C420jpeg" ]
check "FRAME fields kept" [ "$(grep -ao 'FRAME XFRAME=[0-2]' params_out.y4m | sort -u | wc -l)" -eq 3 ]
check "same size as the input" [ "$(stat -c %s params_out.y4m)" -eq "$(stat -c %s params.y4m)" ]

# --- Errors ---------------------------------------------------------------

run 1 "no arguments"
check "usage hint" has "Try 'vdenoise --help'" err.txt
run 1 "unknown option" --frobnicate in.y4m x.y4m
check "unknown option named" has "unknown option --frobnicate" err.txt
run 1 "raw size without format" -s 176x144 in.raw x.raw

run 2 "missing input" nosuch.y4m x.y4m
check "missing input message" has "cannot open nosuch.y4m: No such file or directory" err.txt
mkdir -p adir
run 2 "directory input" adir x.y4m
check "directory input message" has "it is a directory" err.txt
: >empty.y4m
run 2 "empty input" empty.y4m x.y4m
check "empty input message" has "empty.y4m is empty" err.txt
head -c 5000 /dev/urandom | tr -d 'Y' >noise.bin
run 2 "raw without size" noise.bin x.y4m
check "raw without size advice" has "give both the size and the layout" err.txt

make_y4m interlaced.y4m $W $H 1 "F25:1 It A1:1 C420jpeg"
run 2 "interlaced" interlaced.y4m x.y4m
check "interlaced advice" has "ffmpeg -i in.y4m -pix_fmt yuv420p -vf yadif out.y4m" err.txt
printf 'YUV4MPEG2 W176 H144 F25:1 Ip C422\n' >c422.y4m
run 2 "4:2:2" c422.y4m x.y4m
check "4:2:2 named" has "the input is 4:2:2 (C422)" err.txt
check "4:2:2 advice" has "ffmpeg -i in.y4m -pix_fmt yuv420p out.y4m" err.txt
printf 'YUV4MPEG2 W176 H144 F25:1 Ip C444\n' >c444.y4m
run 2 "4:4:4" c444.y4m x.y4m
check "4:4:4 named" has "4:4:4" err.txt
printf 'YUV4MPEG2 W176 H144 F25:1 Ip C420p10\n' >deep.y4m
run 2 "10-bit" deep.y4m x.y4m
check "bit depth named" has "10-bit samples" err.txt
printf 'YUV4MPEG2 W176 F25:1\n' >noheight.y4m
run 2 "malformed header" noheight.y4m x.y4m
check "malformed header named" has "no height (H) field" err.txt

make_y4m odd.y4m 175 144 2
run 2 "odd size" odd.y4m x.y4m
check "odd size reason" has "odd.y4m: 175x144 has an odd width" err.txt
check "odd size hint" has "ffmpeg -i in.y4m -vf crop=174:144:0:0" err.txt
check "no output after a refusal" [ ! -e x.y4m ]
make_y4m tiny.y4m 8 8 1
run 3 "a size the library refuses" tiny.y4m x.y4m
check "library's status" has "the denoiser refused 8x8 frames (" err.txt
check "library's own words" has "the library says:" err.txt
run 1 "odd raw size" -s 175x144 --pix-fmt nv21 two.nv21 x.nv21
check "odd raw size reason" has "option -s 175x144: 175x144 has an odd width" err.txt

# Truncated last frame: exit 5, the whole frames are kept.
head -c $(( ${#HEADER} + 1 + 3 * (FRAME + 6) + 1000 )) in.y4m >cut.y4m
run 5 "truncated input" cut.y4m cut_out.y4m
check "truncation reported" has "the last frame (frame 3) is truncated: 994 of $FRAME bytes" err.txt
check "whole frames written" has "the 3 whole frames before it were written to cut_out.y4m" err.txt
check "truncated output holds 3 frames" [ "$(stat -c %s cut_out.y4m)" -eq $(( ${#HEADER} + 1 + 3 * (FRAME + 6) )) ]
check "truncated output equals the first frames" cmp -s cut_out.y4m <(head -c $(( ${#HEADER} + 1 + 3 * (FRAME + 6) )) out.y4m)

# A damaged stream in the middle: error, and no output that looks complete.
{ head -c $(( ${#HEADER} + 1 + 2 * (FRAME + 6) )) in.y4m; printf 'GARBAGE\n'; head -c $FRAME /dev/zero; } >bad.y4m
run 2 "bad frame marker" bad.y4m bad_out.y4m
check "bad marker named" has "frame 2: expected a \"FRAME\" marker" err.txt
check "no output after a damaged stream" [ ! -e bad_out.y4m ]
check "no temporary file after a damaged stream" [ "$(ls -A | grep -c vdenoise-)" -eq 0 ]

# Unwritable output.
run 4 "missing output directory" in.y4m no/such/dir/out.y4m
check "output directory message" has "cannot create no/such/dir/out.y4m" err.txt
run 4 "output is a directory" in.y4m adir
if [ -e /dev/full ]; then
  run 4 "full disk" in.y4m /dev/full
  check "full disk message" has "no space left on the device while writing /dev/full" err.txt
fi

# Broken pipe: the reader goes away after a few bytes.
"$VD" in.y4m - 2>err.txt | head -c 100 >/dev/null
codes=("${PIPESTATUS[@]}")
check "broken pipe exits 4" [ "${codes[0]}" -eq 4 ]
check "broken pipe message" has "standard output was closed by the reader (broken pipe)" err.txt

# Missing side files.
run 2 "missing schedule" --schedule nosuch.txt in.y4m x.y4m
check "schedule named" has "cannot open nosuch.txt" err.txt
printf '0 0 100\n5 six 800\n' >badsched.txt
run 2 "bad schedule" --schedule badsched.txt in.y4m x.y4m
check "schedule line named" has "badsched.txt:2: the type \"six\"" err.txt
run 2 "missing config" --config nosuch.cfg in.y4m x.y4m
check "config named" has "configuration file: cannot open nosuch.cfg" err.txt
run 2 "missing reference" --reference nosuch.y4m in.y4m x.y4m
check "reference named" has "reference: cannot open nosuch.y4m" err.txt
run 2 "skip everything" --skip 10 in.y4m x.y4m
check "skip message" has "has only 6 whole frames; --skip 10 leaves none" err.txt
check "no output after errors" [ ! -e x.y4m ]

# An interrupted run removes its temporary file.
rm -f fifo
mkfifo fifo
"$VD" fifo sig_out.y4m 2>/dev/null &
pid=$!
exec 3<>fifo  # read-write: never blocks, even if vdenoise died early
head -c $(( ${#HEADER} + 1 + FRAME + 6 )) in.y4m >&3
for ((i = 0; i < 50; i++)); do
  [ "$(ls -A | grep -c '\.sig_out\.y4m\.vdenoise-')" -gt 0 ] && break
  sleep 0.1
done
check "temporary file exists while running" [ "$(ls -A | grep -c '\.sig_out\.y4m\.vdenoise-')" -eq 1 ]
kill -TERM $pid
wait $pid
code=$?
exec 3>&-
check "killed by SIGTERM" [ "$code" -eq 143 ]
check "temporary file removed on SIGTERM" [ "$(ls -A | grep -c vdenoise-)" -eq 0 ]
check "no output after SIGTERM" [ ! -e sig_out.y4m ]

# The progress line on a terminal (when script(1) can provide one).
if command -v script >/dev/null 2>&1; then
  make_y4m long.y4m $W $H 40
  script -qec "'$VD' long.y4m long_out.y4m" /dev/null >tty.txt 2>&1
  check "progress line on a terminal" has "frame [0-9]*/40" tty.txt
  script -qec "'$VD' -y -q long.y4m long_out.y4m" /dev/null >tty_quiet.txt 2>&1
  check "--quiet silences the progress line" lacks "frame [0-9]*/40" tty_quiet.txt
fi

echo "$passed passed, $failed failed"
[ "$failed" -eq 0 ]
