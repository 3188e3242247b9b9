// The five calls through which the grabbers reach a video device. The
// defaults are libv4l1 (for CImageTVGrab) and libv4l2 (for CImageUSBGrab);
// a test installs a fake driver in their place, so the capture code runs
// unchanged without a camera.
#ifndef DEVICEACCESS_H
#define DEVICEACCESS_H

#include <cstddef>
#include <cstdint>

struct TDeviceAccess
{
    int (*open)(const char* pcPath, int iFlags);
    int (*ioctl)(int iFd, unsigned long ulRequest, void* pArg);
    void* (*mmap)(void* pStart, std::size_t length, int iProt, int iFlags, int iFd,
                  std::int64_t offset);
    int (*munmap)(void* pStart, std::size_t length);
    int (*close)(int iFd);
};

namespace tirn {

// libv4l1 serves the version-1 requests on any current (version 2) device.
const TDeviceAccess& libv4l1Access();
// libv4l2 converts the common camera formats to RGB24 on the way.
const TDeviceAccess& libv4l2Access();

} // namespace tirn

#endif
