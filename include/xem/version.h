#ifndef XEM_VERSION_H
#define XEM_VERSION_H

/// The version of the headers. The build takes the project's version from here.
#define XEM_VERSION "1.0.0"
#define XEM_VERSION_MAJOR 1
#define XEM_VERSION_MINOR 0
#define XEM_VERSION_PATCH 0

#endif
