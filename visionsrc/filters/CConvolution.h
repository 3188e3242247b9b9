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
    // Channel 0 is written whole, the others cleared.
    bool overwritesTarget() const override { return true; }
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

    // What a subclass's convolvSingleChannelRegion adds to the plain sum, so
    // the row kernel can do the same without a virtual call per pixel: the
    // Sobel filter takes the absolute value at depth 32. A subclass that
    // refines the per-pixel operation in any other way returns
    // FINISH_PER_PIXEL and keeps its own call for every pixel.
    enum TPixelFinish
    {
        FINISH_NONE,
        FINISH_ABS_AT_FLOAT,
        FINISH_PER_PIXEL
    };
    virtual TPixelFinish pixelFinish() const { return FINISH_NONE; }

private:
    // The neighbourhood spans (2rx+1) x (2ry+1) positions, one more than an
    // even mask has: the missing column and row weigh 0, so nothing past the
    // stored weights is read. Rebuilt by setParameters.
    std::vector<float> vfSpan;
    int iSpanWidth = 0;
    int iSpanHeight = 0;

    // Set by setParameters when every weight of the span is an integer and
    // the sum of their magnitudes times the largest pixel stays below 2^24:
    // then every product and partial sum is an integer that float holds
    // exactly, and the sum is the same in any order and any integer type.
    // Never at depth 32.
    bool bIntegerExact = false;
    // All weights of the stored mask are 1 (the mean filter's box): with
    // bIntegerExact, running sums give every sum, border included, in O(1).
    bool bBox = false;
    std::vector<int> viSpan;

    void requireMask() const;
    void proveIntegerSums();
    void convolveRows(const CImage<T>& src, CImage<T>& tgt, TPixelFinish finish, int y0,
                      int y1) const;
    void zeroPaddedRows(const T* pIn, T* pOutBase, int W, int H, int y0, int y1,
                        const std::vector<float>& vfWeights, bool bAbs) const;
    void integerRows(const T* pIn, T* pOut, int W, int H, int y0, int y1, int x0, int x1) const;
    void boxRows(const T* pIn, T* pOut, int W, int H, int y0, int y1) const;

    CConvolution(const CConvolution&) = delete;
    CConvolution& operator=(const CConvolution&) = delete;
};

extern template class CConvolution<unsigned char>;
extern template class CConvolution<unsigned short>;
extern template class CConvolution<float>;

#endif
