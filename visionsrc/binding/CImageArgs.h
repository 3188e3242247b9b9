// Checks and conversions of the CImage wrappers' arguments that go beyond
// reading a value: caller buffers and arrays, and a second image.
#ifndef CIMAGEARGS_H
#define CIMAGEARGS_H

#include <cstdint>
#include <cstring>
#include <type_traits>

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
// partner of no known depth cannot be read at all and is refused.
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
    if (!isKnownDepth(depthOf(pOther))) {
        prog_throw("badarg", "unknown depth of CImage\n");
        return false;
    }
    return true;
}

// The library's depth conversion into T, channel infos kept: a channel that
// joins another image brings its description along.
template <class T, class S> CImage<T> convertedTo(const CImage<S>& source)
{
    CImage<T> result = [&] {
        if constexpr (std::is_same<T, unsigned char>::value)
            return source.convertTo8Bit();
        else if constexpr (std::is_same<T, unsigned short>::value)
            return source.convertTo16Bit();
        else
            return source.convertTo32Bit();
    }();
    for (int c = 0; c < source.channels(); ++c)
        result.setChannelInfo(source.getChannelInfo(c), c);
    return result;
}

// Hands use() the second image as this image's instantiation. Of the same
// depth it is the image itself, so its channels are shared. Of another depth
// the channels are converted (truncate and wrap) into a temporary and use()
// shares those, which leaves them private to this image once the temporary
// goes: a channel cannot be shared across element types. This copy, where
// the images would otherwise share, is deliberate and for mixed depths only.
template <class T, class Use> void asThisDepth(const CImage<T>&, void* pOther, Use use)
{
    if (depthOf(pOther) == tirn::PixelTraits<T>::depth)
        use(*static_cast<const CImage<T>*>(pOther));
    else
        withImage<void>(pOther, [&](const auto& other) { use(convertedTo<T>(other)); });
}

} // namespace tirn::binding

#endif
