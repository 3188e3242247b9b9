#ifndef CTRANSFORMATION_H
#define CTRANSFORMATION_H

#include "image/CImage.h"

// Base of every image-to-image operation on a chosen subset of the source's
// channels. exec() loops over the selected channels (single-channel mode) or
// hands the operation a copy holding only the selected ones (multi-channel
// mode).
//
// Layout invariant: the host binding calls depth(), selectChannel() and
// selected() through CTransformation<unsigned char> whatever the object's
// element type is, so every field below is of a type that does not depend
// on T (pointers, bool, int) and they stand in the same order in all three
// instantiations. Do not add a T-sized field here.
//
// Filters do not own their images; the source must outlive exec().
template <class T> class CTransformation
{
public:
    CTransformation();
    virtual ~CTransformation();

    // The base versions only report that the mode is not implemented.
    virtual void multiChannelOperation(const CImage<T>& src, CImage<T>& tgt);
    virtual void singleChannelOperation(const CImage<T>& src, CImage<T>& tgt);
    virtual void preOperation() = 0;
    virtual void postOperation() = 0;
    // True where singleChannelOperation writes every pixel of its target's
    // channel 0 whatever it held: its scratch may then be a reused channel.
    virtual bool overwritesTarget() const { return false; }

    // Selects all channels of the new source again.
    void setInput(const CImage<T>* pSrc);
    void setOutput(CImage<T>* pTgt);
    int depth() const { return iDepth; }
    void setMutliChannelOp(bool bMulti) { bMultiChannel = bMulti; }

    // Copies the current selection INTO the caller's array (kept so on
    // purpose: the object's own mask is left unchanged).
    void setMask(bool* pbMask);
    void resetMask();
    void selectChannel(int iChannel, bool bSelect);
    // Selection string: 'X'/'x' selected, '#' not, decimal repeat counts,
    // blanks ignored, '*' pads with '#', '+' pads with 'X'. 1 on success;
    // on failure a message on standard output and nothing selected.
    int selectChannel(const char* pcCommand);
    int selected() const { return iSelected; }
    bool isSelected(int iChannel) const { return pbMask[iChannel]; }

    void exec();

    // Longest selection pattern a string may describe.
    static constexpr int kMaxPattern = 512;

protected:
    bool* pbMask;
    bool bMultiChannel;
    const CImage<T>* pSource;
    CImage<T>* pTarget;
    int iSelected;
    int iDepth;

private:
    // Mask entries allocated by setInput. The source may change its channel
    // count afterwards; the mask then follows it (new channels selected)
    // instead of being read past its end.
    int iMaskLength;
    void followSourceChannels();
    void deselectAll();
    CImage<T> makeScratch(const CImage<T>& source, const CImage<T>& target,
                          int iLastSelected) const;

    CTransformation(const CTransformation&) = delete;
    CTransformation& operator=(const CTransformation&) = delete;
};

// A two-image operation without channel selection. Only CFilter<T,T> is
// instantiated. exec comes first among the virtual operations.
template <class S, class T> class CFilter
{
public:
    virtual void exec(const CImage<S>* pSrc, CImage<T>* pTgt) = 0;
    virtual ~CFilter() = default;
};

extern template class CTransformation<unsigned char>;
extern template class CTransformation<unsigned short>;
extern template class CTransformation<float>;

#endif
