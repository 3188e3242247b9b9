// Checks and conversions of the CImage wrappers' arguments that go beyond
// reading a value: caller buffers and arrays, and a second image.
#ifndef CIMAGEARGS_H
#define CIMAGEARGS_H

#include <cstdint>
#include <cstring>

#include "binding/TirnDispatch.h"

namespace tirn::binding {

// The host's text buffers hold n + 1 characters: at most n are copied and a
// zero goes at position n.
inline void copyIntoBuffer(char* pcBuffer, int n, const char* pcText)
{
    if (!pcBuffer || n < 0)
        return;
    std::strncpy(pcBuffer, pcText, std::size_t(n));
    pcBuffer[n] = '\0';
}

// Whether array argument i has room for n elements. A script's array that is
// too short (or missing) is refused before anything is read or written.
inline bool arrayHolds(int const* aiDims, void** apArgs, int i, std::int64_t n)
{
    if (n <= 0 || (apArgs[i] && aiDims[i] >= n))
        return true;
    prog_throw("badarg", "array argument %d holds %d elements, %lld needed\n", i + 1,
               apArgs[i] ? aiDims[i] : 0, static_cast<long long>(n));
    return false;
}

// Floats that getImageDataWithCoordinates writes for a step of at least 1.
template <class T> std::int64_t coordinateDataCount(const CImage<T>& image, int iStep)
{
    const std::int64_t nColumns = (std::int64_t(image.width()) + iStep - 1) / iStep;
    const std::int64_t nRows = (std::int64_t(image.height()) + iStep - 1) / iStep;
    return nColumns * nRows * (2 + image.channels());
}

// The check before a second image joins this one. It compares a flag with a
// depth and so never fires for images of a real depth; kept exactly so. A
// second image of another element type than this one cannot share channels
// with it, so that is refused as well.
inline bool acceptsOtherImage(void* pThis, void* pOther)
{
    if (!pOther) {
        prog_throw("badarg", "no CImage given\n");
        return false;
    }
    if ((depthOf(pThis) == 0 ? 1 : 0) == depthOf(pOther)) {
        prog_throw("badarg", "Assert failed\n");
        return false;
    }
    if (depthOf(pThis) != depthOf(pOther)) {
        prog_throw("badarg", "CImage of depth %d cannot take channels of depth %d\n",
                   depthOf(pThis), depthOf(pOther));
        return false;
    }
    return true;
}

// The second image seen as this image's instantiation.
template <class T> CImage<T>& sameType(const CImage<T>&, void* pOther)
{
    return *static_cast<CImage<T>*>(pOther);
}

} // namespace tirn::binding

#endif
