#!/usr/bin/env bash
# Quality benchmark of the adaptive method against ffmpeg's hqdn3d,
# atadenoise (each tuned per clip and strength by a sweep against the clean
# clip) and nlmeans (p=3, r=7, strength swept), on clips made from pictures of
# Debian's mate-backgrounds package with camera-like noise at three
# strengths. Prints one table (PSNR-Y, PSNR-UV, SSIM-Y as ffmpeg's ssim
# filter computes it, PSNR-Y over moving pixels, frames per second at 1080p
# with 2 threads) and the margins of the adaptive method over the best peer,
# and writes a quality-versus-speed plot.
# Usage: scripts/quality.sh [CLIP ...]   (still handheld pan1080; default all)
#   VD_QUALITY_DIR  work directory (default build/quality); clips are kept
#   VD_BUILD_ROOT   build directory root (default build/)
# Not part of CI: it installs what it needs itself.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
build_root=${VD_BUILD_ROOT:-$root/build}
build=$build_root/quality-build
work=${VD_QUALITY_DIR:-$build_root/quality}

# ffmpeg: the peers, the clips and SSIM; numpy: noise and scores; matplotlib:
# the plot; mate-backgrounds: the pictures the clips are made of.
packages=(ffmpeg python3-numpy python3-matplotlib mate-backgrounds)
missing=()
for p in "${packages[@]}"; do
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done
if ((${#missing[@]})); then
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
bash "$root/scripts/install-deps.sh"

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVD_BUILD_BENCH=ON \
  -DVD_BUILD_TESTS=OFF >/dev/null
cmake --build "$build" -j2 --target vd_adaptive_clip >/dev/null
cmake --build "$build" -j2 --target vdenoise >/dev/null 2>&1 || true

# Prefer vdenoise when it has the adaptive method; otherwise the clip driver.
vdenoise=$build/tools/vdenoise
fuzzy=-
if [ -x "$vdenoise" ]; then
  help=$("$vdenoise" --help 2>&1 || true)
  threads=""
  grep -q -- "--threads" <<<"$help" && threads="--threads {threads}"
  fuzzy="$vdenoise -q $threads {in} {out}"
  if grep -q -- "--method" <<<"$help" && grep -q "adaptive" <<<"$help"; then
    adaptive="$vdenoise -q --method adaptive $threads {in} {out}"
  fi
fi
adaptive=${adaptive:-"$build/bench/vd_adaptive_clip {in} {out} {threads}"}
echo "adaptive: $adaptive" >&2
echo "fuzzy: $fuzzy" >&2

/usr/bin/python3 "$root/scripts/quality/run.py" "$work" "$adaptive" "$fuzzy" "$@"
