// Scripting classes of the frame grabbers: CImageTVGrab and CImageUSBGrab.
// Every wrapper reports library exceptions; a failed grab returns -1.
#include "binding/ClassTables.h"
#include "binding/TirnDispatch.h"
#include "capture/CImageTVGrab.h"
#include "capture/CImageUSBGrab.h"

using namespace tirn::binding;

const char* const CImageTVGrab_c[] = {
    "CImageTVGrab_0_:",
    "CImageTVGrab(int=200,int=0,int=0,int=1,int=0)",
    "~CImageTVGrab()",
    "float grab(class CImage)",
    "void setsize(int,int=0)",
    nullptr};

const char* const CImageUSBGrab_c[] = {
    "CImageUSBGrab_0_:",
    "CImageUSBGrab(int=160,int=120,int=0)",
    "~CImageUSBGrab()",
    "float grab(class CImage,int=0)",
    "void setsize(int,int)",
    nullptr};

namespace {

const float kGrabFailed = -1.0f;

template <class Op> float guardedGrab(Op&& op)
{
    try {
        return op();
    } catch (const std::exception&) {
        reportCurrentException();
        return kGrabFailed;
    }
}

} // namespace

// --- CImageTVGrab ----------------------------------------------------------

TIRN_EXPORT void* CImageTVGrab_0_CImageTVGrab([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const int iWidth = argInt(apArgs, 0), iHeight = argInt(apArgs, 1);
    const int iDevice = argInt(apArgs, 2), iChannel = argInt(apArgs, 3);
    const bool bMirror = argInt(apArgs, 4) != 0;
    return guarded<void*>(
        [&]() -> void* { return new CImageTVGrab(iWidth, iHeight, iDevice, iChannel, bMirror); });
}

TIRN_EXPORT void CImageTVGrab_0_FREE_CImageTVGrab(void* pObject)
{
    guarded<void>([&] { delete static_cast<CImageTVGrab*>(pObject); });
}

// The image is taken as an 8-bit image whatever its depth, as scripts have
// always used it: give it an 8-bit image.
TIRN_WRAPPER(float, CImageTVGrab_0_grab)
{
    auto& image = *static_cast<CImage<unsigned char>*>(apArgs[0]);
    return guardedGrab([&] { return static_cast<CImageTVGrab*>(pObject)->grab(image); });
}

TIRN_WRAPPER(void, CImageTVGrab_0_setsize)
{
    const int iWidth = argInt(apArgs, 0), iHeight = argInt(apArgs, 1);
    guarded<void>([&] { static_cast<CImageTVGrab*>(pObject)->setsize(iWidth, iHeight); });
}

// --- CImageUSBGrab ---------------------------------------------------------

TIRN_EXPORT void* CImageUSBGrab_0_CImageUSBGrab([[maybe_unused]] int const* aiDims, void** apArgs)
{
    const int iWidth = argInt(apArgs, 0), iHeight = argInt(apArgs, 1);
    const int iDevice = argInt(apArgs, 2);
    return guarded<void*>([&]() -> void* { return new CImageUSBGrab(iWidth, iHeight, iDevice); });
}

TIRN_EXPORT void CImageUSBGrab_0_FREE_CImageUSBGrab(void* pObject)
{
    guarded<void>([&] { delete static_cast<CImageUSBGrab*>(pObject); });
}

TIRN_WRAPPER(float, CImageUSBGrab_0_grab)
{
    void* pImage = apArgs[0];
    const int iMode = argInt(apArgs, 1);
    auto& grabber = *static_cast<CImageUSBGrab*>(pObject);
    if (!isKnownDepth(depthOf(pImage))) {
        std::fputs("CImage unknown depth!\n", stdout);
        return kGrabFailed;
    }
    return guardedGrab([&] {
        switch (depthOf(pImage)) {
        case 16: return grabber.grab(*static_cast<CImage<unsigned short>*>(pImage), iMode);
        case 32: return grabber.grab(*static_cast<CImage<float>*>(pImage), iMode);
        default: return grabber.grab(*static_cast<CImage<unsigned char>*>(pImage), iMode);
        }
    });
}

TIRN_WRAPPER(void, CImageUSBGrab_0_setsize)
{
    const int iWidth = argInt(apArgs, 0), iHeight = argInt(apArgs, 1);
    guarded<void>([&] { static_cast<CImageUSBGrab*>(pObject)->setsize(iWidth, iHeight); });
}
