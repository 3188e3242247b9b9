// Always-on assertions. The library's assertions are part of its behaviour
// (programming errors end the process with the quoted condition), so they
// must not vanish when a Release build defines NDEBUG.
#ifndef TIRN_ASSERT_H
#define TIRN_ASSERT_H

namespace tirn {

// Prints "<file>:<line>: <function>: Assertion `<condition>' failed." on
// standard error, as assert() does, and aborts.
[[noreturn]] void assertFailed(const char* pcCondition, const char* pcFile,
                               int iLine, const char* pcFunction);

constexpr const char* baseName(const char* pcPath)
{
    const char* pcBase = pcPath;
    for (const char* p = pcPath; *p; ++p)
        if (*p == '/')
            pcBase = p + 1;
    return pcBase;
}

} // namespace tirn

// The condition is quoted as written, so write it the way the message must
// read (e.g. "pSrc!=__null").
#define TIRN_ASSERT(cond)                                                     \
    ((cond) ? static_cast<void>(0)                                            \
            : ::tirn::assertFailed(#cond, ::tirn::baseName(__FILE__),         \
                                   __LINE__, __PRETTY_FUNCTION__))

// For checks whose reported place is fixed by the system's documented
// messages rather than by where the check happens to stand in our sources.
#define TIRN_ASSERT_AT(cond, file, line)                                      \
    ((cond) ? static_cast<void>(0)                                            \
            : ::tirn::assertFailed(#cond, file, line, __PRETTY_FUNCTION__))

#endif
