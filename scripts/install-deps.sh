#!/usr/bin/env bash
# Installs, from Debian's packages, whatever the build and tests need and the
# machine does not have yet. Safe to run again.
set -euo pipefail

packages=(
  cmake g++ make pkg-config      # the build
  libgtest-dev googletest        # unit tests (googletest: sources for ARM builds)
  libbenchmark-dev               # Google Benchmark targets
  libpng-dev                     # PNG pictures written by vdenoise
  g++-arm-linux-gnueabihf        # armv7 NEON cross build
  g++-aarch64-linux-gnu          # aarch64 NEON cross build
  qemu-user                      # runs the ARM test binaries
  clang libclang-rt-dev          # libFuzzer targets (scripts/fuzz.sh)
  valgrind                       # memcheck run (scripts/valgrind.sh)
  default-jdk-headless junit4    # Java binding (JNI, javac) and its JUnit tests
  android-liblog-dev             # Android logging branch built and tested on Linux
  python3-dev pybind11-dev       # Python binding (built for Debian's python3)
  python3-numpy python3-pytest   # Python binding tests
  libgstreamer1.0-dev libgstreamer-plugins-base1.0-dev  # GStreamer element
  gstreamer1.0-tools gstreamer1.0-plugins-base          # gst-launch-1.0 element test
)

missing=()
for p in "${packages[@]}"; do
  [[ "$p" == \#* ]] && continue
  dpkg -s "$p" >/dev/null 2>&1 || missing+=("$p")
done

if ((${#missing[@]})); then
  echo "installing: ${missing[*]}"
  SUDO=""
  [ "$(id -u)" -ne 0 ] && SUDO="sudo"
  export DEBIAN_FRONTEND=noninteractive
  $SUDO apt-get update -qq
  $SUDO apt-get install -y -qq --no-install-recommends "${missing[@]}" >/dev/null
fi
