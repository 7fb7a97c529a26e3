#ifndef XEM_EXPORT_H
#define XEM_EXPORT_H

/// XEM_EXPORT marks what the shared library shows to a host; everything else stays hidden.
#if defined(_WIN32)
#if defined(XEM_BUILDING_LIBRARY)
#define XEM_EXPORT __declspec(dllexport)
#else
#define XEM_EXPORT __declspec(dllimport)
#endif
#else
#define XEM_EXPORT __attribute__((visibility("default")))
#endif

#endif
