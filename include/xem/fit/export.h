#ifndef XEM_FIT_EXPORT_H
#define XEM_FIT_EXPORT_H

/// XEM_FIT_EXPORT marks what the fit library shows.
#if defined(_WIN32)
#if defined(XEM_BUILDING_FIT_LIBRARY)
#define XEM_FIT_EXPORT __declspec(dllexport)
#else
#define XEM_FIT_EXPORT __declspec(dllimport)
#endif
#else
#define XEM_FIT_EXPORT __attribute__((visibility("default")))
#endif

#endif
