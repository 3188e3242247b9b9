// Puts the fake drivers into the grabbers' device-access tables.
#include "FakeVideoDevices.h"

#include "capture/CImageTVGrab.h"
#include "capture/CImageUSBGrab.h"

namespace fake {
namespace {

const TDeviceAccess* g_pPreviousV1 = nullptr;
const TDeviceAccess* g_pPreviousV2 = nullptr;

} // namespace

void installV4L1(const V4L1Config& config)
{
    resetV4L1(config);
    const TDeviceAccess* pPrevious = CImageTVGrab::setDeviceAccess(&v4l1Access());
    if (pPrevious != &v4l1Access())
        g_pPreviousV1 = pPrevious;
}

void uninstallV4L1() { CImageTVGrab::setDeviceAccess(g_pPreviousV1); }

void installV4L2(const V4L2Config& config)
{
    resetV4L2(config);
    const TDeviceAccess* pPrevious = CImageUSBGrab::setDeviceAccess(&v4l2Access());
    if (pPrevious != &v4l2Access())
        g_pPreviousV2 = pPrevious;
}

void uninstallV4L2() { CImageUSBGrab::setDeviceAccess(g_pPreviousV2); }

} // namespace fake
