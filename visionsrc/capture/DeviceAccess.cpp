#include "capture/DeviceAccess.h"

#include <libv4l1.h>
#include <libv4l2.h>

namespace {

// libv4l's open and ioctl are variadic; the table wants fixed signatures.
int v4l1Open(const char* pcPath, int iFlags) { return v4l1_open(pcPath, iFlags); }
int v4l1Ioctl(int iFd, unsigned long ulRequest, void* pArg)
{
    return v4l1_ioctl(iFd, ulRequest, pArg);
}
int v4l2Open(const char* pcPath, int iFlags) { return v4l2_open(pcPath, iFlags); }
int v4l2Ioctl(int iFd, unsigned long ulRequest, void* pArg)
{
    return v4l2_ioctl(iFd, ulRequest, pArg);
}

const TDeviceAccess kLibv4l1 = {v4l1Open, v4l1Ioctl, v4l1_mmap, v4l1_munmap, v4l1_close};
const TDeviceAccess kLibv4l2 = {v4l2Open, v4l2Ioctl, v4l2_mmap, v4l2_munmap, v4l2_close};

} // namespace

namespace tirn {

const TDeviceAccess& libv4l1Access() { return kLibv4l1; }
const TDeviceAccess& libv4l2Access() { return kLibv4l2; }

} // namespace tirn
