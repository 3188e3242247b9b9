// The host application's entry points that the plug-in calls. They are not
// defined anywhere in the plug-in: the module leaves them undefined and the
// dynamic linker binds them to the host's own definitions when the host
// loads it. Every entry point is declared here and nowhere else (the
// exported-symbol test reads the TIRN_HOST_API lines of this file).
#ifndef HOSTINTERFACE_H
#define HOSTINTERFACE_H

#define TIRN_HOST_API extern "C"

// Pin-type callbacks, as the host stores them.
typedef int (*TirnCompatibleFn)(void* pA, void* pB);
typedef void* (*TirnCopyFn)(void* pTarget, void* pSource);
typedef void (*TirnFreeFn)(void* p);
typedef const char* (*TirnDescribeFn)(void* p);

// Raises a script error of the given kind with a printf-style message. The
// host may return from it; callers then return a zero or null result.
TIRN_HOST_API void prog_throw(const char* pcKind, const char* pcFormat, ...)
    __attribute__((format(printf, 2, 3)));

// Registers a pin type; three nulls unregister it.
TIRN_HOST_API void qor_typedef(const char* pcName, TirnCompatibleFn pfCompatible,
                               TirnCopyFn pfCopy, TirnFreeFn pfFree);
TIRN_HOST_API void qor_typedef_description(const char* pcName, TirnDescribeFn pfDescribe);
TIRN_HOST_API void qor_typedef_basetype(const char* pcName, const char* pcBaseName);

#endif
