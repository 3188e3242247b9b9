#include "filters/CTransformation.h"

#include <algorithm>
#include <cstdio>

#include "image/PixelTraits.h"
#include "image/TirnAssert.h"

template <class T>
CTransformation<T>::CTransformation()
    : pbMask(nullptr), bMultiChannel(false), pSource(nullptr), pTarget(nullptr),
      iSelected(0), iDepth(tirn::PixelTraits<T>::depth), iMaskLength(0)
{
}

template <class T> CTransformation<T>::~CTransformation()
{
    delete[] pbMask;
}

template <class T>
void CTransformation<T>::multiChannelOperation(const CImage<T>&, CImage<T>&)
{
    std::printf("No implementation for multi-channel mode.\n");
}

template <class T>
void CTransformation<T>::singleChannelOperation(const CImage<T>&, CImage<T>&)
{
    std::printf("No implementation for single-channel mode.\n");
}

template <class T> void CTransformation<T>::setInput(const CImage<T>* pSrc)
{
    TIRN_ASSERT(pSrc!=__null);
    pSource = pSrc;
    const int iChannels = std::max(pSrc->channels(), 0);
    bool* pbNew = new bool[std::max(iChannels, 1)];
    delete[] pbMask;
    pbMask = pbNew;
    iMaskLength = iChannels;
    std::fill(pbMask, pbMask + iChannels, true);
    iSelected = iChannels;
}

template <class T> void CTransformation<T>::setOutput(CImage<T>* pTgt)
{
    TIRN_ASSERT(pTgt!=__null);
    pTarget = pTgt;
}

template <class T> void CTransformation<T>::followSourceChannels()
{
    const int iChannels = std::max(pSource->channels(), 0);
    if (iChannels == iMaskLength)
        return;
    bool* pbNew = new bool[std::max(iChannels, 1)];
    std::fill(pbNew, pbNew + iChannels, true);
    std::copy(pbMask, pbMask + std::min(iChannels, iMaskLength), pbNew);
    delete[] pbMask;
    pbMask = pbNew;
    iMaskLength = iChannels;
    iSelected = int(std::count(pbMask, pbMask + iChannels, true));
}

template <class T> void CTransformation<T>::setMask(bool* pbMask)
{
    TIRN_ASSERT(pbMask!=__null);
    TIRN_ASSERT(pSource!=__null);
    followSourceChannels();
    std::copy(this->pbMask, this->pbMask + iMaskLength, pbMask);
    iSelected = int(std::count(pbMask, pbMask + iMaskLength, true));
}

template <class T> void CTransformation<T>::resetMask()
{
    TIRN_ASSERT(pbMask!=__null);
    TIRN_ASSERT(pSource!=__null);
    followSourceChannels();
    std::fill(pbMask, pbMask + iMaskLength, true);
    iSelected = iMaskLength;
}

template <class T> void CTransformation<T>::selectChannel(int iChannel, bool bSelect)
{
    TIRN_ASSERT(pSource!=__null);
    TIRN_ASSERT(pbMask != __null);
    TIRN_ASSERT(iChannel < pSource->channels());
    TIRN_ASSERT(iChannel >= 0);
    followSourceChannels();
    if (pbMask[iChannel] != bSelect)
        iSelected += bSelect ? 1 : -1;
    pbMask[iChannel] = bSelect;
}

template <class T> void CTransformation<T>::deselectAll()
{
    for (int i = 0; i < pSource->channels(); ++i)
        selectChannel(i, false);
}

template <class T> int CTransformation<T>::selectChannel(const char* pcCommand)
{
    TIRN_ASSERT(pSource!=__null);
    TIRN_ASSERT(pbMask != __null);
    TIRN_ASSERT(pcCommand != __null);
    // A source that lost all its channels leaves no selectChannel(i, ...)
    // below to bring the mask and the count up to date.
    followSourceChannels();
    const int iChannels = pSource->channels();

    // The pattern is only stored while it fits; beyond that its length is
    // still counted (saturating) so the failure message can name it.
    char acPattern[kMaxPattern];
    long long llLength = 0;
    long long llCount = 0;
    const long long llCap = 1LL << 40;
    auto append = [&](char cSymbol, long long n) {
        for (long long i = llLength; i < llLength + n && i < kMaxPattern; ++i)
            acPattern[i] = cSymbol;
        llLength = std::min(llLength + n, llCap);
    };

    for (const char* p = pcCommand; *p; ++p) {
        const char c = *p;
        if (c == ' ')
            continue; // a blank does not end a number: "1 2X" is twelve X
        if (c >= '0' && c <= '9') {
            llCount = std::min(10 * llCount + (c - '0'), llCap);
            continue;
        }
        if (c == '#' || c == 'X' || c == 'x') {
            append(c == '#' ? '#' : 'X', llCount < 1 ? 1 : llCount);
            llCount = 0;
            continue;
        }
        if (c == '*' || c == '+') {
            if (llLength < iChannels)
                append(c == '+' ? 'X' : '#', iChannels - llLength);
            break;
        }
        std::printf(" Illegal token in selection string: '%c'! Deselecting all channels!\a\n", c);
        deselectAll();
        return 0;
    }

    if (llLength != iChannels || llLength > kMaxPattern) {
        std::printf(" Illegal selection length: %d set but %d required!\a\n",
                    int(std::min<long long>(llLength, 2147483647LL)), iChannels);
        std::printf(" Deselecting all channels!\n");
        deselectAll();
        return 0;
    }
    for (int i = 0; i < iChannels; ++i)
        selectChannel(i, acPattern[i] == 'X');
    return 1;
}

namespace {

template <class T> bool holdsChannel(const CImage<T>& image, const CImageChannel<T>* pChannel)
{
    for (int c = 0; c < image.channels(); ++c)
        if (image.getChannelPtr(c) == pChannel)
            return true;
    return false;
}

template <class T> bool sharesNoChannel(const CImage<T>& source, const CImage<T>& target)
{
    if (&source == &target)
        return false;
    for (int t = 0; t < target.channels(); ++t)
        if (holdsChannel(source, target.getChannelPtr(t)))
            return false;
    return true;
}

} // namespace

// A fresh zeroed channel, or, for an operation that writes every pixel of
// its target, the previous result's channel where nothing but the target
// holds it: the exec below hands it back (adopted) at the same size, so
// repeated calls need not allocate and clear a new one each time.
template <class T>
CImage<T> CTransformation<T>::makeScratch(const CImage<T>& source, const CImage<T>& target,
                                          int iLastSelected) const
{
    const int w = source.width(), h = source.height();
    if (overwritesTarget() && &source != &target && iLastSelected >= 0 &&
        iLastSelected < target.channels()) {
        const CImageChannel<T>* pOld = target.getChannelPtr(iLastSelected);
        if (pOld->refs() == 1 && pOld->width() == w && pOld->height() == h) {
            CImage<T> scratch(w, h, 0);
            scratch.appendChannel(iLastSelected, target);
            return scratch;
        }
    }
    return CImage<T>(w, h, 1);
}

template <class T> void CTransformation<T>::exec()
{
    TIRN_ASSERT(pSource!=__null);
    TIRN_ASSERT(pTarget!=__null);
    followSourceChannels();
    if (iSelected == 0)
        return;
    preOperation();
    const CImage<T>& source = *pSource;
    CImage<T>& target = *pTarget;
    if (!bMultiChannel) {
        int iLastSelected = source.channels() - 1;
        while (iLastSelected >= 0 && !pbMask[iLastSelected])
            --iLastSelected;
        CImage<T> scratch = makeScratch(source, target, iLastSelected);
        // The unselected channels of the result are the source's.
        target = source;
        for (int c = 0; c <= iLastSelected; ++c) {
            if (!pbMask[c])
                continue;
            const CImage<T> channel = source.extractChannel(c);
            singleChannelOperation(channel, scratch);
            // The scratch's pixels are the last channel's result: after it
            // nothing reads them, so they need not be copied.
            if (c == iLastSelected && scratch.channels() >= 1 &&
                target.canAdoptChannel(c, scratch, 0)) {
                target.adoptChannel(c, scratch, 0);
                continue;
            }
            target.detach(c);
            target.fillChannel(scratch, 0, c);
        }
    } else if (sharesNoChannel(source, target)) {
        // The operation only reads its input, and nothing it writes (the
        // target) holds a channel of the source: the selected channels can
        // be handed over as they are, without the copy. An operation that
        // passes its input's channels on (channel selection) gets the copy
        // afterwards, for those channels alone.
        {
            CImage<T> working(source.width(), source.height(), 0);
            working.setName(source.getName());
            for (int c = 0; c < source.channels(); ++c)
                if (pbMask[c])
                    working.appendChannel(c, source);
            target.resize(source.width(), source.height(), 1);
            multiChannelOperation(working, target);
        }
        for (int t = 0; t < target.channels(); ++t)
            if (holdsChannel(source, target.getChannelPtr(t)))
                target.detach(t);
    } else {
        CImage<T> working(source);
        for (int c = working.channels() - 1; c >= 0; --c)
            if (!pbMask[c])
                working.removeChannel(c);
        target.resize(source.width(), source.height(), 1);
        multiChannelOperation(working, target);
    }
    postOperation();
}

template class CTransformation<unsigned char>;
template class CTransformation<unsigned short>;
template class CTransformation<float>;
