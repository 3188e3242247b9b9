#ifndef CRANKFILTER_H
#define CRANKFILTER_H

#include "filters/CTransformation.h"

// The pixel of a chosen rank (0 = smallest) in a complete square
// neighbourhood; where the neighbourhood is not complete the input pixel
// itself. The collected side is 2*((size-1)/2)+1, so an even size is never
// complete and copies its input (kept so on purpose).
template <class T> class CRankFilter : public CTransformation<T>
{
public:
    CRankFilter() : iSize(3), iRank(0), ptBuffer(nullptr), bRankSet(false) {}
    ~CRankFilter() override { delete[] ptBuffer; }

    void singleChannelOperation(const CImage<T>& src, CImage<T>& tgt) override;
    // Refuses to run before a rank has been set.
    void preOperation() override;
    void postOperation() override {}
    // Every pixel of the target is written (see runRankChannel).
    bool overwritesTarget() const override { return true; }

    void setSize(int n) { iSize = n; }
    void setNeighborhood(int n) { iSize = n; }
    // A rank outside 0 ... count-1 is clamped into that range when used.
    void setRank(int r) { iRank = r, bRankSet = true; }
    void setParameters(float* p);
    int size() const { return iSize; }
    int rank() const { return iRank; }

    T scanSingleChannelRegion(const CImage<T>& src, int x, int y);

protected:
    int iSize;
    int iRank;
    T* ptBuffer; // owned only during one singleChannelOperation

private:
    bool bRankSet;
    void filterRows(const CImage<T>& src, CImage<T>& tgt, int h, int y0, int y1) const;
    CRankFilter(const CRankFilter&) = delete;
    CRankFilter& operator=(const CRankFilter&) = delete;
};

extern template class CRankFilter<unsigned char>;
extern template class CRankFilter<unsigned short>;
extern template class CRankFilter<float>;

#endif
