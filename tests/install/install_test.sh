#!/usr/bin/env bash
# Installs a build into a temporary prefix, moves the tree elsewhere (the
# package must be relocatable) and builds three clients against it alone:
#   C with pkg-config (shared), C with pkg-config --static (Libs.private),
#   C++ and C with find_package(VideoDenoise) (shared and static targets).
# Usage: install_test.sh BUILD_DIR WORK_DIR VERSION
set -euo pipefail
build=$1
work=$2
version=$3
here=$(cd "$(dirname "$0")" && pwd)
major=${version%%.*}

fail() { echo "install_test: $*" >&2; exit 1; }

rm -rf "$work"
mkdir -p "$work"
cmake --install "$build" --prefix "$work/staged" >/dev/null
mv "$work/staged" "$work/prefix"
prefix=$work/prefix

pc=$(find "$prefix" -name videodenoise.pc)
[[ -n "$pc" ]] || fail "no videodenoise.pc installed"
libdir=$(cd "$(dirname "$pc")/.." && pwd)

# Libraries: versioned soname and the link chain.
lib=$libdir/libVideoDenoise.so.$version
[[ -f "$lib" ]] || fail "missing $lib"
soname=$(readelf -d "$lib" | sed -n 's/.*Library soname: \[\(.*\)\]/\1/p')
[[ "$soname" == "libVideoDenoise.so.$major" ]] || fail "soname is '$soname'"
[[ "$(readlink "$libdir/libVideoDenoise.so.$major")" == "libVideoDenoise.so.$version" ]] ||
  fail "libVideoDenoise.so.$major does not point at .so.$version"
[[ "$(readlink "$libdir/libVideoDenoise.so")" == "libVideoDenoise.so.$major" ]] ||
  fail "libVideoDenoise.so does not point at .so.$major"
[[ -f "$libdir/libVideoDenoise.a" ]] || fail "missing libVideoDenoise.a"
for h in vdenoise.h video_denoise.h vd_toolbox.h vd_version.h vd_common.h; do
  [[ -f "$prefix/include/videodenoise/api/$h" ]] || fail "missing header api/$h"
done

# The command.
if [[ -x "$prefix/bin/vdenoise" ]]; then
  # Whole outputs first: grep -q would close the pipe early.
  grep -qF "vdenoise $version" <<< "$("$prefix/bin/vdenoise" --version)" ||
    fail "vdenoise --version does not say $version"
  grep -q "Usage:" <<< "$("$prefix/bin/vdenoise" --help)" || fail "vdenoise --help"
fi

# 1. C through pkg-config, shared.
export PKG_CONFIG_PATH=$(dirname "$pc")
[[ "$(pkg-config --modversion videodenoise)" == "$version" ]] ||
  fail "pkg-config --modversion is not $version"
cc=${CC:-cc}
read -ra cflags <<<"$(pkg-config --cflags videodenoise)"
read -ra libs <<<"$(pkg-config --libs videodenoise)"
"$cc" -std=c99 -pedantic -Wall -Wextra -Werror "${cflags[@]}" \
  "$here/client.c" -o "$work/client_pc" "${libs[@]}" -Wl,-rpath,"$libdir"
"$work/client_pc" | grep -qF "$version" || fail "client_pc"
readelf -d "$work/client_pc" | grep -q "NEEDED.*libVideoDenoise.so.$major" ||
  fail "client_pc does not need libVideoDenoise.so.$major"

# 2. C, static, with only what pkg-config --static says.
read -ra static_libs <<<"$(pkg-config --static --libs videodenoise)"
static_libs=("${static_libs[@]/#-lVideoDenoise/-Wl,-Bstatic -lVideoDenoise -Wl,-Bdynamic}")
read -ra static_libs <<<"${static_libs[*]}"
"$cc" -std=c99 "${cflags[@]}" "$here/client.c" -o "$work/client_static_pc" \
  "${static_libs[@]}"
if readelf -d "$work/client_static_pc" | grep -q "NEEDED.*libVideoDenoise"; then
  fail "client_static_pc links the shared library"
fi
"$work/client_static_pc" | grep -qF "$version" || fail "client_static_pc"

# 3. CMake package: a C++ client on the shared target, a C client on the
#    static one.
cmake -S "$here/cmake_client" -B "$work/cmake_client" \
  -DCMAKE_PREFIX_PATH="$prefix" -DCMAKE_BUILD_TYPE=Release >/dev/null
cmake --build "$work/cmake_client" >/dev/null
"$work/cmake_client/client_shared" | grep -qF "$version" || fail "client_shared"
"$work/cmake_client/client_static" | grep -qF "$version" || fail "client_static"
if readelf -d "$work/cmake_client/client_static" | grep -q "NEEDED.*libVideoDenoise"; then
  fail "client_static links the shared library"
fi

echo "install_test: passed ($prefix)"
