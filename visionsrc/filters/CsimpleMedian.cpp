#include "filters/CsimpleMedian.h"

#include <climits>
#include <algorithm>
#include <cstring>
#include <iostream>
#include <new>
#include <vector>

#include "filters/RankNetworks.h"
#include "filters/RowDriver.h"
#include "filters/SlidingHistogram.h"
#include "filters/utils.h"

template <class T>
CsimpleMedian<T>::CsimpleMedian(int iRadius_)
    : iInputDepth(tirn::PixelTraits<T>::depth), iOutputDepth(tirn::PixelTraits<T>::depth),
      iRadius(iRadius_)
{
}

template <class T> void CsimpleMedian<T>::exec(const CImage<T>* pSrc, CImage<T>* pTgt)
{
    const long long llSide = 2LL * iRadius + 1;
    // Sides beyond 3e9 would overflow the square; no such window is possible.
    const long long llWindow =
        (llSide > 3000000000LL || llSide < -3000000000LL) ? LLONG_MAX : llSide * llSide;
    std::cerr << "CImage: CsimpleMedian.cpp:" << 33 << ": " << "exec inp:"
              << static_cast<const void*>(pSrc) << "(" << iInputDepth << ") outp:"
              << static_cast<const void*>(pTgt) << "(" << iOutputDepth << ") MaskSize:"
              << llWindow << "\n" << '\0';
    if (pSrc == pTgt)
        throw CException("CsimpleMedian: target image must differ from source image!");
    if (!pSrc || !pTgt)
        throw CException("CsimpleMedian: source and target images are required!");
    if (iRadius < 0)
        throw CException("CsimpleMedian: radius %d is negative!", iRadius);

    T* pScratch = llWindow <= (1LL << 24) ? new (std::nothrow) T[std::size_t(llWindow)] : nullptr;
    if (!pScratch)
        throw CException("Medianfilter failed to alloc temporary memory!");
    const int N = int(llWindow);

    const int W = pSrc->width(), H = pSrc->height();
    if (pTgt->width() != W || pTgt->height() != H || pTgt->channels() != pSrc->channels()) {
        std::cerr << "CImage: CsimpleMedian.cpp:" << 43 << ": "
                  << "different size of input and output images! doing resize!" << '\0';
        pTgt->resize(W, H, pSrc->channels());
    }
    // Writing must not reach another image (possibly the source) that shares
    // the target's channels.
    pTgt->detach(-1);
    if (pTgt->channels() == 0) {
        pTgt->setName(pSrc->getName());
        delete[] pScratch;
        return;
    }
    for (int c = 0; c < pSrc->channels(); ++c) {
        if (W > 0 && H > 0)
            tirn::runKernel(
                tirn::Visit::AnyOrder, H, (long long)W * H * std::min<long long>(N, 64),
                [&] { filterChannelReference(*pSrc, *pTgt, c, pScratch, N); },
                [&](int y0, int y1) {
                    filterChannel(pSrc->getChannelDataPtr(c), pTgt->getChannelDataPtr(c), W, H,
                                  N, y0, y1);
                });
        pTgt->setChannelInfo(pSrc->getChannelInfo(c), c);
    }
    pTgt->setName(pSrc->getName());
    delete[] pScratch;
}

// The straightforward transcription: one pass over the pixel index.
template <class T>
void CsimpleMedian<T>::filterChannelReference(const CImage<T>& src, CImage<T>& tgt, int c,
                                              T* pScratch, int N) const
{
    const int W = src.width(), H = src.height(), r = iRadius;
    const CImageChannel<T>* pIn = src.getChannelPtr(c);
    CImageChannel<T>* pOut = tgt.getChannelPtr(c);
    for (int p = 0; p < W * H; ++p) {
        const int row = p / W, col = p % W;
        if (r == 0) {
            pOut->setPixel(col, row, pIn->getPixel(col, row));
            continue;
        }
        if (row < r || row >= H - r || col < r || col >= W - r) {
            pOut->setPixel(col, row, T(0));
            continue;
        }
        int n = 0;
        for (int yy = row - r; yy <= row + r; ++yy)
            for (int xx = col - r; xx <= col + r; ++xx)
                pScratch[n++] = pIn->getPixel(xx, yy);
        pOut->setPixel(col, row, getRank(N / 2 - 1, N, pScratch));
    }
}

// Rows outermost; the border band is written as blocks and each interior
// window is copied row by row, as the reference does, so the same element is
// selected.
template <class T>
void CsimpleMedian<T>::filterChannel(const T* pIn, T* pOut, int W, int H, int N, int y0,
                                     int y1) const
{
    const int r = iRadius;
    T* pBand = pOut + std::size_t(y0) * W;
    const std::size_t nBand = std::size_t(y1 - y0) * W;
    if (r <= 0) { // exec refuses negative radii
        std::memcpy(pBand, pIn + std::size_t(y0) * W, sizeof(T) * nBand);
        return;
    }
    const int k = N / 2 - 1;
    const int iSide = 2 * r + 1;
    // Rows of this band whose window lies inside the image.
    const int rowBegin = std::max(y0, r), rowEnd = std::min(y1, H - r);
    if constexpr (tirn::isIntegerPixel<T>()) {
        if (tirn::preferHistogram<T>(r)) {
            std::fill(pBand, pBand + nBand, T(0));
            if (W <= 2 * r)
                return;
            tirn::SlidingHistogram<T> histogram;
            for (int row = rowBegin; row < rowEnd; ++row) {
                T* pRowOut = pOut + std::size_t(row) * W;
                histogram.slideRow(pIn, W, row - r, row + r, r, r, W - r,
                                   [&](int col, int) { pRowOut[col] = histogram.kth(k); });
            }
            return;
        }
        if (r == 1) {
            std::fill(pBand, pBand + nBand, T(0));
            if (W < 3)
                return;
            for (int row = rowBegin; row < rowEnd; ++row) {
                const T* pCentre = pIn + std::size_t(row) * W;
                T* pRowOut = pOut + std::size_t(row) * W;
                tirn::rank3x3Row(pCentre - W, pCentre, pCentre + W, W, k, pRowOut);
            }
            return;
        }
    }
    std::vector<T> scratch(static_cast<std::size_t>(N));
    T* pScratch = scratch.data();
    for (int row = y0; row < y1; ++row) {
        T* pRowOut = pOut + std::size_t(row) * W;
        if (row < r || row >= H - r || W <= 2 * r) {
            std::fill(pRowOut, pRowOut + W, T(0));
            continue;
        }
        std::fill(pRowOut, pRowOut + r, T(0));
        std::fill(pRowOut + (W - r), pRowOut + W, T(0));
        for (int col = r; col < W - r; ++col) {
            T* pDst = pScratch;
            const T* pWin = pIn + std::size_t(row - r) * W + (col - r);
            for (int j = 0; j < iSide; ++j, pWin += W, pDst += iSide)
                std::memcpy(pDst, pWin, sizeof(T) * iSide);
            pRowOut[col] = getRank(k, N, pScratch);
        }
    }
}

template class CsimpleMedian<unsigned char>;
template class CsimpleMedian<unsigned short>;
template class CsimpleMedian<float>;
