#ifndef CGENERICCONVOLUTION_H
#define CGENERICCONVOLUTION_H

#include "filters/CConvolution.h"

// Any mask and factor the caller supplies.
template <class T> class CGenericConvolution : public CConvolution<T>
{
public:
    CGenericConvolution() { this->bMMX = false; }
    using CConvolution<T>::setParameters;
};

extern template class CGenericConvolution<unsigned char>;
extern template class CGenericConvolution<unsigned short>;
extern template class CGenericConvolution<float>;

#endif
