// RGB to HSI and back, on every complete group of three channels.
#ifndef FILTERS_CHSIRGBFILTER_H
#define FILTERS_CHSIRGBFILTER_H

#include "filters/CTransformation.h"

// Layout (read by the host binding): after the virtual table the source and
// target depths as two ints, then the mode.
template <class T> class CHsiRgbFilter : public CFilter<T, T>
{
public:
    // 0: RGB to HSI, 1: HSI to RGB, anything else: no conversion.
    explicit CHsiRgbFilter(int iMode);

    void SetMode(int iNewMode) { iMode = iNewMode; }

    // The target takes the source's size and channel count; channels past
    // the last complete group are not written. Hue is a fraction of a full
    // turn (0...1). Integer depths truncate every result, so hue and
    // saturation survive there only as 0 or 1.
    void exec(const CImage<T>* pSrc, CImage<T>* pTgt) override;

    int iSrcDepth;
    int iTgtDepth;
    int iMode;
};

extern template class CHsiRgbFilter<unsigned char>;
extern template class CHsiRgbFilter<unsigned short>;
extern template class CHsiRgbFilter<float>;

#endif
