#include "filters/CMeanFilter.h"

#include <vector>

template <class T> void CMeanFilter<T>::setNeighborhood(int iWidth, int iHeight)
{
    const long long llWeights = (long long)iWidth * iHeight;
    if (llWeights > CConvolution<T>::kMaxWeights)
        throw CException("CConvolution: a %d x %d mask is too large!", iWidth, iHeight);
    std::vector<float> vfOnes(std::size_t(llWeights > 0 ? llWeights : 0), 1.0f);
    this->setParameters(vfOnes.data(), 0.0f, iWidth, iHeight);
}

template class CMeanFilter<unsigned char>;
template class CMeanFilter<unsigned short>;
template class CMeanFilter<float>;
