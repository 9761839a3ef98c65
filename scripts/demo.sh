#!/usr/bin/env bash
# Builds the library and the vdenoise command, then denoises the built-in
# demo clip at every noise level. Extra arguments go to vdenoise.
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"
build="$root/build/native"
cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$build" -j"${VD_JOBS:-2}" --target vdenoise
"$build/tools/vdenoise" --demo "$@"
