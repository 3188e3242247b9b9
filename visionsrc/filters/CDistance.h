// Squared colour distance of every pixel to the pixel at (0, 0).
#ifndef FILTERS_CDISTANCE_H
#define FILTERS_CDISTANCE_H

#include "filters/CTransformation.h"

template <class T> class CDistance : public CTransformation<T>
{
public:
    CDistance() { this->setMutliChannelOp(true); }

    // Float: the plain sum of squares over the selected channels. Integer
    // depths: the sum divided by 255 * channels, truncated and wrapped.
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    void preOperation() override {}
    void postOperation() override {}
};

extern template class CDistance<unsigned char>;
extern template class CDistance<unsigned short>;
extern template class CDistance<float>;

#endif
