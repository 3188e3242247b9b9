// Switch between the fast drivers and the straightforward transcriptions
// they are tested against.
#ifndef REFERENCEPATH_H
#define REFERENCEPATH_H

#include <cstdlib>
#include <cstring>

namespace tirn {

// TIRN_REFERENCE set to anything but "" or "0" forces every filter onto its
// reference path. Read at each call so tests can flip it.
inline bool referencePathForced()
{
    const char* pcValue = std::getenv("TIRN_REFERENCE");
    return pcValue && *pcValue && std::strcmp(pcValue, "0") != 0;
}

} // namespace tirn

#endif
