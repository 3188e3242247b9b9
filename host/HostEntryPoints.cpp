// The host's published entry points, as the plug-in binds to them at load
// time. The executable that loads the plug-in must export them (link it with
// ENABLE_EXPORTS / -rdynamic). Each forwards to the loaded Module.
#include <cstdarg>
#include <cstdio>
#include <string>

#include "TirnHost.h"

#define TIRNHOST_ENTRY extern "C" __attribute__((visibility("default")))

namespace {

std::string format(const char* pcFormat, va_list args)
{
    if (!pcFormat)
        return "";
    va_list copy;
    va_copy(copy, args);
    const int n = std::vsnprintf(nullptr, 0, pcFormat, copy);
    va_end(copy);
    if (n <= 0)
        return "";
    std::string s(std::size_t(n) + 1, '\0');
    std::vsnprintf(&s[0], s.size(), pcFormat, args);
    s.pop_back();
    return s;
}

// A script error with no module to take it (a plug-in called outside a
// Module's lifetime) still shows.
void raise(const char* pcKind, const char* pcFormat, va_list args)
{
    const std::string message = format(pcFormat, args);
    if (tirnhost::Module* m = tirnhost::Module::current())
        m->raise(pcKind, message);
    else
        std::fprintf(stderr, "script error %s %s\n", pcKind ? pcKind : "", message.c_str());
}

tirnhost::Module& module(const char* pcWhat)
{
    tirnhost::Module* m = tirnhost::Module::current();
    if (!m)
        throw tirnhost::HostError(std::string(pcWhat) + " called with no module loaded");
    return *m;
}

} // namespace

// Raise a script error; the host returns to the caller, which then returns
// its zero result.
TIRNHOST_ENTRY void prog_throw(const char* pcKind, const char* pcFormat, ...)
{
    va_list args;
    va_start(args, pcFormat);
    raise(pcKind, pcFormat, args);
    va_end(args);
}

TIRNHOST_ENTRY void qor_throw(const char* pcKind, const char* pcFormat, ...)
{
    va_list args;
    va_start(args, pcFormat);
    raise(pcKind, pcFormat, args);
    va_end(args);
}

TIRNHOST_ENTRY void qor_typedef(const char* pcName, int (*compatible)(void*, void*),
                                void* (*copy)(void*, void*), void (*free)(void*))
{
    module("qor_typedef").definePinType(pcName, compatible, copy, free);
}

TIRNHOST_ENTRY void qor_typedef_description(const char* pcName, const char* (*describe)(void*))
{
    module("qor_typedef_description").describePinType(pcName, describe);
}

TIRNHOST_ENTRY void qor_typedef_basetype(const char* pcName, const char* pcBase)
{
    module("qor_typedef_basetype").basePinType(pcName, pcBase);
}
