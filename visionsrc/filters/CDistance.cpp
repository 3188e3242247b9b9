#include "filters/CDistance.h"

#include <algorithm>
#include <cstdio>
#include <string>
#include <vector>

#include "filters/RowDriver.h"

namespace {

// One channel's term. Integer differences are exact in float, and so their
// square is rounded once, as the square of the integer would be.
template <class T> inline float squaredDifference(T ref, T value)
{
    if constexpr (tirn::isIntegerPixel<T>()) {
        const float fDiff = float(int(ref) - int(value));
        return fDiff * fDiff;
    } else {
        const float fDiff = ref - value;
        return fDiff * fDiff;
    }
}

template <class T> inline T distanceValue(float fSum, int nChannels)
{
    if constexpr (tirn::isIntegerPixel<T>())
        return tirn::toPixel<T>(fSum / (255.0 * nChannels));
    else
        return fSum;
}

template <class T> std::string distanceInfo(const std::vector<T>& ref)
{
    std::string sInfo = "euclid_dist_to";
    char acEntry[64];
    for (T value : ref) {
        if constexpr (tirn::isIntegerPixel<T>())
            std::snprintf(acEntry, sizeof acEntry, "_%d", int(value));
        else
            std::snprintf(acEntry, sizeof acEntry, "_%g", double(value));
        sInfo += acEntry;
    }
    return sInfo;
}

} // namespace

template <class T>
void CDistance<T>::multiChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    const int w = src.width(), h = src.height(), n = src.channels();
    tgt.resize(w, h, 1);
    tgt.setName(src.getName());
    // Without pixels there is no reference colour to read, and nothing to
    // compute.
    if (w < 1 || h < 1) {
        tgt.setChannelInfo("euclid_dist_to", 0);
        return;
    }
    std::vector<T> ref(n);
    src.getPixel(0, 0, ref.data());
    tirn::runKernel(
        tirn::Visit::AnyOrder, h, (long long)w * h * std::max(n, 1),
        [&] {
            for (int x = 0; x < w; ++x)
                for (int y = 0; y < h; ++y) {
                    float fSum = 0.0f;
                    for (int c = 0; c < n; ++c)
                        fSum += squaredDifference(ref[c], src.getPixel(x, y, c));
                    tgt.setPixel(x, y, 0, distanceValue<T>(fSum, n));
                }
        },
        [&](int y0, int y1) {
        std::vector<float> sums(w);
        for (int y = y0; y < y1; ++y) {
            std::fill(sums.begin(), sums.end(), 0.0f);
            for (int c = 0; c < n; ++c) {
                const T* pIn = src.getChannelPtr(c)->getRowPtr(y);
                const T refValue = ref[c];
                for (int x = 0; x < w; ++x)
                    sums[x] += squaredDifference(refValue, pIn[x]);
            }
            T* pOut = tgt.getChannelPtr(0)->getRowPtr(y);
            for (int x = 0; x < w; ++x)
                pOut[x] = distanceValue<T>(sums[x], n);
        }
        });
    tgt.setChannelInfo(distanceInfo(ref).c_str(), 0);
}

template class CDistance<unsigned char>;
template class CDistance<unsigned short>;
template class CDistance<float>;
