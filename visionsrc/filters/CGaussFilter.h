#ifndef CGAUSSFILTER_H
#define CGAUSSFILTER_H

#include "filters/CConvolution.h"

// Sampled Gaussian with integer weights, normalised by their sum.
template <class T> class CGaussFilter : public CConvolution<T>
{
public:
    CGaussFilter() { this->bMMX = true; }
    // Size 3*ceil(sigma), made odd; peak weight 50/size (integer division),
    // so from size 51 on every weight is 0 and the factor infinite. Writes
    // one empty line per mask row to standard output (kept so on purpose).
    void setBandwidth(float fSigma);
};

extern template class CGaussFilter<unsigned char>;
extern template class CGaussFilter<unsigned short>;
extern template class CGaussFilter<float>;

#endif
