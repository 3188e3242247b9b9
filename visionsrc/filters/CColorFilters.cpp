// Colour matching. Each function has its straightforward transcription
// (pixel accessors, x outer, y inner) as the reference and a row-wise fast
// path; no result here depends on the visiting order, and every per-pixel sum
// keeps its channel order, so the two agree to the bit.
#include "filters/CColorFilters.h"

#include <algorithm>
#include <cmath>
#include <cstdint>
#include <cstdio>
#include <string>
#include <vector>

#include "filters/RowDriver.h"

namespace {

constexpr int kBins = 100;

float colourDistance(const CImage<float>& image, const float* pfRef, int x, int y)
{
    float fSum = 0.0f;
    for (int c = 0; c < image.channels(); ++c) {
        const float fDiff = pfRef[c] - image.getPixel(x, y, c);
        fSum += fDiff * fDiff;
    }
    return fSum;
}

// Row y of colour distances; channel outermost, each pixel's sum still in
// channel order.
void distanceRow(const CImage<float>& image, const float* pfRef, int y, float* pOut)
{
    const int w = image.width();
    std::fill(pOut, pOut + w, 0.0f);
    for (int c = 0; c < image.channels(); ++c) {
        const float* pIn = image.getChannelPtr(c)->getRowPtr(y);
        const float fRef = pfRef[c];
        for (int x = 0; x < w; ++x) {
            const float fDiff = fRef - pIn[x];
            pOut[x] += fDiff * fDiff;
        }
    }
}

// "<prefix>_<r0>_<r1>..." with one entry per channel; the channel info keeps
// the first 64 characters.
std::string referenceInfo(const char* pcPrefix, const float* pfRef, int nChannels)
{
    std::string sInfo = pcPrefix;
    char acEntry[64];
    for (int c = 0; c < nChannels; ++c) {
        std::snprintf(acEntry, sizeof acEntry, "_%g", double(pfRef[c]));
        sInfo += acEntry;
    }
    return sInfo;
}

CImage<float> distanceResult(const CImage<float>& image)
{
    CImage<float> result(image.width(), image.height(), 1);
    result.setName(image.getName());
    return result;
}

// The squared spatial distance in 32-bit integers as the function defines
// it; beyond the int range it wraps (done unsigned, so without undefined
// behaviour).
int squaredOffset(int x0, int y0, int x, int y)
{
    const std::uint32_t dx = std::uint32_t(x0) - std::uint32_t(x);
    const std::uint32_t dy = std::uint32_t(y0) - std::uint32_t(y);
    return int(dx * dx + dy * dy);
}

float blobWeight(int iSquaredOffset, float fDistance)
{
    return float((double(float(iSquaredOffset)) + 1.0) * fDistance);
}

// floor((d / limit) * 100) for a d already known to lie below the limit.
// A float quotient of d < limit is at most 1 - 2^-24, whose product with 100
// rounds below 100, so the bin is at most 99; the bound only makes that
// visible here.
int binOf(float fDistance, float fLimit)
{
    const int iBin = int(std::floor(float((fDistance / fLimit) * 100.0)));
    return std::min(iBin, kBins - 1);
}

} // namespace

CImage<float> DiffImage(const CImage<float>* pA, const CImage<float>* pB)
{
    const CImage<float>& a = *pA;
    const CImage<float>& b = *pB;
    CImage<float> result(a.width(), a.height(), a.channels());
    result.setName(a.getName());
    if (b.width() != a.width() || b.height() != a.height() || b.channels() != a.channels())
        std::printf("Different input sizes for DiffImage (%dx%d,%d)!=(%dx%d,%d)!\n",
                    a.width(), a.height(), a.channels(), b.width(), b.height(),
                    b.channels());
    const int w = std::min(a.width(), b.width());
    const int h = std::min(a.height(), b.height());
    const int n = std::min(a.channels(), b.channels());

    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h * std::max(n, 1),
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y)
                    for (int c = 0; c < n; ++c)
                        result.setPixel(x, y, c,
                                        std::fabs(a.getPixel(x, y, c) - b.getPixel(x, y, c)));
        },
        [&](int y0, int y1) {
            for (int c = 0; c < n; ++c)
                for (int y = y0; y < y1; ++y) {
                    const float* pA0 = a.getChannelPtr(c)->getRowPtr(y);
                    const float* pB0 = b.getChannelPtr(c)->getRowPtr(y);
                    float* pOut = result.getChannelPtr(c)->getRowPtr(y);
                    for (int x = 0; x < w; ++x)
                        pOut[x] = std::fabs(pA0[x] - pB0[x]);
                }
        });
    // Only channels both inputs have are named after their pair; the others
    // keep the default info.
    char acInfo[200];
    for (int c = 0; c < n; ++c) {
        std::snprintf(acInfo, sizeof acInfo, "Diff(%s,%s)", a.getChannelInfo(c),
                      b.getChannelInfo(c));
        result.setChannelInfo(acInfo, c);
    }
    return result;
}

CImage<float> blob_emph(const CImage<float>* pImage, const float* pfRef, int x0, int y0)
{
    const CImage<float>& image = *pImage;
    const int w = image.width(), h = image.height();
    CImage<float> result = distanceResult(image);
    std::printf("Reference for blob_emph:");
    for (int c = 0; c < image.channels(); ++c)
        std::printf(" %g", double(pfRef[c]));
    std::printf("\n");

    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h * std::max(image.channels(), 1),
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y)
                    result.setPixel(x, y, 0,
                                    blobWeight(squaredOffset(x0, y0, x, y),
                                               colourDistance(image, pfRef, x, y)));
        },
        [&](int yBegin, int yEnd) {
            for (int y = yBegin; y < yEnd; ++y) {
                float* pOut = result.getChannelPtr(0)->getRowPtr(y);
                distanceRow(image, pfRef, y, pOut);
                for (int x = 0; x < w; ++x)
                    pOut[x] = blobWeight(squaredOffset(x0, y0, x, y), pOut[x]);
            }
        });
    std::string sInfo = referenceInfo("blob_emph_to", pfRef, image.channels());
    char acAt[64];
    std::snprintf(acAt, sizeof acAt, "_at_(%d,%d)", x0, y0);
    sInfo += acAt;
    result.setChannelInfo(sInfo.c_str(), 0);
    return result;
}

CImage<float> HistogramDistance(const CImage<float>* pImage, const float* pfRef,
                                float fFraction, float fLimit, float& fResult)
{
    const CImage<float>& image = *pImage;
    const int w = image.width(), h = image.height();
    CImage<float> result = distanceResult(image);
    int aiHistogram[kBins] = {};

    // The histogram is one for all rows: a single band fills it.
    tirn::runKernel(
        tirn::Visit::InOrder, h, (long long)w * h,
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y) {
                    const float d = colourDistance(image, pfRef, x, y);
                    result.setPixel(x, y, 0, d);
                    if (d < fLimit)
                        ++aiHistogram[binOf(d, fLimit)];
                }
        },
        [&](int y0, int y1) {
            for (int y = y0; y < y1; ++y) {
                float* pOut = result.getChannelPtr(0)->getRowPtr(y);
                distanceRow(image, pfRef, y, pOut);
                for (int x = 0; x < w; ++x)
                    if (pOut[x] < fLimit)
                        ++aiHistogram[binOf(pOut[x], fLimit)];
            }
        });

    // Take bins from the nearest until they hold the wanted share of all
    // pixels. If the pixels below the limit never reach it, the walk ends
    // with the last bin and the answer is the limit itself.
    const float fTarget = float(w * h) * fFraction;
    double dSum = 0.0;
    int nTaken = 0;
    while (dSum < fTarget && nTaken < kBins)
        dSum += aiHistogram[nTaken++];
    fResult = dSum < fTarget ? fLimit : float((nTaken * fLimit) / 100.0);

    result.setChannelInfo(referenceInfo("euclid_dist_to", pfRef, image.channels()).c_str(), 0);
    return result;
}

CImage<float> PointerDistance(const CImage<float>* pImage, const float* pfRef, float, float,
                              float&)
{
    const CImage<float>& image = *pImage;
    const int n = image.channels();
    CImage<float> result = distanceResult(image);
    // Row 0 of every buffer is fetched through the checked row access: an
    // image of height 0 is a programming error that ends the process there.
    float* pOut = result.getChannelPtr(0)->getRowPtr(0);
    std::vector<const float*> apIn(n);
    for (int c = 0; c < n; ++c)
        apIn[c] = image.getChannelPtr(c)->getRowPtr(0);
    const int nPixels = image.width() * image.height();

    const int w = image.width();
    tirn::runKernel(
        tirn::Visit::AnyOrder, image.height(), (long long)nPixels * std::max(n, 1),
        [&] {
            for (int i = 0; i < nPixels; ++i) {
                float fValue = 0.0f;
                for (int c = 0; c < n; ++c) {
                    const float fDiff = pfRef[c] - *apIn[c]++;
                    fValue += fDiff * fDiff;
                }
                pOut[i] = fValue;
            }
        },
        [&](int y0, int y1) {
            const std::size_t i0 = std::size_t(y0) * w, i1 = std::size_t(y1) * w;
            std::fill(pOut + i0, pOut + i1, 0.0f);
            for (int c = 0; c < n; ++c) {
                const float* pIn = apIn[c];
                const float fRef = pfRef[c];
                for (std::size_t i = i0; i < i1; ++i) {
                    const float fDiff = fRef - pIn[i];
                    pOut[i] += fDiff * fDiff;
                }
            }
        });
    result.setChannelInfo(referenceInfo("euclid_dist_to", pfRef, n).c_str(), 0);
    return result;
}
