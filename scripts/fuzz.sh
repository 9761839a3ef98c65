#!/usr/bin/env bash
# Builds the libFuzzer targets (clang, with AddressSanitizer and
# UndefinedBehaviorSanitizer on the library too) and runs each for a given
# time, starting from the seed corpus kept in fuzz/corpus/<target>/.
# New inputs go to a scratch corpus under the build directory; the seeds in
# the repository are only read. A crash stops that target, keeps the input
# (crash-* in the work directory) and makes the script fail.
# Usage: scripts/fuzz.sh [seconds per target] [target ...]
#   VD_FUZZ_JOBS=2   run two targets at a time
#   VD_BUILD_ROOT    where build/fuzz goes (default: the repository's build/)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
seconds=${1:-30}
shift || true
targets=("$@")
((${#targets[@]})) || targets=(config_fuzzer api_fuzzer kernel_fuzzer engine_fuzzer y4m_fuzzer)
jobs=${VD_FUZZ_JOBS:-1}
build="${VD_BUILD_ROOT:-$root/build}/fuzz"
work="$build/runs"

flags="-fsanitize=fuzzer-no-link,address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer -g"
CC=clang CXX=clang++ cmake -S "$root" -B "$build" -DCMAKE_BUILD_TYPE=Release \
  -DVD_BUILD_FUZZ=ON -DVD_BUILD_TESTS=OFF -DVD_BUILD_TOOLS=OFF \
  -DVD_WERROR="${VD_WERROR:-OFF}" "-DCMAKE_C_FLAGS=$flags" \
  "-DCMAKE_CXX_FLAGS=$flags" >/dev/null
status=0
available=()
for t in "${targets[@]}"; do
  if cmake --build "$build" -j"${VD_JOBS:-2}" --target "$t" >"$build/$t.build.log" 2>&1; then
    available+=("$t")
  elif [[ "$t" == y4m_fuzzer && ! -f "$root/tools/y4m.cpp" ]]; then
    echo "=== $t: skipped (tools/y4m.cpp is not there)"
  else
    # A target that does not build fails the run; the others still run.
    grep -E 'error' "$build/$t.build.log" | head -n 20
    echo "$t: FAILED to build (log: $build/$t.build.log)"
    status=1
  fi
done

run_one() {
  local t=$1 dir="$work/$t"
  mkdir -p "$dir/corpus"
  local args=(-max_total_time="$seconds" -print_final_stats=1 -rss_limit_mb=2560
              -timeout=60 -artifact_prefix="$dir/")
  local name=${t%_fuzzer}
  [[ -f "$root/fuzz/$name.dict" ]] && args+=(-dict="$root/fuzz/$name.dict")
  "$build/fuzz/$t" "${args[@]}" "$dir/corpus" "$root/fuzz/corpus/$name" \
    >"$dir/log" 2>&1
}

pids=()
names=()
for t in "${available[@]}"; do
  echo "=== $t: ${seconds}s"
  run_one "$t" &
  pids+=($!)
  names+=("$t")
  if ((${#pids[@]} >= jobs)); then
    wait "${pids[0]}" || true
    pids=("${pids[@]:1}")
  fi
done
wait || true

for t in "${names[@]}"; do
  log="$work/$t/log"
  execs=$(grep -o 'stat::number_of_executed_units: [0-9]*' "$log" | awk '{print $2}' | tail -n 1 || true)
  line=$(grep -E '^#[0-9]+[[:space:]]+(DONE|pulse|NEW|REDUCE|INITED)' "$log" | tail -n 1 || true)
  cov=$(grep -o 'cov: [0-9]*' <<<"$line" | awk '{print $2}' || true)
  ft=$(grep -o 'ft: [0-9]*' <<<"$line" | awk '{print $2}' || true)
  if grep -qE '^==[0-9]+== ?ERROR|^SUMMARY: |deadly signal|runtime error' "$log"; then
    echo "$t: FAILED after ${execs:-?} executions; log and input in $work/$t/"
    grep -E 'ERROR|runtime error|SUMMARY|Test unit written' "$log" | head -n 8
    status=1
  else
    echo "$t: ${execs:-?} executions, cov ${cov:-?}, ft ${ft:-?}"
  fi
done
exit $status
