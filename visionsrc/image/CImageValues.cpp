// Value operations of CImage: extremes, range mapping, percentile clipping,
// histograms and bilinear interpolation. Single-precision arithmetic.
#include "image/CImage.h"

#include <algorithm>
#include <cmath>

namespace {

// Two values can compare equal and still differ (+0 and -0). The extremes
// are defined as the first one met in the order channel, column, row, so a
// tie goes to the position that comes first in that order while the buffer
// itself is walked row by row.
struct ExtremeTracker
{
    int x = 0, y = 0;
    bool comesBefore(int xNew, int yNew) const
    {
        return xNew < x || (xNew == x && yNew < y);
    }
};

} // namespace

template <class Type> void CImage<Type>::findMinMax(Type& min, Type& max) const
{
    if (iChannels < 1 || ppChannels[0]->pixelCount() < 1) {
        min = max = Type(0);
        return;
    }
    min = max = ppChannels[0]->getPixel(0, 0);
    for (int c = 0; c < iChannels; ++c) {
        // Positions restart with each channel: a later channel never wins a
        // tie against an earlier one.
        ExtremeTracker minAt, maxAt;
        bool bMinInChannel = c == 0, bMaxInChannel = c == 0;
        const Channel* pChannel = ppChannels[c];
        for (int y = 0; y < iHeight; ++y) {
            const Type* pRow = pChannel->getRowPtr(y);
            for (int x = 0; x < iWidth; ++x) {
                const Type v = pRow[x];
                if (v > max || (v == max && bMaxInChannel && maxAt.comesBefore(x, y))) {
                    max = v;
                    maxAt = {x, y};
                    bMaxInChannel = true;
                }
                if (min > v || (v == min && bMinInChannel && minAt.comesBefore(x, y))) {
                    min = v;
                    minAt = {x, y};
                    bMinInChannel = true;
                }
            }
        }
    }
}

template <class Type>
void CImage<Type>::scaleRange(Type newMin, Type newMax, bool bPerChannel)
{
    if (bPerChannel) {
        for (Channel* pChannel : ppChannels)
            pChannel->scaleRange(newMin, newMax, pChannel->min(), pChannel->max());
        return;
    }
    Type oldMin, oldMax;
    findMinMax(oldMin, oldMax);
    for (Channel* pChannel : ppChannels)
        pChannel->scaleRange(newMin, newMax, oldMin, oldMax);
}

template <class Type>
void CImage<Type>::scalelRange(std::vector<Type> newMin, std::vector<Type> newMax,
                               std::vector<Type> oldMin, std::vector<Type> oldMax)
{
    for (int c = 0; c < iChannels; ++c)
        ppChannels[c]->scaleRange(newMin[c], newMax[c], oldMin[c], oldMax[c]);
}

namespace {

// NaN sorts last, so the selection below has a strict weak order to work
// with whatever the pixels hold.
template <class Type> bool sortsBefore(Type a, Type b)
{
    if constexpr (tirn::isIntegerPixel<Type>())
        return a < b;
    else
        return a < b || (std::isnan(b) && !std::isnan(a));
}

// The lower and upper bound of the percentile clip: the values that a full
// ascending sort would put at the two indices. Indices that leave the list
// (percentages that are negative or add up to 100 or more) are held inside it.
template <class Type>
void percentileBounds(std::vector<Type>& values, float fLow, float fHigh, Type& lower,
                      Type& upper)
{
    const int n = int(values.size());
    const double f = double(float(n)) / 100.0;
    int iLow = tirn::truncateToInt32(f * fLow);
    int iHigh = n - 1 - tirn::truncateToInt32(f * fHigh);
    iLow = std::clamp(iLow, 0, n - 1);
    iHigh = std::clamp(iHigh, 0, n - 1);
    auto less = sortsBefore<Type>;
    std::nth_element(values.begin(), values.begin() + iLow, values.end(), less);
    lower = values[iLow];
    if (iHigh > iLow)
        std::nth_element(values.begin() + iLow + 1, values.begin() + iHigh, values.end(),
                         less);
    else if (iHigh < iLow)
        std::nth_element(values.begin(), values.begin() + iHigh, values.begin() + iLow, less);
    upper = values[iHigh];
}

template <class Type> void clipChannel(CImageChannel<Type>* pChannel, Type lower, Type upper)
{
    Type* p = pChannel->getDataPtr();
    const int n = pChannel->pixelCount();
    for (int i = 0; i < n; ++i) {
        if (lower > p[i])
            p[i] = lower;
        if (p[i] > upper)
            p[i] = upper;
    }
}

} // namespace

template <class Type>
void CImage<Type>::clipPercentage(float fLow, float fHigh, bool bPerChannel)
{
    const int nPerChannel = iChannels > 0 ? ppChannels[0]->pixelCount() : 0;
    if (nPerChannel < 1)
        return;
    std::vector<Type> values;
    Type lower, upper;
    if (bPerChannel) {
        for (Channel* pChannel : ppChannels) {
            values.assign(pChannel->getDataPtr(), pChannel->getDataPtr() + nPerChannel);
            percentileBounds(values, fLow, fHigh, lower, upper);
            clipChannel(pChannel, lower, upper);
        }
        return;
    }
    values.reserve(std::size_t(nPerChannel) * iChannels);
    for (const Channel* pChannel : ppChannels)
        values.insert(values.end(), pChannel->getDataPtr(), pChannel->getDataPtr() + nPerChannel);
    percentileBounds(values, fLow, fHigh, lower, upper);
    for (Channel* pChannel : ppChannels)
        clipChannel(pChannel, lower, upper);
}

template <class Type>
std::vector<unsigned int> CImage<Type>::histogram(int iChannel, float fMin, float fMax,
                                                  int nBins) const
{
    return ppChannels[iChannel]->histogram(fMin, fMax, nBins);
}

template <class Type> Type CImage<Type>::interpolate(float x, float y, int iChannel) const
{
    const float x1 = std::ceil(x), y1 = std::ceil(y);
    const float x0 = std::floor(x), y0 = std::floor(y);
    // Negative positions would read before the buffer; they are refused like
    // positions past the last column or row.
    if (!(x1 < float(iWidth)) || !(y1 < float(iHeight)) || !(x0 >= 0.0f) || !(y0 >= 0.0f)) {
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-extra-args"
        throw CException("badarg:value",
                         "Bad value: Interpolation position out of range (File:%s / Line:%d).\n",
                         "CImage.cpp", 604);
#pragma GCC diagnostic pop
    }
    return sampleBilinear(*ppChannels[iChannel], x, y);
}

template <class Type> Type CImage<Type>::sampleBilinear(const Channel& p, float x, float y)
{
    const float x0 = std::floor(x), y0 = std::floor(y);
    const float dx = x - x0, dy = y - y0;
    const int ix0 = int(x0), iy0 = int(y0);
    const int ix1 = int(std::ceil(x)), iy1 = int(std::ceil(y));
    const float value = (1 - dx) * (1 - dy) * float(p(ix0, iy0))
                        + (1 - dy) * dx * float(p(ix1, iy0))
                        + dx * dy * float(p(ix1, iy1))
                        + dy * (1 - dx) * float(p(ix0, iy1));
    if constexpr (tirn::isIntegerPixel<Type>())
        return tirn::toPixel<Type>(std::rint(value));
    else
        return value;
}

#define TIRN_INSTANTIATE_VALUES(T)                                                  \
    template void CImage<T>::findMinMax(T&, T&) const;                              \
    template void CImage<T>::scaleRange(T, T, bool);                                \
    template void CImage<T>::scalelRange(std::vector<T>, std::vector<T>,            \
                                         std::vector<T>, std::vector<T>);           \
    template void CImage<T>::clipPercentage(float, float, bool);                    \
    template std::vector<unsigned int> CImage<T>::histogram(int, float, float, int) \
        const;                                                                      \
    template T CImage<T>::interpolate(float, float, int) const;                     \
    template T CImage<T>::sampleBilinear(const Channel&, float, float);

TIRN_INSTANTIATE_VALUES(unsigned char)
TIRN_INSTANTIATE_VALUES(unsigned short)
TIRN_INSTANTIATE_VALUES(float)
