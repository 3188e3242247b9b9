// Units between images and the host's ordinary array pins, for networks
// that know nothing of images: an image's channels as output pins (pointing
// into the image, or copied at a fixed length), and an image built from one
// input pin per channel plus a size pin.
#include <algorithm>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>
#include <vector>

#include "image/ImageBudget.h"
#include "units/UnitSupport.h"

using namespace tirn::units;
using tirn::binding::byPixelType;
using tirn::binding::TagPixel;

TIRN_EXPORT def_unittype* CImageToDynPins(int iChannels, int iIsFloat, def_unittype* pHost);
TIRN_EXPORT def_unittype* CImageToFixPins(int iWidth, int iHeight, int iChannels, int iIsFloat,
                                          def_unittype* pHost);
TIRN_EXPORT def_unittype* DynPinsToCImage(int iChannels, int iIsFloat, def_unittype* pHost);

namespace {

const char kToPinsName[] = "CImageToPins";
const char kToImageName[] = "PinsToCImage";

const char kToPinsDialog[] =
    " make channels of CImage object accessible as pins %n%n size of image:      %0i x %0i %n "
    "number of channels: %1i %n depth of CImage:    %0:1b%lbyte|float %n %n ------------------ "
    "W A R N I N G ---------------- %n Ensure to execute this unit after changing input! %n%n "
    "%[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";
const char kToImageDialog[] =
    " create image from input pins %n%n number of channels: %1i %n depth of CImage:    "
    "%0:1b%lbyte|float %n %n %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";

// A channel count becomes a pin count: its absolute value, at most what the
// host's pin numbering leaves room for (the size pin takes one more on the
// image side).
const int kMaxChannelPins = 251;
const int kMaxImageChannelPins = 250;

int channelPins(int iChannels, int iCap)
{
    return int(std::min<std::int64_t>(std::llabs(std::int64_t(iChannels)), iCap));
}

int depthOfFlag(int iIsFloat) { return iIsFloat ? 32 : 8; }
char letterOfFlag(int iIsFloat) { return iIsFloat ? 'F' : 'C'; }

std::string format(const char* pcFormat, char c, long long n = 0)
{
    char acText[32];
    std::snprintf(acText, sizeof acText, pcFormat, c, n);
    return acText;
}

// primitive_unit3 takes its type texts as arrays of char*.
def_unittype* makeUnit(std::vector<std::string>& in, std::vector<std::string>& out,
                       def_unittype* pHost)
{
    std::vector<char*> apcIn, apcOut;
    for (std::string& s : in)
        apcIn.push_back(&s[0]);
    for (std::string& s : out)
        apcOut.push_back(&s[0]);
    return primitive_unit3(int(apcIn.size()), apcIn.data(), int(apcOut.size()), apcOut.data(),
                           pHost);
}

// The image pin's starting value, made by the unit and from then on the
// host's (it frees it through the pin type).
template <class T> void keepNewImage(def_pin* pPin, int iChannels)
{
    if (pPin)
        pPin->pValue = new CImage<T>(1, 1, iChannels);
}

// An output pin re-pointed at memory the host must never free.
void repoint(def_unittype* pUnit, int iPin, int iLength, void* pData)
{
    if (def_pin* pPin = outputPin(pUnit, iPin))
        pPin->iHostOwned = 0;
    qor_reassign(pUnit, iPin, 0, iLength, pData);
}

// No pixels are copied: the pins show the image's own channels, which is
// why the dialog asks to run this unit after every change of its input.
template <class T> int execDynPins(def_unittype* pUnit)
{
    return reportFailures(kToPinsName, [&] {
        CImage<T>* pImage = imageOn<T>(inputPin(pUnit, 0));
        if (!pImage)
            return 0;
        const int w = pImage->width(), h = pImage->height(), c = pImage->channels();
        const int n = pinCount(pUnit->pOutputGroups, pUnit->iOutputGroups);
        for (int i = 0; i < n; ++i) {
            T* pData = i < c ? pImage->getChannelDataPtr(i) : nullptr;
            if (pData)
                repoint(pUnit, i, w * h, pData);
            else
                repoint(pUnit, i, 0, nullptr);
        }
        return 0;
    });
}

// No pin may keep pointing into the image once the unit is gone.
int removeDynPins(def_unittype* pUnit)
{
    return reportFailures(kToPinsName, [&] {
        const int n = pinCount(pUnit->pOutputGroups, pUnit->iOutputGroups);
        for (int i = 0; i < n; ++i)
            repoint(pUnit, i, 0, nullptr);
        return 0;
    });
}

template <class T> int execFixPins(def_unittype* pUnit)
{
    return reportFailures(kToPinsName, [&] {
        CImage<T>* pImage = imageOn<T>(inputPin(pUnit, 0));
        if (!pImage)
            return 0;
        const int iPixels = pImage->width() * pImage->height();
        const int n = pinCount(pUnit->pOutputGroups, pUnit->iOutputGroups);
        for (int i = 0; i < n; ++i) {
            def_pin* pPin = outputPin(pUnit, i);
            T* pOut = static_cast<T*>(pPin->pValue);
            if (!pOut)
                continue;
            const int iRoom = std::max(pPin->iLength, 0);
            const T* pIn = i < pImage->channels() ? pImage->getChannelDataPtr(i) : nullptr;
            const int iCopied = pIn ? std::min(iRoom, iPixels) : 0;
            std::copy(pIn, pIn + iCopied, pOut);
            std::fill(pOut + iCopied, pOut + iRoom, T(0));
        }
        return 0;
    });
}

// A pin length that does not match the size pin leaves the image as it was.
template <class T> int execPinsToImage(def_unittype* pUnit)
{
    return reportFailures(kToImageName, [&] {
        CImage<T>* pImage = imageOn<T>(outputPin(pUnit, 0));
        const int n = pinCount(pUnit->pInputGroups, pUnit->iInputGroups);
        const def_pin* pSize = n > 0 ? inputPin(pUnit, n - 1) : nullptr;
        if (!pImage || !pSize || !pSize->pValue)
            return 0;
        const float* pfSize = static_cast<const float*>(pSize->pValue);
        const int w = tirn::truncateToInt32(pfSize[0]), h = tirn::truncateToInt32(pfSize[1]);
        const std::int64_t llPixels = std::int64_t(w) * h;
        bool bCoherent = w >= 0 && h >= 0;
        for (int i = 0; bCoherent && i < n - 1; ++i)
            bCoherent = qor_dim_of_dyn_inp(pUnit, i, 0) == llPixels &&
                        (llPixels == 0 || inputPin(pUnit, i)->pValue);
        if (!bCoherent) {
            qor_warning("%S: incoherent dimension of input pins!\n", kToImageName);
            return 0;
        }
        // The channel count is checked as well, so that no pin is copied
        // into a channel the image lacks.
        if (w != pImage->width() || h != pImage->height() || pImage->channels() != n - 1)
            pImage->resize(w, h, n - 1);
        for (int i = 0; i < n - 1; ++i) {
            const T* pIn = static_cast<const T*>(inputPin(pUnit, i)->pValue);
            std::copy(pIn, pIn + llPixels, pImage->getChannelDataPtr(i));
        }
        return 0;
    });
}

// The steps all three creation functions share: check the holding unit,
// build the unit from its type texts, then let setUp give it its image and
// callbacks.
template <class SetUp>
def_unittype* createPinUnit(const char* pcName, std::vector<std::string> in,
                            std::vector<std::string> out, def_unittype* pHost, int iDepth,
                            SetUp&& setUp)
{
    if (is_not_unit(pHost)) {
        qor_warning("%S: illegal host unit!", pcName);
        return nullptr;
    }
    def_unittype* pUnit = nullptr;
    try {
        pUnit = makeUnit(in, out, pHost);
        if (pUnit)
            byPixelType(iDepth, 0, [&](auto tag) {
                setUp(tag, pUnit);
                return 0;
            });
    } catch (...) {
        if (pUnit)
            qor_remove0(pUnit);
        pUnit = nullptr;
    }
    if (!pUnit)
        qor_warning("%S: failed to create unit!", pcName);
    return pUnit;
}

} // namespace

TIRN_EXPORT def_unittype* CImageToDynPins(int iChannels, int iIsFloat, def_unittype* pHost)
{
    const int k = channelPins(iChannels, kMaxChannelPins);
    return createPinUnit(kToPinsName, {"<tirnvision.CImage>"},
                         std::vector<std::string>(k, format("<%c>", letterOfFlag(iIsFloat))),
                         pHost, depthOfFlag(iIsFloat), [](auto tag, def_unittype* pUnit) {
                             typedef TagPixel<decltype(tag)> T;
                             keepNewImage<T>(inputPin(pUnit, 0), 1);
                             pUnit->pfExec = execDynPins<T>;
                             pUnit->pfRemove = removeDynPins;
                             label(pUnit, "CImage|to|pins");
                         });
}

TIRN_EXPORT def_unittype* CImageToFixPins(int iWidth, int iHeight, int iChannels, int iIsFloat,
                                          def_unittype* pHost)
{
    const int k = channelPins(iChannels, kMaxChannelPins);
    const std::int64_t llLength = std::int64_t(iWidth) * iHeight;
    // A pin of no or of negative length is no pin the host can make; pins
    // the host would fill with more than the memory budget are refused the
    // way an image that large would be.
    if (llLength <= 0 || llLength > INT32_MAX ||
        !tirn::bufferFitsBudget(std::uint64_t(llLength) * std::uint64_t(k),
                                iIsFloat ? sizeof(float) : 1)) {
        qor_warning("%S: failed to create unit!", kToPinsName);
        return nullptr;
    }
    return createPinUnit(
        kToPinsName, {"<tirnvision.CImage>"},
        std::vector<std::string>(k, format("%c%lld", iIsFloat ? 'f' : 'c', llLength)), pHost,
        depthOfFlag(iIsFloat), [](auto tag, def_unittype* pUnit) {
            typedef TagPixel<decltype(tag)> T;
            keepNewImage<T>(inputPin(pUnit, 0), 1);
            pUnit->pfExec = execFixPins<T>;
            label(pUnit, "CImage|to|pins");
        });
}

TIRN_EXPORT def_unittype* DynPinsToCImage(int iChannels, int iIsFloat, def_unittype* pHost)
{
    const int k = channelPins(iChannels, kMaxImageChannelPins);
    std::vector<std::string> in(k, format("<%c>", letterOfFlag(iIsFloat)));
    in.push_back("s2");
    return createPinUnit(kToImageName, in, {"<tirnvision.CImage>"}, pHost, depthOfFlag(iIsFloat),
                         [k](auto tag, def_unittype* pUnit) {
                             typedef TagPixel<decltype(tag)> T;
                             keepNewImage<T>(outputPin(pUnit, 0), k);
                             pUnit->pfExec = execPinsToImage<T>;
                             label(pUnit, "pins|to|CImage");
                         });
}

// A size whose product is positive makes the fixed-length unit, so
// leaving the preset 0 x 0 takes the size from the image at run time.
TIRN_EXPORT def_unittype* _fun1_CImageToPins(int, int, QorIconDef_*, def_unittype* pUnit)
{
    const int w = IVAL(0), h = IVAL(1);
    if (std::int64_t(w) * h > 0)
        return CImageToFixPins(w, h, IVAL(2), IVAL(3), pUnit);
    return CImageToDynPins(IVAL(2), IVAL(3), pUnit);
}

TIRN_EXPORT def_unittype* _fun1_PinsToCImage(int, int, QorIconDef_*, def_unittype* pUnit)
{
    return DynPinsToCImage(IVAL(0), IVAL(1), pUnit);
}

TIRN_EXPORT int _fun2_CImageToPins(int, int, QorIconDef_*, def_unittype*) { return 1; }
TIRN_EXPORT int _fun2_PinsToCImage(int, int, QorIconDef_*, def_unittype*) { return 1; }

TIRN_EXPORT const QorIconDef_ ICONDEF_CImageToPins = {
    nullptr, _fun1_CImageToPins, _fun2_CImageToPins, kToPinsDialog, gacButtonRow,
    "CImage|to|pins", "", nullptr};
TIRN_EXPORT const QorIconDef_ ICONDEF_PinsToCImage = {
    nullptr, _fun1_PinsToCImage, _fun2_PinsToCImage, kToImageDialog, gacButtonRow,
    "pins|to|CImage", "", nullptr};
