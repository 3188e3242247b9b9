// Removes slow shading: every pixel minus the mean of its size x size
// neighbourhood (or, with the keep-mean flag, that mean itself).
#ifndef FILTERS_CSHADINGFILTER_H
#define FILTERS_CSHADINGFILTER_H

#include "filters/CConvolution.h"

template <class T> class CShadingFilter : public CConvolution<T>
{
public:
    CShadingFilter() = default;

    void setSize(int iNewSize) { iSize = iNewSize; }
    // Stored and kept, but the operation does not use it.
    void setConstant(T constant) { tConstant = constant; }
    // p[0] keep-mean flag, p[1] size, p[2] constant, each truncated.
    void setParameters(float* p);

    int size() const { return iSize; }
    int keepMean() const { return iKeepMean; }
    T constant() const { return tConstant; }

    void singleChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    // The filter builds its own mean filter: it needs no mask of its own.
    void preOperation() override {}

private:
    int iSize = 3;
    int iKeepMean = 0;
    T tConstant = T(0);
};

extern template class CShadingFilter<unsigned char>;
extern template class CShadingFilter<unsigned short>;
extern template class CShadingFilter<float>;

#endif
