#include "filters/CGenericConvolution.h"

template class CGenericConvolution<unsigned char>;
template class CGenericConvolution<unsigned short>;
template class CGenericConvolution<float>;
