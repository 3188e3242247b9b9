// Two-valued threshold of a one-channel float image that carries its own
// parameters: the threshold at (0, 0), the value for pixels at or below it
// at (0, 1), the value for pixels above it at (1, 0).
#ifndef FILTERS_CTHRESHOLD_H
#define FILTERS_CTHRESHOLD_H

#include "filters/CTransformation.h"

template <class T> class CThreshold : public CTransformation<T>
{
public:
    CThreshold() { this->setMutliChannelOp(true); }

    // Only the float instantiation thresholds; the others, and sources with
    // more than one channel or fewer than 2 x 2 pixels, are refused with a
    // message and leave the target resized but unfilled.
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    void preOperation() override {}
    void postOperation() override {}
};

extern template class CThreshold<unsigned char>;
extern template class CThreshold<unsigned short>;
extern template class CThreshold<float>;

#endif
