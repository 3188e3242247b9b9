#ifndef CMEANFILTER_H
#define CMEANFILTER_H

#include "filters/CConvolution.h"

// Box average: all weights 1 and factor 0, so border pixels average the
// pixels that exist.
template <class T> class CMeanFilter : public CConvolution<T>
{
public:
    CMeanFilter() { this->bMMX = false; }
    // Sizes are passed on unchecked; a non-positive size gives a mask
    // without weights.
    void setNeighborhood(int iWidth, int iHeight);
};

extern template class CMeanFilter<unsigned char>;
extern template class CMeanFilter<unsigned short>;
extern template class CMeanFilter<float>;

#endif
