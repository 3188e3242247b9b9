// R, G, B to a three-channel saturation/intensity image whose hue channel is
// left empty; float images only.
#ifndef FILTERS_CRGB2HSI_H
#define FILTERS_CRGB2HSI_H

#include "filters/CTransformation.h"

template <class T> class CRGB2HSI : public CTransformation<T>
{
public:
    CRGB2HSI() { this->setMutliChannelOp(true); }

    // Channel 0 = 0, 1 = (max - min) / max (0 for max <= 0), 2 = max of the
    // first three source channels. Integer depths only get the resized
    // target and a message.
    void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    void preOperation() override {}
    void postOperation() override {}
};

extern template class CRGB2HSI<unsigned char>;
extern template class CRGB2HSI<unsigned short>;
extern template class CRGB2HSI<float>;

#endif
