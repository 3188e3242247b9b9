#ifndef CIMAGEUSBGRAB_H
#define CIMAGEUSBGRAB_H

#include <condition_variable>
#include <cstddef>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

#include "capture/DeviceAccess.h"
#include "image/CImage.h"

// Frames of a USB webcam ("/dev/video<device>") through the version-2 video
// interface. libv4l2 converts the camera's own format to RGB24; a capture
// thread keeps the newest frame so that grab never sees a backlog.
//
// Sizes: the camera is asked for the requested size and delivers the nearest
// one it supports; that size is kept (width(), height()) and every grabbed
// image has it. A camera that cannot deliver RGB24 at all, or a size below
// 1, is refused with a CException.
//
// One object is used by one thread at a time; its capture thread is the only
// other party.
class CImageUSBGrab
{
public:
    CImageUSBGrab(int iWidth = 160, int iHeight = 120, int iDevice = 0);
    // Waits for the frame in progress (at most one frame interval) to stop
    // the capture thread.
    ~CImageUSBGrab();
    CImageUSBGrab(const CImageUSBGrab&) = delete;
    CImageUSBGrab& operator=(const CImageUSBGrab&) = delete;

    // Copies a frame into image as red, green and blue channels (values 0 to
    // 255 at every depth; rows bottom-up, as CImageTVGrab delivers them) and
    // returns the time it arrived, in seconds since the grabber was created.
    // iMode 0 waits for a frame that no earlier grab returned; any other
    // value returns the newest frame at once, even a repeated one (it waits
    // only for the very first frame). A failed capture is thrown.
    template <class T> float grab(CImage<T>& image, int iMode = 0);
    // Restarts capture at the nearest size the camera supports. On failure
    // the old size is restored and the failure thrown.
    void setsize(int iWidth, int iHeight);

    int width() const { return m_iWidth; }
    int height() const { return m_iHeight; }

    // The driver calls used by grabbers created from now on; null restores
    // libv4l2. Returns the previous table. For tests without a camera.
    static const TDeviceAccess* setDeviceAccess(const TDeviceAccess* pAccess);

private:
    struct TMappedBuffer
    {
        void* pStart;
        std::size_t length;
    };

    void startCapture(int iWidth, int iHeight);
    void stopCapture();
    void releaseBuffers();
    void captureLoop();

    const TDeviceAccess* m_pAccess;
    int m_iDevice;
    int m_fd = -1;
    int m_iWidth = 0;
    int m_iHeight = 0;
    std::size_t m_bytesPerLine = 0;
    double m_dStartTime = 0.0;
    std::vector<TMappedBuffer> m_buffers;
    std::thread m_thread;

    // Guarded by m_mutex; m_frameArrived is notified for every new frame, for
    // a capture failure and when the thread stops.
    std::mutex m_mutex;
    std::condition_variable m_frameArrived;
    std::vector<unsigned char> m_latest; // RGB24, rows top-down, no padding
    unsigned long m_ulFrames = 0;
    unsigned long m_ulReturned = 0;
    double m_dFrameTime = 0.0;
    bool m_bStop = false;
    std::string m_sError;
};

#endif
