#!/usr/bin/env bash
# Builds the benchmarks, runs them and the side-by-side comparisons in one go,
# and prints one table with every ratio against its target (medians).
#
# Usage: scripts/bench.sh [options]
#   --markdown FILE   also write the table as Markdown
#   --chart FILE      also draw a PNG chart (gnuplot)
#   --repetitions N   repetitions of each benchmark and clip run (default 9);
#                     the benchmarks' repetitions are interleaved at random,
#                     so that a change of load hits every benchmark alike
#   --quick           fewer repetitions and shorter runs (a smoke run)
#   --arm             also cross-build for armv7 and aarch64 and run the NEON
#                     build under qemu on a few 1080p frames; its output must
#                     equal the native build's byte for byte (no timing:
#                     qemu's time means nothing)
#   --no-install      do not install missing packages
#   --build-dir DIR   build directory (default: build-bench in the repository)
#   --keep            keep the work directory (clip, JSON, logs)
#
# Compared, when available (the script installs them from Debian's packages
# and says so when one is missing): ffmpeg's hqdn3d and atadenoise filters on
# the same 300-frame 1080p raw NV21 clip, libyuv's NV21ToI420 / I420ToNV21,
# and OpenCV's 3x3 cv::blur.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)

markdown=""
chart=""
reps=9
quick=0
arm=0
install=1
keep=0
build=$root/build-bench
while (($#)); do
  case $1 in
    --markdown) markdown=$(realpath -m "$2"); shift 2 ;;
    --chart) chart=$(realpath -m "$2"); shift 2 ;;
    --repetitions) reps=$2; shift 2 ;;
    --quick) quick=1; shift ;;
    --arm) arm=1; shift ;;
    --no-install) install=0; shift ;;
    --build-dir) build=$(realpath -m "$2"); shift 2 ;;
    --keep) keep=1; shift ;;
    -h|--help) sed -n '2,23p' "$0"; exit 0 ;;
    *) echo "bench.sh: unknown option $1" >&2; exit 2 ;;
  esac
done
min_time=0.1
clip_frames=300
if ((quick)); then
  reps=2
  min_time=0.05
fi
clip_reps=$(( reps < 5 ? reps : 5 ))

work=$(mktemp -d /tmp/vd_bench.XXXXXX)
cleanup() { ((keep)) && echo "work directory kept: $work" || rm -rf "$work"; }
trap cleanup EXIT
notes=$work/notes.txt
: > "$notes"
note() { echo "$*" | tee -a "$notes"; }

# ---- packages ---------------------------------------------------------------
want=(cmake g++ make libbenchmark-dev ffmpeg libyuv-dev libopencv-imgproc-dev
      gnuplot-nox python3)
((arm)) && want+=(g++-arm-linux-gnueabihf g++-aarch64-linux-gnu qemu-user)
missing=()
for p in "${want[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  if ((install)); then
    echo "installing: ${missing[*]}"
    SUDO=""
    [ "$(id -u)" -ne 0 ] && SUDO="sudo"
    export DEBIAN_FRONTEND=noninteractive
    if ! { $SUDO apt-get update -qq &&
           $SUDO apt-get install -y -qq --no-install-recommends \
             "${missing[@]}" >/dev/null; }; then
      echo "could not install every package; going on without the missing ones"
    fi
  else
    echo "not installed (--no-install): ${missing[*]}"
  fi
fi

# ---- build ------------------------------------------------------------------
echo "building in $build"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVD_BUILD_BENCH=ON \
  -DVD_BUILD_TESTS=OFF > "$work/configure.log" 2>&1 ||
  { cat "$work/configure.log"; exit 1; }
while read -r l; do
  note "$l"
done < <(grep -E "not found: " "$work/configure.log" | sed 's/^-- //' || true)
cmake --build "$build" -j2 --target vd_bench vd_clip > "$work/build.log" 2>&1 ||
  { tail -40 "$work/build.log"; exit 1; }
denoiser=()
if cmake --build "$build" -j2 --target vdenoise > "$work/build_tool.log" 2>&1 &&
   [ -x "$build/tools/vdenoise" ]; then
  denoiser=(tool "$build/tools/vdenoise")
  # Two threads, as ffmpeg gets, when the tool takes a thread count.
  tool_threads=()
  "$build/tools/vdenoise" --help 2>&1 | grep -q -- "--threads" &&
    tool_threads=(--threads 2)
else
  note "vdenoise could not be built: the clip is timed with bench/vd_clip"
  denoiser=(clip "$build/bench/vd_clip")
fi

# ---- the machine --------------------------------------------------------------
cpu=$(grep -m1 'model name' /proc/cpuinfo | cut -d: -f2 | sed 's/^ *//')
cores=$(nproc)
load_before=$(cut -d' ' -f1-3 /proc/loadavg)
echo "machine: $cpu, $cores cores, load average $load_before"

# ---- Google Benchmark: kernels, frames, floor, libyuv, OpenCV -----------------
echo "running vd_bench ($reps repetitions, about 2 minutes)"
"$build/bench/vd_bench" --benchmark_repetitions="$reps" \
  --benchmark_min_time="$min_time" --benchmark_report_aggregates_only=true \
  --benchmark_enable_random_interleaving=true \
  --benchmark_out="$work/bench.json" --benchmark_out_format=json \
  > "$work/bench.txt" 2>&1 || { tail -20 "$work/bench.txt"; exit 1; }

# ---- the clip: ffmpeg against vdenoise ----------------------------------------
clip=$work/clip_1080p.nv21
times=$work/clip_times.txt
: > "$times"
# Seconds one command takes (stdout and stderr dropped).
seconds() {
  local t0 t1
  t0=$(date +%s.%N)
  "$@" > /dev/null 2>&1 || return 1
  t1=$(date +%s.%N)
  awk -v a="$t0" -v b="$t1" 'BEGIN { printf "%.4f\n", b - a }'
}
if command -v ffmpeg > /dev/null; then
  echo "making a ${clip_frames}-frame 1920x1080 NV21 clip"
  ffmpeg -hide_banner -loglevel error -nostdin -y \
    -f lavfi -i testsrc2=size=1920x1080:rate=30 -vf noise=alls=12:allf=t \
    -frames:v "$clip_frames" -pix_fmt nv21 -f rawvideo "$clip"
else
  note "ffmpeg is not installed: no clip, no ffmpeg comparison"
fi
if [ -f "$clip" ]; then
  note "clip runs: raw NV21 in (from the page cache), raw NV21 out to /dev/null;" \
    "ffmpeg with -threads 2 -filter_threads 2 (its filters take planar" \
    "yuv420p, so ffmpeg converts in and out); vdenoise with 2 threads"
  cat "$clip" > /dev/null  # into the page cache for every contender
  # One round runs every contender once, so that a change of load during the
  # run hits them alike.
  pairs=("0 100" "6 100" "4 400" "6 400")
  declare -A broken=()
  for ((r = 0; r < clip_reps; r++)); do
    for filter in hqdn3d atadenoise; do
      [ -n "${broken[$filter]:-}" ] && continue
      if s=$(seconds ffmpeg -hide_banner -nostdin -threads 2 -filter_threads 2 \
               -f rawvideo -pix_fmt nv21 -s 1920x1080 -i "$clip" -vf "$filter" \
               -f rawvideo -pix_fmt nv21 -y /dev/null); then
        echo "ffmpeg_$filter $s" >> "$times"
      else
        note "ffmpeg -vf $filter failed: comparison unavailable"
        broken[$filter]=1
      fi
    done
    for level in 0 1 2 3; do
      read -r type iso <<< "${pairs[$level]}"
      if [ "${denoiser[0]}" = tool ]; then
        s=$(seconds "${denoiser[1]}" -q -s 1920x1080 --pix-fmt nv21 \
              "${tool_threads[@]}" --type "$type" --iso "$iso" "$clip" -) || s=""
      else
        s=$(seconds "${denoiser[1]}" "$clip" /dev/null 1920 1080 "$type" "$iso") ||
          s=""
      fi
      [ -n "$s" ] && echo "vdenoise_$level $s" >> "$times"
      s=$(seconds "$build/bench/vd_clip" "$clip" /dev/null 1920 1080 "$type" \
            "$iso" 1) || s=""
      [ -n "$s" ] && echo "pool_$level $s" >> "$times"
    done
  done
fi
load_after=$(cut -d' ' -f1-3 /proc/loadavg)

# ---- the table ------------------------------------------------------------------
cat > "$work/table.py" <<'EOF'
import json, statistics, sys

bench_json, times_file, notes_file, md_out, chart_data, info = sys.argv[1:7]
info = json.loads(info)
with open(bench_json) as f:
    data = json.load(f)
med = {}
for b in data["benchmarks"]:
    if b.get("aggregate_name") == "median":
        unit = {"ns": 1e-6, "us": 1e-3, "ms": 1.0, "s": 1e3}[b["time_unit"]]
        med[b["run_name"]] = b["real_time"] * unit  # milliseconds
clip = {}
with open(times_file) as f:
    for line in f:
        k, v = line.split()
        clip.setdefault(k, []).append(float(v))
clip = {k: statistics.median(v) for k, v in clip.items()}
frames = info["clip_frames"]

rows = []   # (what, measured, target, ratio text, verdict)
def verdict(ok):
    return "met" if ok else "NOT met"

floor = med.get("MemoryFloor/threads:2/real_time")
lookup = {t: med.get("LookupFloor/threads:%d/real_time" % t) for t in (1, 2)}
def frame(level, pool):
    return med.get("Frame/level:%d/pool:%d/real_time" % (level, pool))
def engine(level, threads, height=1080):
    return med.get("Engine/level:%d/threads:%d/height:%d/real_time" % (level, threads, height))
def mean(values):
    return sum(values) / len(values) if values and all(values) else None
api = [frame(l, 0) for l in range(4)]
pooled = [frame(l, 1) for l in range(4)]
eng2 = [engine(l, 2) for l in range(4)]
eng1 = [engine(l, 1) for l in range(4)]
eng4k = [engine(l, 2, 2160) for l in range(4)]
if floor:
    rows.append(("memory floor, 1 frame, 2 threads", "%.3f ms" % floor, "", "", ""))
for t in (1, 2):
    if lookup[t]:
        rows.append(("lookup floor, 1 frame, %d thread%s" % (t, "s" if t > 1 else ""),
                     "%.3f ms" % lookup[t], "", "", ""))
for l in range(4):
    if eng2[l]:
        rows.append(("engine 1080p level %d, 2 threads (1 thread %s ms)" %
                     (l, "%.3f" % eng1[l] if eng1[l] else "-"), "%.3f ms" % eng2[l], "", "", ""))
lk = lookup[2]
if lk and mean(eng2):
    r = mean(eng2) / lk
    rows.append(("engine, mean of levels 0-3 / lookup floor (2 threads)",
                 "%.3f ms" % mean(eng2), "<= 1.00x", "%.2fx" % r, verdict(r <= 1.0)))
if lk and mean(api):
    r = mean(api) / lk
    rows.append(("TARNO_VideoDenoise (threads per frame), mean / lookup floor",
                 "%.3f ms" % mean(api), "<= 1.50x", "%.2fx" % r, verdict(r <= 1.5)))
if lk and mean(pooled):
    r = mean(pooled) / lk
    rows.append(("TARNO_VideoDenoise on the stripe pool, mean / lookup floor",
                 "%.3f ms" % mean(pooled), "<= 1.20x", "%.2fx" % r, verdict(r <= 1.2)))
if mean(eng1) and mean(eng2):
    r = mean(eng1) / mean(eng2)
    rows.append(("engine scaling: 1 thread / 2 threads (1080p)", "%.3f ms" % mean(eng1),
                 ">= 1.80x", "%.2fx" % r, verdict(r >= 1.8)))
if mean(eng4k) and mean(eng2):
    r = mean(eng4k) / mean(eng2)
    rows.append(("engine 3840x2160 / 1920x1080 (2 threads)", "%.3f ms" % mean(eng4k),
                 "<= 4.20x", "%.2fx" % r, verdict(r <= 4.2)))
ts = med.get("ThreadStart3/real_time")
if ts and mean(api):
    rows.append(("start + join 3 idle threads / TARNO_VideoDenoise frame",
                 "%.1f us" % (ts * 1000), "", "%.1f %%" % (ts / mean(api) * 100), ""))

def fps(key):
    return frames / clip[key] if key in clip else None
vd_levels = [fps("vdenoise_%d" % l) for l in range(4)]
vd = None
if all(vd_levels):
    vd = frames / (sum(clip["vdenoise_%d" % l] for l in range(4)) / 4)
    for l in range(4):
        rows.append(("%s on the clip, level %d" % (info["denoiser"], l),
                     "%.0f fps" % vd_levels[l], "", "", ""))
vdp = None
if all(fps("pool_%d" % l) for l in range(4)):
    vdp = frames / (sum(clip["pool_%d" % l] for l in range(4)) / 4)
    rows.append(("the library on the clip, stripe pool (mean of levels)",
                 "%.0f fps" % vdp, "", "", ""))
for name, target in (("hqdn3d", 5.0), ("atadenoise", 4.0)):
    f = fps("ffmpeg_" + name)
    if f:
        rows.append(("ffmpeg -vf %s, 2 threads" % name, "%.0f fps" % f, "", "", ""))
    if f and vd:
        r = vd / f
        rows.append(("vdenoise (mean of levels) / %s" % name, "%.0f fps" % vd,
                     ">= %.1fx" % target, "%.2fx" % r, verdict(r >= target)))
        if vdp:
            r = vdp / f
            rows.append(("  the same on the stripe pool", "%.0f fps" % vdp,
                         ">= %.1fx" % target, "%.2fx" % r, verdict(r >= target)))
    elif not f:
        rows.append(("vdenoise / ffmpeg %s" % name, "unavailable", ">= %.1fx" % target, "", ""))
for conv in ("NV21ToI420", "I420ToNV21"):
    ours = med.get("Compare/%s/ours" % conv)
    theirs = med.get("Compare/%s/libyuv" % conv)
    if ours and theirs:
        r = ours / theirs
        rows.append(("%s, ours %.1f us / libyuv %.1f us" % (conv, ours * 1e3, theirs * 1e3),
                     "%.1f us" % (ours * 1e3), "<= 1.10x", "%.2fx" % r, verdict(r <= 1.1)))
    else:
        rows.append(("%s vs libyuv" % conv, "unavailable", "<= 1.10x", "", ""))
ours = med.get("Compare/Box3x3/ours")
cv = med.get("Compare/Box3x3/opencv")
if ours and cv:
    r = ours / cv
    rows.append(("BoxFilter3x3 %.0f us / cv::blur 3x3 %.0f us" % (ours * 1e3, cv * 1e3),
                 "%.0f us" % (ours * 1e3), "<= 1.00x", "%.2fx" % r, verdict(r <= 1.0)))
else:
    rows.append(("BoxFilter3x3 vs cv::blur", "unavailable", "<= 1.00x", "", ""))

# Kernels: one row per kernel, one column per variant, time per call.
variants = ["C", "NEON", "SSE2", "AVX2", "entry"]
kern = {}
for name, t in med.items():
    if name.startswith("Kernel/"):
        _, k, v = name.split("/")
        kern.setdefault(k, {})[v] = t
used = [v for v in variants if any(v in d for d in kern.values())]

def text_table(header, body):
    widths = [max(len(str(r[i])) for r in [header] + body) for i in range(len(header))]
    line = lambda r: "  ".join(str(c).ljust(w) for c, w in zip(r, widths)).rstrip()
    return "\n".join([line(header), line(["-" * w for w in widths])] + [line(r) for r in body])

def md_table(header, body):
    out = ["| " + " | ".join(header) + " |", "|" + "---|" * len(header)]
    out += ["| " + " | ".join(str(c) for c in r) + " |" for r in body]
    return "\n".join(out)

head = ["what (medians)", "measured", "target", "ratio", "verdict"]
kh = ["kernel, 1080p sizes (us per call)"] + used + ["best vs C"]
kb = []
for k in sorted(kern):
    d = kern[k]
    cells = ["%.1f" % (d[v] * 1e3) if v in d else "-" for v in used]
    twins = [d[v] for v in ("NEON", "SSE2", "AVX2") if v in d]
    best = "%.1fx" % (d["C"] / min(twins)) if twins and "C" in d else "-"
    kb.append([k] + cells + [best])

with open(notes_file) as f:
    notes = [l.strip() for l in f if l.strip()]
machine = "%s, %s cores; load average %s before, %s after (a shared machine: " \
          "other jobs may have run during the measurement)" % (
              info["cpu"], info["cores"], info["load_before"], info["load_after"])
print()
print("machine: " + machine)
print()
print(text_table(head, [list(r) for r in rows]))
print()
print(text_table(kh, kb))
for n in notes:
    print("note: " + n)
if md_out != "-":
    with open(md_out, "w") as f:
        f.write("# Benchmark results\n\nWritten by `scripts/bench.sh --markdown` "
                "on %s. Medians; ratios against their targets.\n\n" % info["date"])
        f.write("Machine: %s.\n\n" % machine)
        f.write(md_table(head, [list(r) for r in rows]) + "\n\n")
        f.write(md_table(kh, kb) + "\n")
        for n in notes:
            f.write("\nNote: %s\n" % n)
    print("markdown written to " + md_out)
# Chart data: label, milliseconds per 1080p frame.
with open(chart_data, "w") as f:
    if floor:
        f.write('"memory floor" %.4f\n' % floor)
    if lk:
        f.write('"lookup floor (target)" %.4f\n' % lk)
    if mean(eng2):
        f.write('"engine, 2 threads" %.4f\n' % mean(eng2))
    if mean(eng1):
        f.write('"engine, 1 thread" %.4f\n' % mean(eng1))
    if mean(api):
        f.write('"TARNO API" %.4f\n' % mean(api))
    if mean(pooled):
        f.write('"TARNO API, pool" %.4f\n' % mean(pooled))
    if vd:
        f.write('"%s clip" %.4f\n' % (info["denoiser"], 1000.0 / vd))
    for name in ("hqdn3d", "atadenoise"):
        x = fps("ffmpeg_" + name)
        if x:
            f.write('"ffmpeg %s clip" %.4f\n' % (name, 1000.0 / x))
EOF
info=$(printf '{"cpu": "%s", "cores": %s, "load_before": "%s", "load_after": "%s", "clip_frames": %s, "date": "%s", "denoiser": "%s"}' \
  "$cpu" "$cores" "$load_before" "$load_after" "$clip_frames" "$(date -u +%Y-%m-%d)" \
  "$([ "${denoiser[0]}" = tool ] && echo vdenoise || echo vd_clip)")
python3 "$work/table.py" "$work/bench.json" "$times" "$notes" \
  "${markdown:--}" "$work/chart.dat" "$info"

if [ -n "$chart" ]; then
  if command -v gnuplot > /dev/null; then
    gnuplot <<EOF
set terminal pngcairo size 900,480 noenhanced font "sans,10"
set output "$chart"
set title "libVideoDenoise: milliseconds per 1920x1080 frame (medians, 2 cores)"
set style fill solid 0.8 border -1
set boxwidth 0.6
set yrange [0:*]
set ylabel "ms per frame"
set xtics rotate by -30
set grid ytics
unset key
plot "$work/chart.dat" using 0:2:xtic(1) with boxes lc rgb "#3b6ea8", \
     "" using 0:2:(sprintf("%.2f", \$2)) with labels offset 0,0.8
EOF
    echo "chart written to $chart"
  else
    echo "gnuplot is not installed: no chart"
  fi
fi

# ---- ARM: the NEON builds run and give the same bytes ---------------------------
if ((arm)); then
  if [ ! -f "$clip" ]; then
    echo "no clip: the ARM check needs ffmpeg"
  else
    small=$work/clip_3.nv21
    head -c $((1920 * 1080 * 3 / 2 * 3)) "$clip" > "$small"
    "$build/bench/vd_clip" "$small" "$work/native.nv21" 1920 1080 6 400 > /dev/null
    for a in armv7:armv7-linux-gnueabihf:qemu-arm:/usr/arm-linux-gnueabihf \
             aarch64:aarch64-linux-gnu:qemu-aarch64:/usr/aarch64-linux-gnu; do
      IFS=: read -r name toolchain qemu sysroot <<< "$a"
      dir=$build-$name
      if cmake -S "$root" -B "$dir" \
           -DCMAKE_TOOLCHAIN_FILE="$root/cmake/$toolchain.cmake" \
           -DVD_BUILD_BENCH=ON -DVD_BUILD_TESTS=OFF -DVD_BUILD_TOOLS=OFF \
           > "$work/configure_$name.log" 2>&1 &&
         cmake --build "$dir" -j2 --target vd_clip > "$work/build_$name.log" 2>&1 &&
         "$qemu" -L "$sysroot" "$dir/bench/vd_clip" "$small" "$work/$name.nv21" \
           1920 1080 6 400 > /dev/null; then
        if cmp -s "$work/native.nv21" "$work/$name.nv21"; then
          echo "$name NEON build: 3 frames at level 3 under $qemu, same bytes as the native build"
        else
          echo "$name NEON build: output DIFFERS from the native build"
        fi
      else
        echo "$name NEON build: could not be built or run (see $work/*_$name.log)"
        keep=1
      fi
    done
  fi
fi
