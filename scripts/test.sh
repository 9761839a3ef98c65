#!/usr/bin/env bash
# Builds and runs every test: natively, then cross-built for armv7 and
# aarch64 and run under qemu, natively again under AddressSanitizer and
# UndefinedBehaviorSanitizer (LeakSanitizer included), and the threaded
# tests under ThreadSanitizer.
# Usage: scripts/test.sh [native|armv7|aarch64|asan|tsan|fuzz|soak|valgrind ...]
#   (no argument: all of them, as CI runs it)
#   fuzz      each libFuzzer target for VD_FUZZ_SECONDS (30) seconds
#   soak      VD_SOAK_FRAMES (300) frames of the soak run, memory flat
#   valgrind  VD_VALGRIND_FRAMES (4) 1080p frames under memcheck, both pipelines
#   VD_BUILD_ROOT  build directory root (default: the repository's build/)
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"

werror=${VD_WERROR:-OFF}
jobs=${VD_JOBS:-2}
targets=("$@")
((${#targets[@]})) || targets=(native armv7 aarch64 asan tsan fuzz soak valgrind)
build_root=${VD_BUILD_ROOT:-$root/build}

# The tests that run threads: the frame path, the engine (and its stress test), both
# pipelines, the barrier, the persistent stripe pool, the worker pool, the
# lifecycle, the overlapping-call guards, the engine and eight engine
# denoisers under load.
tsan_tests=(frame_path_test stripe_test stripe_pool_test
            worker_pool_test lifecycle_test misuse_test temporal_pipeline_test
            temporal_stripes_test engine_test engine_stress_test)

# Runs one of the scripts that are not ctest suites; counts as one test.
run_script() {
  local name=$1
  shift
  echo "=== $name"
  local t0=$SECONDS
  if "$@"; then
    passed=$((passed + 1))
    echo "=== $name: passed ($((SECONDS - t0)) s)"
  else
    failed=$((failed + 1))
    status=1
    echo "=== $name: FAILED ($((SECONDS - t0)) s)"
  fi
}

passed=0
failed=0
status=0
for target in "${targets[@]}"; do
  build="$build_root/$target"
  args=(-DVD_WERROR="$werror" -DCMAKE_BUILD_TYPE=Release)
  build_targets=()
  ctest_args=()
  case "$target" in
    fuzz)
      run_script fuzz env VD_BUILD_ROOT="$build_root" VD_WERROR="$werror" \
        bash "$root/scripts/fuzz.sh" "${VD_FUZZ_SECONDS:-30}"
      continue ;;
    soak)
      run_script soak env VD_BUILD_ROOT="$build_root" VD_WERROR="$werror" \
        bash "$root/scripts/soak.sh" "${VD_SOAK_FRAMES:-300}"
      continue ;;
    valgrind)
      run_script valgrind env VD_BUILD_ROOT="$build_root" VD_WERROR="$werror" \
        bash "$root/scripts/valgrind.sh" "${VD_VALGRIND_FRAMES:-4}"
      continue ;;
    native) ;;
    tsan)
      san="-fsanitize=thread -fno-omit-frame-pointer"
      args+=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_C_FLAGS=$san" "-DCMAKE_CXX_FLAGS=$san"
             "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=thread"
             "-DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=thread" -DVD_BUILD_TOOLS=OFF)
      build_targets=("${tsan_tests[@]}")
      ctest_args=(-R "^($(IFS='|'; echo "${tsan_tests[*]}"))\$")
      # Any report fails the test; nothing is suppressed.
      export TSAN_OPTIONS="halt_on_error=1 second_deadlock_stack=1" ;;
    asan)
      san="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
      args+=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_C_FLAGS=$san" "-DCMAKE_CXX_FLAGS=$san"
             "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined"
             "-DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=address,undefined")
      # LeakSanitizer is on by default on Linux; say so, since the
      # allocation-failure tests rely on it.
      export ASAN_OPTIONS="detect_leaks=1" ;;
    armv7) args+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/armv7-linux-gnueabihf.cmake" -DVD_BUILD_TOOLS=OFF) ;;
    aarch64) args+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/aarch64-linux-gnu.cmake" -DVD_BUILD_TOOLS=OFF) ;;
    *) echo "unknown target $target" >&2; exit 2 ;;
  esac
  echo "=== $target: configure and build"
  cmake -S "$root" -B "$build" "${args[@]}" >/dev/null
  if ((${#build_targets[@]})); then
    cmake --build "$build" -j"$jobs" --target "${build_targets[@]}"
  else
    cmake --build "$build" -j"$jobs"
  fi
  echo "=== $target: test"
  log="$build/ctest.log"
  if ! ctest --test-dir "$build" --output-on-failure -j"$jobs" "${ctest_args[@]}" 2>&1 | tee "$log"; then
    status=1
  fi
  summary=$(grep -E "tests passed, [0-9]+ tests? failed out of [0-9]+" "$log" | tail -n 1 || true)
  if [[ "$summary" =~ ([0-9]+)\ tests?\ failed\ out\ of\ ([0-9]+) ]]; then
    f=${BASH_REMATCH[1]}
    t=${BASH_REMATCH[2]}
    passed=$((passed + t - f))
    failed=$((failed + f))
    ((f == 0)) || status=1
  else
    status=1
  fi
done

echo "all: $passed passed, $failed failed"
exit $status
