// Geometry of CImage: resize in place, rotation about a centre and scaling
// by nearest neighbour, bilinear interpolation or block average.
#include "image/CImage.h"

#include <algorithm>
#include <cmath>
#include <cstdio>
#include <cstdlib>
#include <new>
#include <vector>

#include "filters/RowDriver.h"
#include "image/SimdGeometry.h"

namespace {

// sampleBilinear's sum, term for term, stored the library's way: the fast
// paths' inner step.
template <class Type>
inline Type bilinear(float dx, float dy, const Type* pRow0, const Type* pRow1, int ix0, int ix1)
{
    const float value = (1 - dx) * (1 - dy) * float(pRow0[ix0])
                        + (1 - dy) * dx * float(pRow0[ix1])
                        + dx * dy * float(pRow1[ix1])
                        + dy * (1 - dx) * float(pRow1[ix0]);
    if constexpr (tirn::isIntegerPixel<Type>())
        return tirn::toPixel<Type>(std::rint(value));
    else
        return value;
}

} // namespace

template <class Type> void CImage<Type>::resize(int iNewWidth, int iNewHeight, int iNewChannels)
{
    checkSize(iNewWidth, iNewHeight, iNewChannels);
    // A resize must never change another image that shares our channels.
    detach(-1);
    if (iNewWidth == iWidth && iNewHeight == iHeight) {
        if (iNewChannels > iChannels) {
            const int iFirstNew = iChannels;
            makeChannels(iNewChannels - iChannels);
            for (int c = iFirstNew; c < iChannels; ++c)
                ppChannels[c]->clear();
        } else {
            while (iChannels > iNewChannels) {
                releaseChannel(ppChannels.back());
                ppChannels.pop_back();
                --iChannels;
            }
        }
        return;
    }
    for (Channel* pChannel : ppChannels)
        releaseChannel(pChannel);
    ppChannels.clear();
    iChannels = 0;
    iWidth = iNewWidth;
    iHeight = iNewHeight;
    makeChannels(iNewChannels);
}

template <class Type>
CImage<Type> CImage<Type>::rotate(float fAngle, int iCenterX, int iCenterY) const
{
    // 6.28318, not 2*pi to full precision: results must match to the bit.
    const float fRadians = float(double(fAngle / 360.0f) * 6.28318);
    const double s = std::sin(double(fRadians));
    const double c = std::cos(double(fRadians));
    double cx, cy;
    if (iCenterX == -1 && iCenterY == -1) {
        cx = iWidth * 0.5;
        cy = iHeight * 0.5;
    } else {
        cx = iCenterX;
        cy = iCenterY;
    }
    CImage result = unfilled(iWidth, iHeight, iChannels); // every pixel is written below
    // Every output pixel is independent, so rows go outermost; the last
    // source row and column are never sampled, uncovered corners stay 0.
    const auto walk = [&](int y0, int y1, auto sample) {
        for (int ch = 0; ch < iChannels; ++ch) {
            const Channel& source = *ppChannels[ch];
            Channel& target = *result.ppChannels[ch];
            for (int y = y0; y < y1; ++y) {
                Type* pOut = target.getRowPtr(y);
                const double dy = y - cy;
                for (int x = 0; x < iWidth; ++x) {
                    const double dx = x - cx;
                    const float fSourceX = float(cx + c * dx - s * dy);
                    const float fSourceY = float(cy + s * dx + c * dy);
                    if (fSourceX < 0 || fSourceY < 0 || !(fSourceX < float(iWidth - 1))
                        || !(fSourceY < float(iHeight - 1)))
                        pOut[x] = Type(0);
                    else
                        pOut[x] = sample(source, fSourceX, fSourceY);
                }
            }
        }
    };
    const auto reference = [&] { walk(0, iHeight, sampleBilinear); };
    // In bands of rows, the sampling inlined: inside the image a position is
    // not negative, so its floor is its truncation and its ceiling one more
    // unless it is whole.
    const auto rows = [&](int y0, int y1) {
        // Float rows on SIMD. Tiles, for nearer source pixels, measured
        // slower: whole rows keep the hardware's prefetching in step.
        if constexpr (!tirn::isIntegerPixel<Type>()) {
            for (int ch = 0; ch < iChannels && iWidth > 0; ++ch)
                for (int y = y0; y < y1; ++y)
                    tirn::simd::rotateRow(result.ppChannels[ch]->getRowPtr(y),
                                          ppChannels[ch]->getRowPtr(0), iWidth, iHeight, cx, cy,
                                          c, s, y - cy, std::size_t(iWidth));
            return;
        }
        walk(y0, y1, [](const Channel& source, float fx, float fy) {
            const int ix0 = int(fx), iy0 = int(fy);
            const float x0 = float(ix0), y0f = float(iy0);
            const int ix1 = ix0 + (fx > x0), iy1 = iy0 + (fy > y0f);
            return bilinear(fx - x0, fy - y0f, source.getRowPtr(iy0), source.getRowPtr(iy1),
                            ix0, ix1);
        });
    };
    tirn::runKernel(tirn::Visit::AnyOrder, iHeight,
                    (long long)iWidth * iHeight * std::max(iChannels, 0), reference, rows);
    return result;
}

namespace {

// floor() of a computed size as an int: no pixels for anything below 1 or
// NaN, an allocation failure for sizes beyond the int range.
int sizeFrom(double dSize)
{
    const double d = std::floor(dSize);
    if (!(d >= 1.0))
        return 0;
    if (d > double(INT32_MAX))
        throw std::bad_alloc();
    return int(d);
}

[[noreturn]] void endProcess(const char* pcMessage)
{
    std::fputs(pcMessage, stdout);
    std::exit(0);
}

} // namespace

template <class Type> CImage<Type> CImage<Type>::scale(float fZoom, TScaleMethod method) const
{
    if (method == SCALE_NEAREST || method == SCALE_BILINEAR) {
        const int iNewWidth = sizeFrom(float(iWidth) * fZoom);
        const int iNewHeight = sizeFrom(float(iHeight) * fZoom);
        // Every pixel is written below, or the call fails.
        CImage result = unfilled(iNewWidth, iNewHeight, iChannels);
        const float sx = float(iWidth - 1) / float(iNewWidth);
        const float sy = float(iHeight - 1) / float(iNewHeight);
        auto reference = [&] {
            for (int ch = 0; ch < iChannels; ++ch) {
                const Channel& source = *ppChannels[ch];
                Channel& target = *result.ppChannels[ch];
                for (int y = 0; y < iNewHeight; ++y) {
                    Type* pOut = target.getRowPtr(y);
                    if (method == SCALE_NEAREST) {
                        const int ySource = int(std::rint(sy * y));
                        for (int x = 0; x < iNewWidth; ++x)
                            pOut[x] = source(int(std::rint(sx * x)), ySource);
                    } else {
                        for (int x = 0; x < iNewWidth; ++x)
                            pOut[x] = interpolate(x * sx + 0.5 * sx, y * sy + 0.5 * sy, ch);
                    }
                }
            }
        };
        if (method == SCALE_NEAREST || iChannels == 0 || iNewWidth == 0 || iNewHeight == 0) {
            reference();
            return result;
        }
        // Bilinear, rows outermost: every column's and every row's position
        // is computed once, by the same expressions as above. A position out
        // of range fails the whole call, wherever the walk would meet it.
        std::vector<float> vfDx(iNewWidth);
        std::vector<int> viX0(iNewWidth), viX1(iNewWidth);
        bool bInside = true;
        for (int x = 0; x < iNewWidth; ++x) {
            const float fx = float(x * sx + 0.5 * sx);
            const float x0 = std::floor(fx), x1 = std::ceil(fx);
            bInside = bInside && x1 < float(iWidth) && x0 >= 0.0f;
            vfDx[x] = fx - x0;
            viX0[x] = bInside ? int(x0) : 0;
            viX1[x] = bInside ? int(x1) : 0;
        }
        for (int y = 0; y < iNewHeight && bInside; ++y) {
            const float fy = float(y * sy + 0.5 * sy);
            bInside = std::ceil(fy) < float(iHeight) && std::floor(fy) >= 0.0f;
        }
        if (!bInside)
            interpolate(-1.0f, -1.0f, 0); // refuses, as the first position out of range would
        std::vector<int> viPairRuns(iNewWidth);
        tirn::simd::pairRuns(viX0.data(), viX1.data(), std::size_t(iNewWidth), viPairRuns.data());
        tirn::runKernel(
            tirn::Visit::AnyOrder, iNewHeight, (long long)iNewWidth * iNewHeight * iChannels,
            reference, [&](int yBegin, int yEnd) {
                for (int ch = 0; ch < iChannels; ++ch) {
                    const Channel& p = *ppChannels[ch];
                    for (int y = yBegin; y < yEnd; ++y) {
                        const float fy = float(y * sy + 0.5 * sy);
                        const float y0 = std::floor(fy);
                        const float dy = fy - y0;
                        const Type* pRow0 = p.getRowPtr(int(y0));
                        const Type* pRow1 = p.getRowPtr(int(std::ceil(fy)));
                        Type* pOut = result.ppChannels[ch]->getRowPtr(y);
                        if constexpr (!tirn::isIntegerPixel<Type>()) {
                            tirn::simd::bilinearRow(pOut, pRow0, pRow1, viX0.data(),
                                                    viX1.data(), viPairRuns.data(),
                                                    vfDx.data(), dy,
                                                    std::size_t(iNewWidth));
                            continue;
                        }
                        for (int x = 0; x < iNewWidth; ++x)
                            pOut[x] = bilinear(vfDx[x], dy, pRow0, pRow1, viX0[x], viX1[x]);
                    }
                }
            });
        return result;
    }
    if (method != SCALE_AVERAGE)
        endProcess("Illegal operation selected!");
    if (fZoom >= 1.0)
        endProcess("Illegal scaleFactor for average Scaling!");
    const double dBlock = std::floor(1.0 / fZoom);
    const int iNewWidth = dBlock >= 1.0 ? sizeFrom(iWidth / dBlock) : 0;
    const int iNewHeight = dBlock >= 1.0 ? sizeFrom(iHeight / dBlock) : 0;
    CImage result(1, 1, 1);
    result.resize(iNewWidth, iNewHeight, iChannels);
    if (iNewWidth == 0 || iNewHeight == 0)
        return result;
    const int k = int(dBlock); // at most the width and the height here
    const float fWeight = float(1.0 / (dBlock * dBlock));
    for (int ch = 0; ch < iChannels; ++ch) {
        const Channel& source = *ppChannels[ch];
        Channel& target = *result.ppChannels[ch];
        for (int y = 0; y < iNewHeight; ++y) {
            Type* pOut = target.getRowPtr(y);
            for (int x = 0; x < iNewWidth; ++x) {
                // Within a block, columns outermost: the float sum's order.
                float fSum = 0.0f;
                for (int i = 0; i < k; ++i)
                    for (int j = 0; j < k; ++j)
                        fSum += float(source(x * k + i, y * k + j));
                const float fMean = fWeight * fSum;
                if constexpr (tirn::isIntegerPixel<Type>())
                    pOut[x] = tirn::toPixel<Type>(std::rint(fMean));
                else
                    pOut[x] = fMean;
            }
        }
    }
    return result;
}

#define TIRN_INSTANTIATE_GEOMETRY(T)                                                \
    template void CImage<T>::resize(int, int, int);                                 \
    template CImage<T> CImage<T>::rotate(float, int, int) const;                    \
    template CImage<T> CImage<T>::scale(float, TScaleMethod) const;

TIRN_INSTANTIATE_GEOMETRY(unsigned char)
TIRN_INSTANTIATE_GEOMETRY(unsigned short)
TIRN_INSTANTIATE_GEOMETRY(float)
