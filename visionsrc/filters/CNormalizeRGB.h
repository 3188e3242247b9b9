// R, G, B to the two chromaticities r / (r + g + b) and g / (r + g + b);
// scaled to 0...255 at the integer depths.
#ifndef FILTERS_CNORMALIZERGB_H
#define FILTERS_CNORMALIZERGB_H

#include "filters/CTransformation.h"

template <class T> class CNormalizeRGB : public CTransformation<T>
{
public:
    CNormalizeRGB() { this->setMutliChannelOp(true); }

    // Reads the first three source channels. A black float pixel gives NaN
    // (unguarded on purpose); a black integer pixel gives 0.
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    void preOperation() override {}
    void postOperation() override {}
};

extern template class CNormalizeRGB<unsigned char>;
extern template class CNormalizeRGB<unsigned short>;
extern template class CNormalizeRGB<float>;

#endif
