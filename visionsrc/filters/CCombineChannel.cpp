#include "filters/CCombineChannel.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <vector>

#include "filters/RowDriver.h"
#include "filters/utils.h"

namespace {

template <class T> T combine(TOperation operation, T* pValues, int n)
{
    switch (operation) {
    case OP_SUM:
        return sum(pValues, n);
    case OP_MUL:
        return mul(pValues, n);
    case OP_MAX:
        return maxval(pValues, n);
    case OP_MIN:
        return minval(pValues, n);
    case OP_MEAN:
        return tirn::convertPixel<T>(mean(pValues, n));
    default:
        return median(pValues, n);
    }
}

} // namespace

template <class T> void CCombineChannel<T>::setParameters(float* p)
{
    eOperation = TOperation(tirn::truncateToInt32(p[0]));
}

template <class T>
void CCombineChannel<T>::multiChannelOperation(const CImage<T>& src, CImage<T>& tgt)
{
    // Zeroed: see below for the entries no pixel value reaches.
    std::vector<T> buffer(std::max(src.channels(), 1), T(0));
    // exec() has already given the target the source's size: these are the
    // source's width and height either way.
    std::printf("%d%d\n", tgt.width(), tgt.height());
    const int w = src.width(), h = src.height();
    tgt.resize(w, h, 1);
    // Negative codes are as unknown as those above 5.
    if (eOperation > OP_MEDIAN || eOperation < OP_SUM) {
        std::printf("Illegal operation selected!");
        std::exit(0);
    }
    // Kept so on purpose: the mask is the transformation's, indexed by the
    // original channel numbers, while src holds only the selected channels.
    // The values gathered can thus be fewer than the n the operation is
    // applied to; the rest of the buffer then holds whatever the previous
    // pixel left there (zero at first, reordered by the median), which makes
    // the visiting order matter.
    const bool* pbMask = this->pbMask;
    const int n = std::min(this->iSelected, int(buffer.size()));
    std::vector<int> gathered;
    for (int c = 0; c < src.channels(); ++c)
        if (pbMask[c])
            gathered.push_back(c);

    auto reference = [&] {
        for (int x = 0; x < w; ++x)
            for (int y = 0; y < h; ++y) {
                src.getFilteredPixel(x, y, pbMask, buffer.data());
                tgt.setPixel(x, y, 0, combine(eOperation, buffer.data(), n));
            }
    };
    if (int(gathered.size()) != n) {
        reference(); // carries buffer entries from pixel to pixel
        return;
    }
    // Every pixel fills the n entries itself: nothing is carried from pixel
    // to pixel, so rows may go outermost and bands run apart.
    tirn::runKernel(tirn::Visit::AnyOrder, h, (long long)w * h * std::max(n, 1), reference,
                    [&](int y0, int y1) {
                        std::vector<T> band(buffer.size());
                        std::vector<const T*> rows(n);
                        for (int y = y0; y < y1; ++y) {
                            for (int k = 0; k < n; ++k)
                                rows[k] = src.getChannelPtr(gathered[k])->getRowPtr(y);
                            T* pOut = tgt.getChannelPtr(0)->getRowPtr(y);
                            for (int x = 0; x < w; ++x) {
                                for (int k = 0; k < n; ++k)
                                    band[k] = rows[k][x];
                                pOut[x] = combine(eOperation, band.data(), n);
                            }
                        }
                    });
}

template class CCombineChannel<unsigned char>;
template class CCombineChannel<unsigned short>;
template class CCombineChannel<float>;
