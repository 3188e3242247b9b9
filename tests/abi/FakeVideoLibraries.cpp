// The video driver libraries as the plug-in sees them in the ABI tests: this
// executable defines libv4l1's and libv4l2's calls, so the dynamic linker
// binds the plug-in's references to them instead of the real libraries, and
// the grabbers run unchanged against the fake devices. Nothing inside the
// plug-in is replaced or needs a hook.
#include <cstdarg>
#include <cstddef>
#include <cstdint>

#include <libv4l1.h>
#include <libv4l2.h>

#include "capture/DeviceAccess.h"
#include "unit/FakeVideoDevices.h"

// Visible from the executable (the build hides everything by default).
#pragma GCC visibility push(default)
extern "C" {

// Each library's five calls, handed to its fake device.
#define FAKE_VIDEO_LIBRARY(lib, access)                                                            \
    int lib##_open(const char* pcFile, int iFlags, ...) { return access().open(pcFile, iFlags); } \
    int lib##_close(int iFd) { return access().close(iFd); }                                       \
    int lib##_ioctl(int iFd, unsigned long int ulRequest, ...)                                     \
    {                                                                                              \
        va_list args;                                                                              \
        va_start(args, ulRequest);                                                                 \
        void* pArg = va_arg(args, void*);                                                          \
        va_end(args);                                                                              \
        return access().ioctl(iFd, ulRequest, pArg);                                               \
    }                                                                                              \
    void* lib##_mmap(void* pStart, size_t length, int iProt, int iFlags, int iFd, int64_t offset)  \
    {                                                                                              \
        return access().mmap(pStart, length, iProt, iFlags, iFd, offset);                          \
    }                                                                                              \
    int lib##_munmap(void* pStart, size_t length) { return access().munmap(pStart, length); }

FAKE_VIDEO_LIBRARY(v4l1, fake::v4l1Access)
FAKE_VIDEO_LIBRARY(v4l2, fake::v4l2Access)

} // extern "C"
#pragma GCC visibility pop
