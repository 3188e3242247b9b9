// The switch that makes every filter with a fast path run its straightforward
// transcription instead. Tests run both paths and compare them bit for bit.
#ifndef FILTERS_REFERENCEPATH_H
#define FILTERS_REFERENCEPATH_H

#include <cstdlib>
#include <cstring>

namespace tirn {

// TIRN_REFERENCE=1 in the environment selects the reference path. Read at
// every call so that a test can switch within one process.
inline bool useReferencePath()
{
    const char* pcValue = std::getenv("TIRN_REFERENCE");
    return pcValue && std::strcmp(pcValue, "1") == 0;
}

} // namespace tirn

#endif
