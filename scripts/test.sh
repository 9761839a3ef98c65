#!/usr/bin/env bash
# Builds and runs every test: natively, then cross-built for armv7 and
# aarch64 and run under qemu, and natively again under AddressSanitizer and
# UndefinedBehaviorSanitizer.
# Usage: scripts/test.sh [native|armv7|aarch64|asan ...]
set -euo pipefail
root=$(cd "$(dirname "$0")/.." && pwd)
bash "$root/scripts/install-deps.sh"

werror=${VD_WERROR:-OFF}
jobs=${VD_JOBS:-2}
targets=("$@")
((${#targets[@]})) || targets=(native armv7 aarch64 asan)

passed=0
failed=0
status=0
for target in "${targets[@]}"; do
  build="$root/build/$target"
  args=(-DVD_WERROR="$werror" -DCMAKE_BUILD_TYPE=Release)
  case "$target" in
    native) ;;
    asan)
      san="-fsanitize=address,undefined -fno-sanitize-recover=all -fno-omit-frame-pointer"
      args+=(-DCMAKE_BUILD_TYPE=RelWithDebInfo "-DCMAKE_C_FLAGS=$san" "-DCMAKE_CXX_FLAGS=$san"
             "-DCMAKE_EXE_LINKER_FLAGS=-fsanitize=address,undefined"
             "-DCMAKE_SHARED_LINKER_FLAGS=-fsanitize=address,undefined") ;;
    armv7) args+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/armv7-linux-gnueabihf.cmake" -DVD_BUILD_TOOLS=OFF) ;;
    aarch64) args+=(-DCMAKE_TOOLCHAIN_FILE="$root/cmake/aarch64-linux-gnu.cmake" -DVD_BUILD_TOOLS=OFF) ;;
    *) echo "unknown target $target" >&2; exit 2 ;;
  esac
  echo "=== $target: configure and build"
  cmake -S "$root" -B "$build" "${args[@]}" >/dev/null
  cmake --build "$build" -j"$jobs"
  echo "=== $target: test"
  log="$build/ctest.log"
  if ! ctest --test-dir "$build" --output-on-failure -j"$jobs" 2>&1 | tee "$log"; then
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
