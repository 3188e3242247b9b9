#ifndef CSIMPLEMEDIAN_H
#define CSIMPLEMEDIAN_H

#include "filters/CTransformation.h"

// Rank filter over every channel of a (2r+1)^2 window that writes 0 in a
// border band r pixels wide. It selects rank N/2-1, one below the middle
// element (the 4th smallest of 9): that is its defined output, not a slip.
// Radius 0 copies the input.
//
// Layout read by the host binding: after the table of virtual operations,
// the input depth and the output depth as two ints, then the radius.
template <class T> class CsimpleMedian : public CFilter<T, T>
{
public:
    explicit CsimpleMedian(int iRadius);

    // Writes a trace line to standard error; refuses in-place use; resizes
    // a target of another shape (with a warning on standard error).
    void exec(const CImage<T>* pSrc, CImage<T>* pTgt) override;

    int radius() const { return iRadius; }

    int iInputDepth;
    int iOutputDepth;

private:
    int iRadius;

    void filterChannel(const T* pIn, T* pOut, int W, int H, int N, int y0, int y1) const;
    void filterChannelReference(const CImage<T>& src, CImage<T>& tgt, int c, T* pScratch,
                                int N) const;
};

extern template class CsimpleMedian<unsigned char>;
extern template class CsimpleMedian<unsigned short>;
extern template class CsimpleMedian<float>;

#endif
