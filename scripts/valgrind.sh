#!/usr/bin/env bash
# valgrind memcheck over a short 1080p sequence, half of it through each
# pipeline (the soak program's --fixed plan), then Deinit: any memcheck
# error, or any byte definitely or indirectly lost at exit, fails the run.
# Usage: scripts/valgrind.sh [frames (default 12)]
#   VD_BUILD_ROOT   where build/valgrind goes (default: the repository's build/)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
frames=${1:-12}
build="${VD_BUILD_ROOT:-$root/build}/valgrind"

command -v valgrind >/dev/null || bash "$root/scripts/install-deps.sh"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=RelWithDebInfo \
  -DVD_BUILD_TESTS=OFF -DVD_BUILD_TOOLS=OFF -DVD_WERROR="${VD_WERROR:-OFF}" >/dev/null
cmake --build "$build" -j"${VD_JOBS:-2}" --target VideoDenoiseStatic >/dev/null
${CXX:-c++} -std=c++17 -O1 -g -Wall -Wextra -I"$root" \
  "$root/tests/soak_main.cpp" "$build/libVideoDenoise.a" -pthread -lm \
  -o "$build/soak_main"

log="$build/memcheck.log"
status=0
valgrind --tool=memcheck --error-exitcode=99 --leak-check=full \
  --show-leak-kinds=definite,indirect --errors-for-leak-kinds=definite,indirect \
  --track-origins=yes --log-file="$log" \
  "$build/soak_main" --fixed --frames "$frames" --every "$frames" || status=$?
grep -E "ERROR SUMMARY|definitely lost|indirectly lost|All heap blocks were freed|in use at exit" "$log" || true
if ((status != 0)); then
  echo "valgrind: FAILED (exit $status), see $log"
  cat "$log" | head -n 60
  exit 1
fi
echo "valgrind: $frames frames at 1920x1080 (both pipelines): clean"
