# The DLLs every program of the Windows build needs besides the project's own: the MinGW-w64 C++
# runtime (libstdc++, libgcc, winpthreads) and glog. Windows finds a program's DLLs in the
# program's own folder first, so they are copied into the build's bin folder, next to the
# project's DLLs and programs, and installed with them.
find_package(glog REQUIRED CONFIG)
get_target_property(_zeta_glog_dll glog::glog IMPORTED_LOCATION_RELEASE)
if(NOT _zeta_glog_dll)
  get_target_property(_zeta_glog_dll glog::glog IMPORTED_LOCATION)
endif()

set(ZETA_WINDOWS_RUNTIME_DLLS ${_zeta_glog_dll})
foreach(_zeta_dll libstdc++-6.dll libgcc_s_seh-1.dll libwinpthread-1.dll)
  find_file(_zeta_dll_path ${_zeta_dll} PATHS ${ZETA_MINGW_RUNTIME_DIRS} NO_DEFAULT_PATH
            NO_CMAKE_FIND_ROOT_PATH)
  if(NOT _zeta_dll_path)
    message(FATAL_ERROR "the MinGW-w64 runtime DLL ${_zeta_dll} was not found in "
                        "${ZETA_MINGW_RUNTIME_DIRS}")
  endif()
  list(APPEND ZETA_WINDOWS_RUNTIME_DLLS ${_zeta_dll_path})
  unset(_zeta_dll_path CACHE)
endforeach()

file(COPY ${ZETA_WINDOWS_RUNTIME_DLLS} DESTINATION ${CMAKE_BINARY_DIR}/bin)
install(FILES ${ZETA_WINDOWS_RUNTIME_DLLS} DESTINATION ${CMAKE_INSTALL_BINDIR})
