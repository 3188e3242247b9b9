#include "image/TirnAssert.h"

#include <cstdio>
#include <cstdlib>

namespace tirn {

void assertFailed(const char* pcCondition, const char* pcFile, int iLine,
                  const char* pcFunction)
{
    std::fflush(stdout);
    std::fprintf(stderr, "%s:%d: %s: Assertion `%s' failed.\n", pcFile, iLine,
                 pcFunction, pcCondition);
    std::fflush(stderr);
    std::abort();
}

} // namespace tirn
