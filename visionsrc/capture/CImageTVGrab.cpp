#include "capture/CImageTVGrab.h"

#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <mutex>
#include <string>

#include <fcntl.h>
#include <pthread.h>
#include <semaphore.h>
#include <sys/ioctl.h> // the request macros of the header below need it
#include <sys/mman.h>
#include <sys/time.h>
#include <time.h>

#include <libv4l1-videodev.h>

int vflg_verbosity = 0;
double vflg_starttime = 0.0;

namespace {

constexpr int kDevices = 4;
constexpr unsigned kPalette = VIDEO_PALETTE_RGB24; // 3 bytes a pixel: blue, green, red
constexpr long kPauseNanoseconds = 15000000;
constexpr long kLostFrameMicroseconds = 45000;

// Per-device state, indexed by the device number.
//
// Lock order: open_mutex, grab_mutex, frame_mutex, semph_mutex. A caller
// waits on new_pictures under semph_mutex and releases it before it takes
// frame_mutex; the capture thread takes semph_mutex only while it holds
// frame_mutex. open_mutex serialises opening, joining and leaving a device
// (and so the count of its objects). grab_mutex makes the callers of a
// device take turns: a second caller waiting under semph_mutex while the
// thread still has to check the count of the first one's frame would keep
// the thread from ever posting again. A caller leaves grab_mutex only after
// a pass through frame_mutex, which the thread holds until its check is
// done. The capture thread takes neither open_mutex nor grab_mutex.
int vflg_fd[kDevices] = {-1, -1, -1, -1};
int vflg_useframe[kDevices] = {-1, -1, -1, -1}; // guarded by frame_mutex
unsigned char* vflg_buf[kDevices];
video_mbuf vflg_vmbuf[kDevices];
video_channel vflg_vchan[kDevices];
video_mmap vflg_params[kDevices][2];           // guarded by frame_mutex
int vflg_maxwidth[kDevices];
int vflg_opencount[kDevices];                  // guarded by open_mutex
pthread_mutex_t frame_mutex[kDevices];         // capture requests and frame buffers
pthread_mutex_t semph_mutex[kDevices];         // new_pictures' count check and waits
sem_t new_pictures[kDevices];                  // one post per completed frame
pthread_t grabber_thread[kDevices];
std::mutex open_mutex[kDevices];
std::mutex grab_mutex[kDevices];
// The size each buffer was queued with, so that grab copies exactly what the
// driver wrote even while another object changes the size. Guarded by
// frame_mutex.
int vflg_queuedsize[kDevices][2][2];
// The driver calls a device was opened with; fixed until it is closed.
const TDeviceAccess* vflg_access[kDevices];

std::atomic<const TDeviceAccess*> g_pInstalledAccess{&tirn::libv4l1Access()};

// Holds a pthread mutex; releases it when the holder unwinds, which includes
// the capture thread's cancellation.
class CMutexHolder
{
public:
    explicit CMutexHolder(pthread_mutex_t* pMutex) : m_pMutex(pMutex) { lock(); }
    ~CMutexHolder()
    {
        if (m_bHeld)
            pthread_mutex_unlock(m_pMutex);
    }
    CMutexHolder(const CMutexHolder&) = delete;
    CMutexHolder& operator=(const CMutexHolder&) = delete;
    void lock()
    {
        pthread_mutex_lock(m_pMutex);
        m_bHeld = true;
    }
    void unlock()
    {
        m_bHeld = false;
        pthread_mutex_unlock(m_pMutex);
    }

private:
    pthread_mutex_t* m_pMutex;
    bool m_bHeld = false;
};

// The capture thread runs with cancellation disabled, so that it can only
// be cancelled inside the blocking calls of its loop.
template <class F> auto cancellable(F&& call)
{
    pthread_setcancelstate(PTHREAD_CANCEL_ENABLE, nullptr);
    auto result = call();
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    return result;
}

// Takes one announcement of a new frame; woken by the capture thread's post.
void waitForNewPicture(int d)
{
    CMutexHolder lock(&semph_mutex[d]);
    while (sem_wait(&new_pictures[d]) != 0 && errno == EINTR) {
    }
}

int heightFor(int iWidth, int iHeight)
{
    return iHeight == 0 ? int(std::int64_t(iWidth) * 3 / 4) : iHeight;
}

std::string devicePath(int d)
{
    char acPath[32];
    std::snprintf(acPath, sizeof acPath, "/dev/video%d", d);
    return acPath;
}

} // namespace

const TDeviceAccess* CImageTVGrab::setDeviceAccess(const TDeviceAccess* pAccess)
{
    return g_pInstalledAccess.exchange(pAccess ? pAccess : &tirn::libv4l1Access());
}

CImageTVGrab::CImageTVGrab(int iWidth, int iHeight, int iDevice, int iChannel, bool bMirror)
    : device(iDevice), channel(iChannel), mirror(bMirror), width(iWidth),
      height(heightFor(iWidth, iHeight)), time(0.0)
{
    if (device < 0 || device >= kDevices)
        throw CException("vfl: no device /dev/video%d, only /dev/video0 to /dev/video3 \n",
                         device);

    timeval tv;
    gettimeofday(&tv, nullptr);
    // Single precision on purpose: the start time is coarse (see the header).
    vflg_starttime = double(float(tv.tv_sec) + float(tv.tv_usec) / 1000000.0f);
    time = (double(tv.tv_sec) + double(tv.tv_usec) / 1000000.0) - vflg_starttime;
    if (vflg_verbosity > 0)
        std::fprintf(stderr, "StartTime: %f \n", vflg_starttime);

    std::lock_guard<std::mutex> guard(open_mutex[device]);
    if (vflg_opencount[device] > 0)
        joinDevice();
    else
        openDevice();
    ++vflg_opencount[device];
}

void CImageTVGrab::joinDevice()
{
    const int d = device;
    const std::string sPath = devicePath(d);
    if (vflg_verbosity > 0)
        std::fprintf(stderr, "%s already opened \n", sPath.c_str());
    if (channel != vflg_vchan[d].channel)
        throw CException("vfl: Cannot change channel of running device! ");
    {
        CMutexHolder lock(&frame_mutex[d]);
        // Printed whatever the verbosity: the other objects' frames change.
        if (vflg_params[d][0].width != width || vflg_params[d][0].height != height)
            std::fprintf(stderr, "vfl: Warning changing size for grabber device %s \n",
                         sPath.c_str());
    }
    save_setparams();
}

void CImageTVGrab::openDevice()
{
    const int d = device;
    const std::string sPath = devicePath(d);
    vflg_access[d] = g_pInstalledAccess.load();
    const TDeviceAccess& io = *vflg_access[d];

    vflg_fd[d] = io.open(sPath.c_str(), O_RDWR);
    if (vflg_fd[d] < 0)
        throw CException("vfl:open: %s\n", std::strerror(errno));
    if (vflg_verbosity > 0)
        std::fprintf(stderr, "%s opened \n", sPath.c_str());

    // A refused set-up leaves nothing behind: the device is closed again.
    bool bMapped = false;
    bool bThreadStuff = false;
    try {
        video_capability capability = {};
        if (io.ioctl(vflg_fd[d], VIDIOCGCAP, &capability) < 0)
            throw CException("vfl:VIDIOCGCAP: %s\n", std::strerror(errno));
        vflg_maxwidth[d] = capability.maxwidth;
        if (vflg_verbosity > 0)
            std::fprintf(stderr, "Video Capture Device Name: %.*s\n",
                         int(sizeof capability.name), capability.name);

        vflg_vchan[d] = video_channel();
        vflg_vchan[d].channel = channel;
        vflg_vchan[d].norm = 0;
        if (io.ioctl(vflg_fd[d], VIDIOCSCHAN, &vflg_vchan[d]) < 0)
            throw CException("vfl:VIDIOCSCHAN: %s\n", std::strerror(errno));
        if (vflg_verbosity > 0)
            std::fprintf(stderr, "Channel %d set.\n", channel);

        vflg_vmbuf[d] = video_mbuf();
        if (io.ioctl(vflg_fd[d], VIDIOCGMBUF, &vflg_vmbuf[d]) < 0)
            throw CException("vfl:VIDIOCGMBUF: %s\n", std::strerror(errno));
        if (vflg_verbosity > 0)
            std::fprintf(stderr, "Frames: %d\nAlloc memory for snapshot.\n",
                         vflg_vmbuf[d].frames);
        // Capture alternates between frames 0 and 1.
        if (vflg_vmbuf[d].frames < 2 || vflg_vmbuf[d].size <= 0)
            throw CException("vfl:VIDIOCGMBUF: %d frames of %d bytes, 2 frames needed\n",
                             vflg_vmbuf[d].frames, vflg_vmbuf[d].size);

        void* pArea = io.mmap(nullptr, std::size_t(vflg_vmbuf[d].size),
                              PROT_READ | PROT_WRITE, MAP_SHARED, vflg_fd[d], 0);
        if (pArea == nullptr || pArea == MAP_FAILED)
            throw CException("vfl:mmap: %s\n", std::strerror(errno));
        vflg_buf[d] = static_cast<unsigned char*>(pArea);
        bMapped = true;

        pthread_mutex_init(&frame_mutex[d], nullptr);
        pthread_mutex_init(&semph_mutex[d], nullptr);
        sem_init(&new_pictures[d], 0, 0);
        bThreadStuff = true;
        {
            CMutexHolder lock(&frame_mutex[d]);
            setparams();
        }
        const int iError = pthread_create(&grabber_thread[d], nullptr, grabber_funct, this);
        if (iError != 0)
            throw CException("vfl:pthread_create: %s\n", std::strerror(iError));
    } catch (...) {
        if (bThreadStuff) {
            pthread_mutex_destroy(&frame_mutex[d]);
            pthread_mutex_destroy(&semph_mutex[d]);
            sem_destroy(&new_pictures[d]);
        }
        if (bMapped)
            io.munmap(vflg_buf[d], std::size_t(vflg_vmbuf[d].size));
        io.close(vflg_fd[d]);
        throw;
    }
}

CImageTVGrab::~CImageTVGrab() noexcept(false)
{
    const int d = device;
    std::lock_guard<std::mutex> guard(open_mutex[d]);
    const int iLeft = --vflg_opencount[d];
    if (vflg_verbosity > 1)
        std::fprintf(stderr, "destructor leaving %d instances for /dev/video%d\n", iLeft, d);
    if (iLeft != 0)
        return;

    int iError = pthread_cancel(grabber_thread[d]);
    if (iError != 0)
        throw CException("vfl:pthread_cancel: %s\n", std::strerror(iError));
    iError = pthread_join(grabber_thread[d], nullptr);
    if (iError != 0)
        throw CException("vfl:pthread_join: %s\n", std::strerror(iError));
    iError = pthread_mutex_destroy(&frame_mutex[d]);
    if (iError != 0)
        throw CException("vfl:mutex_destroy_frame: %s\n", std::strerror(iError));
    iError = pthread_mutex_destroy(&semph_mutex[d]);
    if (iError != 0)
        throw CException("vfl:mutex_destroy_semph: %s\n", std::strerror(iError));
    if (sem_destroy(&new_pictures[d]) != 0)
        throw CException("vfl:sem_destroy: %s\n", std::strerror(errno));
    if (vflg_verbosity > 0)
        std::fprintf(stderr, "thread stuff destroyed\n");

    // The entries stay as they are; the next constructor overwrites them.
    const TDeviceAccess& io = *vflg_access[d];
    if (vflg_fd[d] >= 0) {
        if (vflg_verbosity > 0)
            std::fprintf(stderr, "closing /dev/video%d\n", d);
        io.close(vflg_fd[d]);
    }
    if (vflg_buf[d] != nullptr && vflg_buf[d] != MAP_FAILED) {
        if (vflg_verbosity > 0)
            std::fprintf(stderr, "unmapping memory for /dev/video%d\n", d);
        io.munmap(vflg_buf[d], std::size_t(vflg_vmbuf[d].size));
    }
}

// Caller holds frame_mutex.
void CImageTVGrab::setparams()
{
    const int d = device;
    if (width > vflg_maxwidth[d])
        throw CException("vfl:setsize: width to large(%d) \n", width);
    // The driver writes frames into the area we mapped; a size it cannot
    // hold there is refused here rather than read out of bounds later.
    const std::int64_t frameBytes = std::int64_t(width) * height * 3;
    bool bFits = width > 0 && height > 0;
    for (int f = 0; f < 2 && bFits; ++f)
        bFits = vflg_vmbuf[d].offsets[f] >= 0 &&
                vflg_vmbuf[d].offsets[f] + frameBytes <= vflg_vmbuf[d].size;
    if (!bFits)
        throw CException("vfl:setsize: size %dx%d does not fit the frame buffers \n", width,
                         height);
    for (int f = 0; f < 2; ++f) {
        vflg_params[d][f].frame = unsigned(f);
        vflg_params[d][f].height = height;
        vflg_params[d][f].width = width;
        vflg_params[d][f].format = kPalette;
    }
    if (vflg_verbosity > 0)
        std::fprintf(stderr, "setparameter(%dx%d) aufgerufen\n", width, height);
}

void CImageTVGrab::save_setparams()
{
    const int d = device;
    std::lock_guard<std::mutex> turn(grab_mutex[d]);
    {
        CMutexHolder lock(&frame_mutex[d]);
        setparams();
    }
    // The two frames after a change may still carry the old size. Each pass
    // through frame_mutex lets the thread finish its count check first.
    waitForNewPicture(d);
    {
        CMutexHolder lock(&frame_mutex[d]);
    }
    waitForNewPicture(d);
    {
        CMutexHolder lock(&frame_mutex[d]);
    }
}

void CImageTVGrab::setsize(int iWidth, int iHeight)
{
    const int iOldWidth = width, iOldHeight = height;
    width = iWidth;
    height = heightFor(iWidth, iHeight);
    try {
        save_setparams();
    } catch (const CException&) {
        // A refused size changes nothing, so the next grab still works.
        width = iOldWidth;
        height = iOldHeight;
        throw;
    }
}

float CImageTVGrab::grab(CImage<unsigned char>& image)
{
    const int d = device;
    if (vflg_verbosity > 0)
        std::fprintf(stderr, "getRGB aufgerufen (video%d) \n", d);
    image.resize(width, height, 3);

    timeval tv;
    {
        std::lock_guard<std::mutex> turn(grab_mutex[d]);
        waitForNewPicture(d);
        CMutexHolder lock(&frame_mutex[d]);
        const int f = vflg_useframe[d];
        const unsigned char* pSource = vflg_buf[d] + vflg_vmbuf[d].offsets[f];
        gettimeofday(&tv, nullptr);
        if (vflg_verbosity > 2)
            std::fprintf(stderr, "Buffer %d auslesen \n", f);
        if (vflg_queuedsize[d][f][0] != width || vflg_queuedsize[d][f][1] != height) {
            width = vflg_queuedsize[d][f][0];
            height = vflg_queuedsize[d][f][1];
            image.resize(width, height, 3);
        }
        // Not mirrored: the first stored row becomes the last image row.
        image.setImageData(pSource, false, !mirror, mirror);
        if (vflg_verbosity > 2)
            std::fprintf(stderr, "Buffer %d ausgelesen \n", f);
    }
    time = double(tv.tv_sec) + double(tv.tv_usec) / 1000000.0;

    image.swapChannels(0, 2); // the card stores blue, green, red
    image.setChannelInfo("red", 0);
    image.setChannelInfo("green", 1);
    image.setChannelInfo("blue", 2);
    char acTitle[30];
    std::snprintf(acTitle, sizeof acTitle, "video%d at %g", d, time - vflg_starttime);
    image.setName(acTitle);
    return float(time - vflg_starttime);
}

// The capture thread of one device. The object is only read for its device
// number, before anyone can destroy it: its own destructor would be waiting
// in the join, and a joining object waits for frames of this thread.
//
// Buffer f is queued, the other one is announced and synchronised, and the
// grabs copy it while the thread pauses; frame_mutex is held from queueing to
// the end of the synchronisation, so a buffer is never queued again while it
// is being copied. A failed request has no handler here and ends the process.
void* CImageTVGrab::grabber_funct(void* object)
{
    pthread_setcancelstate(PTHREAD_CANCEL_DISABLE, nullptr);
    const int d = static_cast<CImageTVGrab*>(object)->device;
    const TDeviceAccess& io = *vflg_access[d];
    const int fd = vflg_fd[d];

    timeval tv;
    gettimeofday(&tv, nullptr);
    long lastMicroseconds = tv.tv_usec;
    const timespec pause = {0, kPauseNanoseconds};

    auto queue = [&](int f) {
        if (vflg_verbosity > 2)
            std::fprintf(stderr, "grabben: dev%d, frame%d \n", d, f);
        if (io.ioctl(fd, VIDIOCMCAPTURE, &vflg_params[d][f]) < 0)
            throw CException("vfl:VIDIOCMCAPTURE: %s\n", std::strerror(errno));
        vflg_queuedsize[d][f][0] = vflg_params[d][f].width;
        vflg_queuedsize[d][f][1] = vflg_params[d][f].height;
    };

    CMutexHolder frameLock(&frame_mutex[d]);
    queue(0);
    int f = 1;
    int iSyncError = 0;
    for (;;) {
        queue(f);
        f = 1 - f;
        vflg_useframe[d] = f;

        sem_post(&new_pictures[d]);
        {
            // Never more than one unread frame: a slow reader gets the
            // newest frame, not a backlog.
            CMutexHolder semphLock(&semph_mutex[d]);
            int iValue = 0;
            sem_getvalue(&new_pictures[d], &iValue);
            if (iValue > 1) {
                sem_trywait(&new_pictures[d]);
                if (vflg_verbosity > 2)
                    std::fprintf(stderr, "vfl: unused Frame (%d)\n", iValue);
            }
        }
        if (vflg_verbosity > 2)
            std::fprintf(stderr, "warten (%d)... \n", f);

        int iFrame = int(vflg_params[d][f].frame);
        const int iSync = cancellable([&] {
            const int rc = io.ioctl(fd, VIDIOCSYNC, &iFrame);
            iSyncError = errno;
            return rc;
        });
        if (iSync < 0)
            break;
        frameLock.unlock();
        cancellable([&] { return nanosleep(&pause, nullptr); });
        gettimeofday(&tv, nullptr);
        // Only the microseconds are compared, so the check is blind across a
        // change of second; kept so on purpose.
        if (vflg_verbosity > 2 && tv.tv_usec - lastMicroseconds > kLostFrameMicroseconds)
            std::fprintf(stderr, "vfl: Frames lost (dev%d) (%d msec)!!!!\n", d,
                         int((tv.tv_usec - lastMicroseconds) / 1000));
        lastMicroseconds = tv.tv_usec;
        frameLock.lock();
    }
    throw CException("vfl:VIDIOCSYNC: %s\n", std::strerror(iSyncError));
}
