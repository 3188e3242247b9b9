#ifndef CIMAGETVGRAB_H
#define CIMAGETVGRAB_H

#include "capture/DeviceAccess.h"
#include "image/CImage.h"

// Diagnostics on standard error: 1 and above set-up and tear-down, above 1
// the instance count, above 2 every frame. The library never changes it; the
// embedding program sets it, before it creates grabbers (the capture threads
// read it without a lock).
extern int vflg_verbosity;
// Reset by every constructor to the clock in single precision: with present
// clock values a multiple of 128 seconds. Every returned time is relative to
// it, so returned times can be negative; kept so on purpose.
extern double vflg_starttime;

// Live colour frames from "/dev/video0" .. "/dev/video3" through the
// version-1 video interface. Any number of objects share a device; the first
// opens it and starts its capture thread, the last stops the thread and
// closes it. One object is used by one thread at a time; objects of one
// device used from different threads take turns in grab and setsize.
class CImageTVGrab
{
public:
    // iHeight 0 means iWidth*3/4.
    CImageTVGrab(int iWidth = 200, int iHeight = 0, int iDevice = 0, int iChannel = 1,
                 bool bMirror = false);
    // The last object of a device stops its thread and closes it; failures
    // of that tear-down are thrown, as the constructor's are.
    ~CImageTVGrab() noexcept(false);
    CImageTVGrab(const CImageTVGrab&) = delete;
    CImageTVGrab& operator=(const CImageTVGrab&) = delete;

    // Waits until the device has a frame that no grab has taken yet (the
    // newest one only: frames nobody took are dropped), copies it as red,
    // green and blue channels and returns the time of the copy in seconds
    // relative to vflg_starttime. The image gets the size of the copied
    // frame, which another object of the device may have changed.
    float grab(CImage<unsigned char>& image);
    // iHeight 0 means iWidth*3/4. Changes the size for every object of the
    // device; returns once the frames of the old size are gone. A refused
    // size leaves everything as it was.
    void setsize(int iWidth, int iHeight);

    // The driver calls used by devices opened from now on; null restores
    // libv4l1. Returns the previous table. For tests without a camera.
    static const TDeviceAccess* setDeviceAccess(const TDeviceAccess* pAccess);

private:
    void openDevice();
    void joinDevice();
    void setparams();
    void save_setparams();
    static void* grabber_funct(void* object);

    int device;
    int channel;
    bool mirror;
    int width;
    int height;
    double time;
};

#endif
