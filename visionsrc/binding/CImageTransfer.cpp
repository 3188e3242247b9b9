// Typed data transfer between CImage and the caller's arrays: CImage8_*
// takes byte arrays, CImage32_* float arrays, whatever the image's depth.
// Values are converted, never scaled: bytes widen unchanged, floats truncate
// toward zero and keep the low 8 or 16 bits, 16-bit values read as bytes keep
// their low 8 bits.
#include <algorithm>
#include <cstdint>
#include <type_traits>
#include <vector>

#include "binding/CImageArgs.h"
#include "binding/TirnDispatch.h"

using namespace tirn::binding;

namespace {

// Hands use() the caller's n elements as the image's type T: the array itself
// when the types match, otherwise a converted temporary.
template <class T, class A, class Use> void readCaller(const A* pCaller, std::int64_t n, Use use)
{
    if constexpr (std::is_same<T, A>::value) {
        use(pCaller);
    } else {
        std::vector<T> values(static_cast<std::size_t>(n));
        for (std::size_t k = 0; k < values.size(); ++k)
            values[k] = tirn::convertPixel<T>(pCaller[k]);
        use(values.data());
    }
}

// Lets fill() write n elements of the image's type T, then converts them into
// the caller's array. A null caller array gets a private one that nobody sees.
template <class T, class A, class Fill> void writeCaller(A* pCaller, std::int64_t n, Fill fill)
{
    if constexpr (std::is_same<T, A>::value) {
        if (pCaller) {
            fill(pCaller);
            return;
        }
    }
    std::vector<T> values(static_cast<std::size_t>(n));
    fill(values.data());
    if constexpr (!std::is_same<T, A>::value)
        if (pCaller)
            for (std::size_t k = 0; k < values.size(); ++k)
                pCaller[k] = tirn::convertPixel<A>(values[k]);
}

template <class A> A* callerArray(void** apArgs, int i) { return static_cast<A*>(apArgs[i]); }

// A read into a null array is allowed (its result is dropped); every other
// array must hold what is transferred.
template <class A>
bool readTargetHolds(int const* aiDims, void** apArgs, int i, std::int64_t n)
{
    return !apArgs[i] || arrayHolds(aiDims, apArgs, i, n);
}

// Elements setImageData reads: with both flips the last row written is row
// 1, so one row fewer (kept so by CImage::setImageData).
template <class T>
std::int64_t imageDataCount(const CImage<T>& i, bool bPlanar, bool bFlipRows, bool bFlipColumns)
{
    const std::int64_t nRows = (!bPlanar && bFlipRows && bFlipColumns) ? i.height() - 1 : i.height();
    return nRows * i.width() * i.channels();
}

template <class A> struct Transfer
{
    static void setChannelData(int const* aiDims, void** apArgs, void* pObject)
    {
        const int iChannel = argInt(apArgs, 1);
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            const std::int64_t n = i.pixelsPerChannel();
            if (arrayHolds(aiDims, apArgs, 0, n))
                readCaller<T>(callerArray<A>(apArgs, 0), n,
                              [&](const T* p) { i.setChannelData(p, iChannel, 0); });
        });
    }

    static void getChannelData(int const* aiDims, void** apArgs, void* pObject)
    {
        const int iChannel = argInt(apArgs, 1);
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            const std::int64_t n = i.pixelsPerChannel();
            if (readTargetHolds<A>(aiDims, apArgs, 0, n))
                writeCaller<T>(callerArray<A>(apArgs, 0), n,
                               [&](T* p) { i.getChannelData(p, iChannel); });
        });
    }

    static void setImageData(int const* aiDims, void** apArgs, void* pObject)
    {
        const bool bPlanar = argInt(apArgs, 1) != 0, bFlipRows = argInt(apArgs, 2) != 0;
        const bool bFlipColumns = argInt(apArgs, 3) != 0;
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            const std::int64_t n = imageDataCount(i, bPlanar, bFlipRows, bFlipColumns);
            if (arrayHolds(aiDims, apArgs, 0, n))
                readCaller<T>(callerArray<A>(apArgs, 0), n, [&](const T* p) {
                    i.setImageData(p, bPlanar, bFlipRows, bFlipColumns);
                });
        });
    }

    static void getImageData(int const* aiDims, void** apArgs, void* pObject)
    {
        const bool bPlanar = argInt(apArgs, 1) != 0;
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            const std::int64_t n = i.pixels();
            if (readTargetHolds<A>(aiDims, apArgs, 0, n))
                writeCaller<T>(callerArray<A>(apArgs, 0), n,
                               [&](T* p) { i.getImageData(p, bPlanar); });
        });
    }

    static void getPixel(int const* aiDims, void** apArgs, void* pObject)
    {
        const int x = argInt(apArgs, 0), y = argInt(apArgs, 1);
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            if (readTargetHolds<A>(aiDims, apArgs, 2, i.channels()))
                writeCaller<T>(callerArray<A>(apArgs, 2), i.channels(),
                               [&](T* p) { i.getPixel(x, y, p); });
        });
    }

    static void setPixel(int const* aiDims, void** apArgs, void* pObject)
    {
        const int x = argInt(apArgs, 0), y = argInt(apArgs, 1);
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            if (arrayHolds(aiDims, apArgs, 2, i.channels()))
                readCaller<T>(callerArray<A>(apArgs, 2), i.channels(),
                              [&](const T* p) { i.setPixel(x, y, p); });
        });
    }

    // x0, y0, channel, width, height, array. Rows out of range end the
    // process with the channel's row assertion, as every row access does.
    // Columns are not checked: a region left of column 0 or past the last
    // column reads on through the row into the neighbouring row's pixels.
    // Only a read that would leave the channel's buffer is refused.
    static void getChannelRegion(int const* aiDims, void** apArgs, void* pObject)
    {
        const int x0 = argInt(apArgs, 0), y0 = argInt(apArgs, 1), c = argInt(apArgs, 2);
        const int w = argInt(apArgs, 3), h = argInt(apArgs, 4);
        withImage<void>(pObject, [&](auto& i) {
            using T = PixelOf<decltype(i)>;
            if (w < 1 || h < 1)
                return;
            const auto* pChannel = i.getChannelPtr(c); // an index out of range is reported
            // The first row, then the first one past the channel if the
            // region reaches it: the assertion the copy would meet, met
            // before a value is read.
            const std::int64_t yLast = std::int64_t(y0) + h - 1;
            pChannel->getRowPtr(y0);
            pChannel->getRowPtr(int(std::min<std::int64_t>(yLast, i.height())));
            // Rows are contiguous, so only the region's two ends can leave
            // the buffer.
            const std::int64_t iFirst = std::int64_t(y0) * i.width() + x0;
            const std::int64_t iEnd = yLast * i.width() + x0 + w;
            if (iFirst < 0 || iEnd > std::int64_t(i.width()) * i.height()) {
                prog_throw("badarg", "region %d,%d %dx%d reads outside the %dx%d channel\n", x0,
                           y0, w, h, i.width(), i.height());
                return;
            }
            const std::int64_t n = std::int64_t(w) * h;
            if (readTargetHolds<A>(aiDims, apArgs, 5, n))
                writeCaller<T>(callerArray<A>(apArgs, 5), n,
                               [&](T* p) { i.getRegion(x0, y0, c, w, h, p); });
        });
    }
};

typedef Transfer<unsigned char> Bytes;
typedef Transfer<float> Floats;

} // namespace

TIRN_WRAPPER(void, CImage8_setChannelData) { Bytes::setChannelData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage8_getChannelData) { Bytes::getChannelData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage8_setImageData) { Bytes::setImageData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage8_getImageData) { Bytes::getImageData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage8_getPixel) { Bytes::getPixel(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage8_setPixel) { Bytes::setPixel(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage8_getChannelRegion) { Bytes::getChannelRegion(aiDims, apArgs, pObject); }

TIRN_WRAPPER(void, CImage32_setChannelData) { Floats::setChannelData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage32_getChannelData) { Floats::getChannelData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage32_setImageData) { Floats::setImageData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage32_getImageData) { Floats::getImageData(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage32_getPixel) { Floats::getPixel(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage32_setPixel) { Floats::setPixel(aiDims, apArgs, pObject); }
TIRN_WRAPPER(void, CImage32_getChannelRegion) { Floats::getChannelRegion(aiDims, apArgs, pObject); }
