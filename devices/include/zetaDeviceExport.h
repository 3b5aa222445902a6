// Export macros of the three device libraries (board, camera, image).
//
// Each library is its own shared object. Building one defines its *_BUILD macro, so that its
// functions are exported (dllexport on Windows, default visibility elsewhere); users of the
// library see them as imports.
#pragma once

#if defined(_WIN32)
#define ZETA_DEVICE_EXPORT __declspec(dllexport)
#define ZETA_DEVICE_IMPORT __declspec(dllimport)
#else
#define ZETA_DEVICE_EXPORT __attribute__((visibility("default")))
#define ZETA_DEVICE_IMPORT __attribute__((visibility("default")))
#endif

#if defined(ZETA_DLPDEV_BUILD)
#define ZETA_DLPDEV_API ZETA_DEVICE_EXPORT
#else
#define ZETA_DLPDEV_API ZETA_DEVICE_IMPORT
#endif

#if defined(ZETA_CAMERA_BUILD)
#define ZETA_CAMERA_API ZETA_DEVICE_EXPORT
#else
#define ZETA_CAMERA_API ZETA_DEVICE_IMPORT
#endif

#if defined(ZETA_IMAGELOAD_BUILD)
#define ZETA_IMAGELOAD_API ZETA_DEVICE_EXPORT
#else
#define ZETA_IMAGELOAD_API ZETA_DEVICE_IMPORT
#endif
