#!/usr/bin/env bash
# Soak run: thousands of 1080p-instance frames with random type/ISO changes,
# frame sizes changing within the creation size and pipeline switches; the
# resident set is printed every 500 frames (every 50 for short runs) and
# must stay flat. Then as many frames through the engine API, a new denoiser
# (method, threads, size) every 250 frames (50 for short runs), the resident
# set sampled between denoisers. Not a unit test: CI runs a short version.
# Usage: scripts/soak.sh [frames (default 10000)] [extra soak_main options]
#   VD_BUILD_ROOT   where build/soak goes (default: the repository's build/)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
frames=${1:-10000}
shift || true
build="${VD_BUILD_ROOT:-$root/build}/soak"
every=500
((frames >= 2000)) || every=50

cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release -DVD_BUILD_TESTS=OFF \
  -DVD_BUILD_TOOLS=OFF -DVD_WERROR="${VD_WERROR:-OFF}" >/dev/null
cmake --build "$build" -j"${VD_JOBS:-2}" --target VideoDenoiseStatic >/dev/null
werror=()
[[ "${VD_WERROR:-OFF}" == ON ]] && werror=(-Werror)
${CXX:-c++} -std=c++17 -O2 -g -Wall -Wextra "${werror[@]}" -I"$root" \
  "$root/tests/soak_main.cpp" "$build/libVideoDenoise.a" -pthread -lm \
  -o "$build/soak_main"
"$build/soak_main" --frames "$frames" --every "$every" "$@"
${CXX:-c++} -std=c++17 -O2 -g -Wall -Wextra "${werror[@]}" -I"$root" \
  "$root/tests/engine_soak_main.cpp" "$build/libVideoDenoise.a" -pthread -lm \
  -o "$build/engine_soak_main"
cycle=250
((frames >= 2000)) || cycle=50
"$build/engine_soak_main" --frames "$frames" --every "$((2 * cycle))" \
  --cycle "$cycle"
