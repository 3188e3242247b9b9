#ifndef CCONVOLUTION_H
#define CCONVOLUTION_H

#include <vector>

#include "filters/CTransformation.h"

// Linear neighbourhood filter over one channel: a correlation (the mask is
// not mirrored) whose sum is multiplied by the factor, or divided by the
// number of pixels summed when the factor is 0. Border pixels sum only the
// positions inside the image and are not renormalised when a factor is set.
// Integer depths truncate and wrap (-1 is 255 at depth 8).
//
// The integer mask, its divisor and the MMX flag are state only: the
// scripting interface exposes prohibitMMX, but every path computes the
// single-precision sums.
template <class T> class CConvolution : public CTransformation<T>
{
public:
    CConvolution();
    ~CConvolution() override;

    void singleChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    // Refuses to run before a mask has been set.
    void preOperation() override;
    void postOperation() override {}
    // The filtered value of one pixel of channel 0.
    virtual T convolvSingleChannelRegion(const CImage<T>& src, int x, int y);

    void setParameters(float* pfMask, float fFactor, int iWidth, int iHeight);
    int maskWidth() const { return iMaskWidth; }
    int maskHeight() const { return iMaskHeight; }
    void prohibitMMX() { bMMX = false; }
    bool mmxAllowed() const { return bMMX; }
    float factor() const { return fFactor; }
    const float* mask() const { return pfMask; }
    const short* integerMask() const { return psIntMask; }
    unsigned char integerDivisor() const { return ucDivisor; }

    // Largest mask accepted, in weights.
    static constexpr long long kMaxWeights = 1LL << 26;
    // Entries of the 16-bit mask buffer (65,536 bytes after alignment).
    static constexpr int kIntMaskEntries = 32768;

protected:
    float* pfMask;
    float fFactor;
    short* psIntMask;
    void* pvIntMaskBlock;
    unsigned char ucDivisor;
    int iMaskWidth;
    int iMaskHeight;
    int iHalfWidth;
    int iHalfHeight;
    bool bMMX;

    // The filter's own post-step on a pixel: the Sobel filter takes the
    // absolute value at depth 32. Used by the row driver, which skips the
    // per-pixel virtual call only for the library's own filter classes.
    enum TPixelFinish
    {
        FINISH_NONE,
        FINISH_ABS_AT_FLOAT
    };

private:
    // The neighbourhood spans (2rx+1) x (2ry+1) positions, one more than an
    // even mask has: the missing column and row weigh 0, so nothing past the
    // stored weights is read. Rebuilt by setParameters.
    std::vector<float> vfSpan;
    int iSpanWidth = 0;
    int iSpanHeight = 0;

    void requireMask() const;
    bool rowDriverApplies(TPixelFinish* pFinish) const;
    void convolveRows(const CImage<T>& src, CImage<T>& tgt, TPixelFinish finish) const;

    CConvolution(const CConvolution&) = delete;
    CConvolution& operator=(const CConvolution&) = delete;
};

extern template class CConvolution<unsigned char>;
extern template class CConvolution<unsigned short>;
extern template class CConvolution<float>;

#endif
