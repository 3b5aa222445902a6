#!/usr/bin/env bash
# The installed package, from a host developer's side:
#   1. `cmake --install` the build into a fresh prefix and check the files it installs;
#   2. build examples/host with find_package(zetaVoroSync) and run it;
#   3. move the prefix elsewhere (the installed tree must be relocatable), build the same main.cpp
#      with pkg-config and run it, then run the installed zetavoro;
#   4. check that docs/getting-started.md shows examples/host verbatim.
# Everything happens in a temporary folder that is removed at the end. The source tree is only
# read; of the build tree `cmake --install` writes its install_manifest.txt, nothing else.
#
# usage: install_and_build.sh BUILD_DIR SOURCE_DIR LIBDIR CMAKE GENERATOR CXX
set -euo pipefail

build=$1 source=$2 libdir=$3 cmake=$4 generator=$5 cxx=$6

work=$(mktemp -d "${TMPDIR:-/tmp}/zeta-package.XXXXXX")
trap 'rm -rf "$work"' EXIT
prefix=$work/prefix

fail() {
    echo "FAILED: $*" >&2
    exit 1
}

# Runs a program of the package on the virtual scanner's default rig, with nothing of the caller's
# environment deciding where the libraries or the rig come from. Output goes to $work/<name>.out
# and .err; a failing program shows both.
run() {
    local name=$1
    shift
    local status=0
    env -u LD_LIBRARY_PATH -u ZETA_SIM_RIG -u ZETA_SIM_JOURNAL -u ZETA_SIM_JOURNAL_FRAMES \
        TMPDIR="$work" "$@" >"$work/$name.out" 2>"$work/$name.err" || status=$?
    if [ "$status" -ne 0 ]; then
        cat "$work/$name.out" "$work/$name.err" >&2
        fail "$name exited with status $status (output above)"
    fi
}

expect_line() {
    local name=$1 line=$2
    grep -qxF -- "$line" "$work/$name.out" ||
        { cat "$work/$name.out" >&2; fail "$name did not print \"$line\" (its output above)"; }
}

# --- 1. install --------------------------------------------------------------------------------
"$cmake" --install "$build" --prefix "$prefix" >"$work/install.log" ||
    { cat "$work/install.log" >&2; fail "cmake --install"; }

for f in include/zetaVoroSync/zetaVoroSync.h include/zetaDeviceExport.h include/zetaVoroDLPdev.h \
    include/zetaCamera.h include/zetaImageLoad.h include/zetaVoroSim/SimControl.h \
    "$libdir/cmake/zetaVoroSync/zetaVoroSyncConfig.cmake" \
    "$libdir/cmake/zetaVoroSync/zetaVoroSyncConfigVersion.cmake" \
    "$libdir/cmake/zetaVoroSync/zetaVoroSyncTargets.cmake" "$libdir/pkgconfig/zetaVoroSync.pc"; do
    [ -f "$prefix/$f" ] || fail "not installed: $f"
done

# Exactly these programs and libraries: a test or benchmark program here would be a defect.
actual=$(cd "$prefix" && find bin "$libdir" -maxdepth 1 ! -type d -printf '%p\n' | LC_ALL=C sort)
expected=$(LC_ALL=C sort <<EOF
bin/zetavoro
$libdir/libzetaCamera.so
$libdir/libzetaImageLoad.so
$libdir/libzetaVoroDLPdev.so
$libdir/libzetaVoroSim.so
$libdir/libzetaVoroSync.so
$libdir/libzetaVoroSync.so.1
$libdir/libzetaVoroSync.so.$(sed -n 's/^Version: //p' "$prefix/$libdir/pkgconfig/zetaVoroSync.pc")
EOF
)
[ "$actual" = "$expected" ] ||
    fail "installed programs and libraries differ; expected:"$'\n'"$expected"$'\n'"found:"$'\n'"$actual"

# Installed binaries find the libraries next to them, never in the build tree.
for f in $actual; do
    [ -L "$prefix/$f" ] && continue
    runpath=$(readelf -d "$prefix/$f" | sed -n 's/.*(RUNPATH).*\[\(.*\)\]$/\1/p')
    [ "$runpath" = "\$ORIGIN/../$libdir" ] || fail "$f has the run path \"$runpath\""
done

# --- 2. the example host, with find_package ------------------------------------------------------
"$cmake" -S "$source/examples/host" -B "$work/host-cmake" -G "$generator" \
    -DCMAKE_CXX_COMPILER="$cxx" -DCMAKE_PREFIX_PATH="$prefix" >"$work/configure.log" 2>&1 ||
    { cat "$work/configure.log" >&2; fail "configuring examples/host"; }
grep -qxF "zetaVoroSync_DIR:PATH=$prefix/$libdir/cmake/zetaVoroSync" "$work/host-cmake/CMakeCache.txt" ||
    fail "examples/host found a zetaVoroSync other than the one in $prefix"
"$cmake" --build "$work/host-cmake" >"$work/build.log" 2>&1 ||
    { cat "$work/build.log" >&2; fail "building examples/host"; }
run host-cmake "$work/host-cmake/host"
expect_line host-cmake "30 images of 1280 x 1024"

# --- 3. moved elsewhere: pkg-config and zetavoro -------------------------------------------------
# Nothing may depend on the prefix the tree was installed to: the .pc file finds the prefix from
# its own folder, the installed libraries and zetavoro use $ORIGIN.
moved=$work/moved
mv "$prefix" "$moved"

# pkg-config's flags carry -Wl,-rpath,<libdir>, so the program finds the libraries without
# LD_LIBRARY_PATH (which run() clears to prove it).
flags=$(PKG_CONFIG_PATH="$moved/$libdir/pkgconfig" pkg-config --cflags --libs zetaVoroSync) ||
    fail "pkg-config zetaVoroSync"
# shellcheck disable=SC2086 # the flags are words
"$cxx" -std=c++20 "$source/examples/host/main.cpp" $flags -o "$work/host-pkg-config" ||
    fail "building examples/host/main.cpp with pkg-config"
run host-pkg-config "$work/host-pkg-config"
expect_line host-pkg-config "30 images of 1280 x 1024"

run zetavoro-list "$moved/bin/zetavoro" list --log-dir "$work/zetavoro-log"
expect_line zetavoro-list "cameras of type ZV: 3"

# --- 4. the guide shows the tested code ----------------------------------------------------------
guide=$(<"$source/docs/getting-started.md")
for f in main.cpp CMakeLists.txt; do
    code=$(<"$source/examples/host/$f")
    [[ "$guide" == *"$code"* ]] ||
        fail "docs/getting-started.md does not show examples/host/$f verbatim"
done

echo "package: installed, checked, example host built with CMake and pkg-config and run, zetavoro run"
