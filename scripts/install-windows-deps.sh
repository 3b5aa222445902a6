#!/usr/bin/env bash
# Everything the Windows x86-64 cross build needs, on a Debian 12 machine:
#
# - Debian's MinGW-w64 compiler (POSIX threads model, for std::thread) and Wine, with apt-get;
# - glog, built for Windows from Debian's own source package (the version the Linux build uses),
#   as a DLL without gflags and libunwind;
# - GoogleTest and GoogleMock, built for Windows from Debian's /usr/src/googletest;
# - the header-only libraries (nlohmann-json, CLI11, stb) copied from Debian's packages, with
#   their CMake package files, and stb's implementation compiled from Debian's stb headers.
#
# Usage: install-windows-deps.sh DEPS_DIR TOOLCHAIN_FILE  (DEPS_DIR: the folder the toolchain file
# names, build/windows-deps)
#
# Everything lands under DEPS_DIR (build/windows-deps): prefix/ is what the build uses, the rest
# is the download and the build trees. Each part is stamped with the Debian version it was made
# from, so a second run downloads and builds nothing. The source package is fetched through a
# private source list under DEPS_DIR/apt: the machine's own apt lists and sources are not touched.
set -euo pipefail

deps_dir=$(realpath -m "$1")
toolchain=$(realpath "$2")
prefix="$deps_dir/prefix"
mkdir -p "$prefix"

run_root() {
  if [ "$(id -u)" -ne 0 ]; then sudo "$@"; else "$@"; fi
}

# --- Debian packages -----------------------------------------------------------------------------
packages=(g++-mingw-w64-x86-64-posix wine64 wine dpkg-dev libgoogle-glog-dev googletest
          nlohmann-json3-dev libcli11-dev libstb-dev cmake ninja-build)
missing=()
for p in "${packages[@]}"; do
  if ! dpkg-query -W -f='${Status}' "$p" 2>/dev/null | grep -q 'install ok installed'; then
    missing+=("$p")
  fi
done
if [ ${#missing[@]} -gt 0 ]; then
  echo "install-windows-deps: installing ${missing[*]}"
  export DEBIAN_FRONTEND=noninteractive
  run_root apt-get update -qq
  run_root apt-get install -y -qq --no-install-recommends "${missing[@]}"
fi

version_of() {
  dpkg-query -W -f='${Version}' "$1"
}

# A part is rebuilt only when its stamp does not name the Debian version it was made from.
is_current() {
  [ -f "$deps_dir/$1.stamp" ] && [ "$(cat "$deps_dir/$1.stamp")" = "$2" ]
}
stamp() {
  echo "$2" > "$deps_dir/$1.stamp"
}

cross_cmake=(cmake -G Ninja -DCMAKE_TOOLCHAIN_FILE="$toolchain" -DCMAKE_BUILD_TYPE=Release
             -DCMAKE_INSTALL_PREFIX="$prefix")

# --- Header-only libraries -----------------------------------------------------------------------
headers_version="nlohmann-json3-dev $(version_of nlohmann-json3-dev);"
headers_version+=" libcli11-dev $(version_of libcli11-dev); libstb-dev $(version_of libstb-dev)"
if ! is_current headers "$headers_version"; then
  echo "install-windows-deps: copying the header-only libraries"
  mkdir -p "$prefix/include" "$prefix/share/cmake" "$prefix/lib/pkgconfig"
  # Copies, not -I/usr/include: the cross compiler must not see the Linux system headers.
  rm -rf "$prefix/include/nlohmann" "$prefix/include/CLI" "$prefix/include/stb"
  cp -a /usr/include/nlohmann /usr/include/CLI /usr/include/stb "$prefix/include/"
  rm -rf "$prefix/share/cmake/nlohmann_json" "$prefix/share/cmake/CLI11"
  cp -a /usr/share/cmake/nlohmann_json /usr/share/cmake/CLI11 "$prefix/share/cmake/"
  # Debian's libstb is the headers' implementation compiled once; the same, for Windows.
  mkdir -p "$deps_dir/stb"
  cat > "$deps_dir/stb/stb.c" <<'EOF'
#define STB_IMAGE_IMPLEMENTATION
#define STB_IMAGE_WRITE_IMPLEMENTATION
#include <stb/stb_image.h>
#include <stb/stb_image_write.h>
EOF
  x86_64-w64-mingw32-gcc-posix -O2 -I"$prefix/include" -c "$deps_dir/stb/stb.c" \
    -o "$deps_dir/stb/stb.o"
  x86_64-w64-mingw32-ar rcs "$prefix/lib/libstb.a" "$deps_dir/stb/stb.o"
  cat > "$prefix/lib/pkgconfig/stb.pc" <<EOF
prefix=$prefix
libdir=\${prefix}/lib
includedir=\${prefix}/include/stb

Name: stb
Description: single-file image libraries (Debian's stb headers, built for Windows)
Version: 0.0
Libs: -L\${libdir} -lstb
Cflags: -I\${includedir} -I\${prefix}/include
EOF
  stamp headers "$headers_version"
fi

# --- glog from Debian's source package -----------------------------------------------------------
glog_version=$(version_of libgoogle-glog-dev)
if ! is_current glog "$glog_version"; then
  echo "install-windows-deps: glog $glog_version from Debian's source package"
  apt_dir="$deps_dir/apt"
  mkdir -p "$apt_dir/lists/partial" "$apt_dir/cache/archives/partial" "$apt_dir/etc"
  # The machine's own deb lines name its mirrors; the same mirrors' deb-src lines, privately.
  cat > "$apt_dir/etc/sources.list" <<'EOF'
deb-src http://deb.debian.org/debian bookworm main
deb-src http://deb.debian.org/debian bookworm-updates main
deb-src http://deb.debian.org/debian-security bookworm-security main
EOF
  apt_private=(-o Dir::Etc::SourceList="$apt_dir/etc/sources.list"
               -o Dir::Etc::SourceParts=/nonexistent
               -o Dir::State::Lists="$apt_dir/lists"
               -o Dir::Cache="$apt_dir/cache"
               -o APT::Sandbox::User=root)
  apt-get "${apt_private[@]}" update -qq
  rm -rf "$deps_dir/glog-src"
  mkdir -p "$deps_dir/glog-src"
  (cd "$deps_dir/glog-src" && apt-get "${apt_private[@]}" source -qq "google-glog=$glog_version")
  glog_src=$(find "$deps_dir/glog-src" -mindepth 1 -maxdepth 1 -type d -name 'google-glog-*' | head -1)
  rm -rf "$deps_dir/glog-build"
  "${cross_cmake[@]}" -S "$glog_src" -B "$deps_dir/glog-build" \
    -DBUILD_SHARED_LIBS=ON -DWITH_GFLAGS=OFF -DWITH_UNWIND=OFF -DWITH_GTEST=OFF \
    -DBUILD_TESTING=OFF -DWITH_PKGCONFIG=OFF
  cmake --build "$deps_dir/glog-build"
  cmake --install "$deps_dir/glog-build"
  stamp glog "$glog_version"
fi

# --- GoogleTest from /usr/src/googletest ---------------------------------------------------------
gtest_version=$(version_of googletest)
if ! is_current gtest "$gtest_version"; then
  echo "install-windows-deps: GoogleTest $gtest_version from /usr/src/googletest"
  rm -rf "$deps_dir/gtest-build"
  "${cross_cmake[@]}" -S /usr/src/googletest -B "$deps_dir/gtest-build" \
    -DBUILD_SHARED_LIBS=OFF -Dgtest_disable_pthreads=OFF
  cmake --build "$deps_dir/gtest-build"
  cmake --install "$deps_dir/gtest-build"
  stamp gtest "$gtest_version"
fi

# --- The Wine prefix the tests run in ------------------------------------------------------------
# Made once (wineboot takes a while), kept with the other dependencies; scripts/wine-run.sh uses it.
wine_version=$(version_of wine64)
if ! is_current wine "$wine_version" || [ ! -f "$deps_dir/wine/system.reg" ]; then
  echo "install-windows-deps: a Wine prefix for the tests ($wine_version)"
  rm -rf "$deps_dir/wine"
  WINEPREFIX="$deps_dir/wine" "$(dirname "$0")/wine-run.sh" wineboot --init > /dev/null 2>&1 || true
  WINEPREFIX="$deps_dir/wine" wineserver -w
  [ -f "$deps_dir/wine/system.reg" ] || { echo "install-windows-deps: wineboot failed" >&2; exit 1; }
  stamp wine "$wine_version"
fi
