# Cross build for Windows x86-64 with Debian's MinGW-w64 (POSIX threads model: std::thread and
# std::mutex need it), tested under Wine. The libraries the build links (glog, GoogleTest, the
# header-only ones) are built or copied for Windows by scripts/install-windows-deps.sh into
# build/windows-deps/prefix of the source tree.
set(CMAKE_SYSTEM_NAME Windows)
set(CMAKE_SYSTEM_PROCESSOR x86_64)

set(ZETA_MINGW_TRIPLE x86_64-w64-mingw32)
set(CMAKE_C_COMPILER ${ZETA_MINGW_TRIPLE}-gcc-posix)
set(CMAKE_CXX_COMPILER ${ZETA_MINGW_TRIPLE}-g++-posix)
set(CMAKE_RC_COMPILER ${ZETA_MINGW_TRIPLE}-windres)

get_filename_component(ZETA_WINDOWS_DEPS_PREFIX
  "${CMAKE_CURRENT_LIST_DIR}/../build/windows-deps/prefix" ABSOLUTE)

# Libraries and headers come from the MinGW-w64 sysroot and the prefix only, never from the
# Linux system; programs (the code generators of the build) from the build machine.
set(CMAKE_FIND_ROOT_PATH /usr/${ZETA_MINGW_TRIPLE} ${ZETA_WINDOWS_DEPS_PREFIX})
set(CMAKE_FIND_ROOT_PATH_MODE_PROGRAM NEVER)
set(CMAKE_FIND_ROOT_PATH_MODE_LIBRARY ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_INCLUDE ONLY)
set(CMAKE_FIND_ROOT_PATH_MODE_PACKAGE ONLY)
set(ENV{PKG_CONFIG_LIBDIR} "${ZETA_WINDOWS_DEPS_PREFIX}/lib/pkgconfig")
set(ENV{PKG_CONFIG_SYSROOT_DIR} "")

# The test programs run under Wine, in a prefix of the build tree (scripts/wine-run.sh).
get_filename_component(ZETA_WINE_RUN "${CMAKE_CURRENT_LIST_DIR}/../scripts/wine-run.sh" ABSOLUTE)
set(CMAKE_CROSSCOMPILING_EMULATOR ${ZETA_WINE_RUN})

# Where the MinGW-w64 runtime DLLs are, so that the build copies them next to its programs.
file(GLOB ZETA_MINGW_RUNTIME_DIRS LIST_DIRECTORIES true /usr/lib/gcc/${ZETA_MINGW_TRIPLE}/*-posix)
list(APPEND ZETA_MINGW_RUNTIME_DIRS /usr/${ZETA_MINGW_TRIPLE}/lib)
