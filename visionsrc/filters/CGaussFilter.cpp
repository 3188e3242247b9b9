#include "filters/CGaussFilter.h"

#include <cmath>
#include <cstdio>
#include <vector>

template <class T> void CGaussFilter<T>::setBandwidth(float fSigma)
{
    // Guard the integer arithmetic below; such a mask could not be stored.
    if (!(std::fabs(fSigma) < 1.0e6f))
        throw CException("CGaussFilter: bandwidth %g is out of range!", double(fSigma));
    const int k = int(std::ceil(fSigma));
    const int iSize = 3 * k + ((3 * k) % 2 == 0 ? 1 : 0);
    if (iSize > 0 && (long long)iSize * iSize > CConvolution<T>::kMaxWeights)
        throw CException("CConvolution: a %d x %d mask is too large!", iSize, iSize);
    const float fTwoSigmaSq = fSigma * (fSigma + fSigma);
    const int iScale = 50 / iSize;
    const int c = int(std::floor(iSize * 0.5));

    std::vector<float> vfMask(iSize > 0 ? std::size_t(iSize) * iSize : 0);
    float fSum = 0.0f;
    for (int i = 0; i < iSize; ++i) {
        for (int j = 0; j < iSize; ++j) {
            const double dDistSq = double((j - c) * (j - c) + (i - c) * (i - c));
            const float fWeight =
                float(std::rint(std::exp(-dDistSq / double(fTwoSigmaSq)) * iScale));
            vfMask[std::size_t(i) * iSize + j] = fWeight;
            fSum += fWeight;
        }
        std::fputc('\n', stdout);
        std::fflush(stdout);
    }
    this->setParameters(vfMask.data(), float(1.0 / double(fSum)), iSize, iSize);
}

template class CGaussFilter<unsigned char>;
template class CGaussFilter<unsigned short>;
template class CGaussFilter<float>;
