#ifndef CMEDIANFILTER_H
#define CMEDIANFILTER_H

#include "filters/CTransformation.h"

// Median of the square neighbourhood pixels inside the image: near the
// border over fewer pixels, the lower middle one when their count is even.
template <class T> class CMedianFilter : public CTransformation<T>
{
public:
    CMedianFilter() : iSize(3), pfBuffer(nullptr) {}
    ~CMedianFilter() override { delete[] pfBuffer; }

    void singleChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    void preOperation() override {}
    void postOperation() override {}
    // Every pixel of the target is written (see runRankChannel).
    bool overwritesTarget() const override { return true; }

    void setSize(int n) { iSize = n; }
    void setNeighborhood(int n) { iSize = n; }
    void setParameters(float* p);
    int size() const { return iSize; }

    T scanSingleChannelRegion(const CImage<T>& src, int x, int y);

protected:
    int iSize;
    // Pixels of every depth are collected as float; owned only during one
    // singleChannelOperation.
    float* pfBuffer;

private:
    void filterRows(const CImage<T>& src, CImage<T>& tgt, int h, int y0, int y1) const;
    CMedianFilter(const CMedianFilter&) = delete;
    CMedianFilter& operator=(const CMedianFilter&) = delete;
};

extern template class CMedianFilter<unsigned char>;
extern template class CMedianFilter<unsigned short>;
extern template class CMedianFilter<float>;

#endif
