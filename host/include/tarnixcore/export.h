// Which symbols the shared libraries export. `tarnixcore` is built with hidden visibility; its interface is marked with
// TARNIX_API. A plug-in marks its exports with TARNIX_EXPORT.
#pragma once

#if defined(_WIN32)
#define TARNIX_EXPORT __declspec(dllexport)
#define TARNIX_IMPORT __declspec(dllimport)
#else
#define TARNIX_EXPORT __attribute__((visibility("default")))
#define TARNIX_IMPORT __attribute__((visibility("default")))
#endif

#if defined(TARNIXCORE_BUILD)
#define TARNIX_API TARNIX_EXPORT
#else
#define TARNIX_API TARNIX_IMPORT
#endif
