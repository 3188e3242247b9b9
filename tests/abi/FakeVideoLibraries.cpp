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

namespace {

void* variadicPointer(va_list args) { return va_arg(args, void*); }

} // namespace

// Visible from the executable (the build hides everything by default).
#pragma GCC visibility push(default)
extern "C" {

int v4l1_open(const char* pcFile, int iFlags, ...) { return fake::v4l1Access().open(pcFile, iFlags); }
int v4l1_close(int iFd) { return fake::v4l1Access().close(iFd); }
int v4l1_ioctl(int iFd, unsigned long int ulRequest, ...)
{
    va_list args;
    va_start(args, ulRequest);
    void* pArg = variadicPointer(args);
    va_end(args);
    return fake::v4l1Access().ioctl(iFd, ulRequest, pArg);
}
void* v4l1_mmap(void* pStart, size_t length, int iProt, int iFlags, int iFd, int64_t offset)
{
    return fake::v4l1Access().mmap(pStart, length, iProt, iFlags, iFd, offset);
}
int v4l1_munmap(void* pStart, size_t length) { return fake::v4l1Access().munmap(pStart, length); }

int v4l2_open(const char* pcFile, int iFlags, ...) { return fake::v4l2Access().open(pcFile, iFlags); }
int v4l2_close(int iFd) { return fake::v4l2Access().close(iFd); }
int v4l2_ioctl(int iFd, unsigned long int ulRequest, ...)
{
    va_list args;
    va_start(args, ulRequest);
    void* pArg = variadicPointer(args);
    va_end(args);
    return fake::v4l2Access().ioctl(iFd, ulRequest, pArg);
}
void* v4l2_mmap(void* pStart, size_t length, int iProt, int iFlags, int iFd, int64_t offset)
{
    return fake::v4l2Access().mmap(pStart, length, iProt, iFlags, iFd, offset);
}
int v4l2_munmap(void* pStart, size_t length) { return fake::v4l2Access().munmap(pStart, length); }

} // extern "C"
#pragma GCC visibility pop
