#include "capture/CImageUSBGrab.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cstdio>
#include <cstring>

#include <fcntl.h>
#include <linux/videodev2.h>
#include <sys/mman.h>
#include <sys/time.h>

#include "image/PixelTraits.h"

namespace {

constexpr unsigned kBufferCount = 4;

std::atomic<const TDeviceAccess*> g_pInstalledAccess{&tirn::libv4l2Access()};

double now()
{
    timeval tv;
    gettimeofday(&tv, nullptr);
    return double(tv.tv_sec) + double(tv.tv_usec) / 1000000.0;
}

// Retries a request that a signal interrupted.
int request(const TDeviceAccess& io, int fd, unsigned long ulRequest, void* pArg)
{
    int rc;
    do
        rc = io.ioctl(fd, ulRequest, pArg);
    while (rc < 0 && errno == EINTR);
    return rc;
}

} // namespace

const TDeviceAccess* CImageUSBGrab::setDeviceAccess(const TDeviceAccess* pAccess)
{
    return g_pInstalledAccess.exchange(pAccess ? pAccess : &tirn::libv4l2Access());
}

CImageUSBGrab::CImageUSBGrab(int iWidth, int iHeight, int iDevice)
    : m_pAccess(g_pInstalledAccess.load()), m_iDevice(iDevice), m_dStartTime(now())
{
    if (iDevice < 0)
        throw CException("vfl: no device /dev/video%d \n", iDevice);
    char acPath[32];
    std::snprintf(acPath, sizeof acPath, "/dev/video%d", iDevice);
    m_fd = m_pAccess->open(acPath, O_RDWR);
    if (m_fd < 0)
        throw CException("vfl:open: %s\n", std::strerror(errno));
    try {
        v4l2_capability capability = {};
        if (request(*m_pAccess, m_fd, VIDIOC_QUERYCAP, &capability) < 0)
            throw CException("vfl:VIDIOC_QUERYCAP: %s\n", std::strerror(errno));
        const unsigned caps = (capability.capabilities & V4L2_CAP_DEVICE_CAPS)
                                  ? capability.device_caps
                                  : capability.capabilities;
        if (!(caps & V4L2_CAP_VIDEO_CAPTURE) || !(caps & V4L2_CAP_STREAMING))
            throw CException("vfl: %s cannot stream video frames \n", acPath);
        startCapture(iWidth, iHeight);
    } catch (...) {
        m_pAccess->close(m_fd);
        throw;
    }
}

CImageUSBGrab::~CImageUSBGrab()
{
    stopCapture();
    m_pAccess->close(m_fd);
}

void CImageUSBGrab::startCapture(int iWidth, int iHeight)
{
    if (iWidth < 1 || iHeight < 1)
        throw CException("vfl:setsize: bad size(%dx%d) \n", iWidth, iHeight);
    const TDeviceAccess& io = *m_pAccess;

    v4l2_format format = {};
    format.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    format.fmt.pix.width = unsigned(iWidth);
    format.fmt.pix.height = unsigned(iHeight);
    format.fmt.pix.pixelformat = V4L2_PIX_FMT_RGB24;
    format.fmt.pix.field = V4L2_FIELD_ANY;
    if (request(io, m_fd, VIDIOC_S_FMT, &format) < 0)
        throw CException("vfl:VIDIOC_S_FMT: %s\n", std::strerror(errno));
    if (format.fmt.pix.pixelformat != V4L2_PIX_FMT_RGB24)
        throw CException("vfl: /dev/video%d delivers no RGB24 frames \n", m_iDevice);
    // The driver answers with the nearest size it supports.
    const unsigned w = format.fmt.pix.width, h = format.fmt.pix.height;
    if (w < 1 || h < 1 || w > 16384 || h > 16384)
        throw CException("vfl:VIDIOC_S_FMT: unusable size %ux%u\n", w, h);
    m_iWidth = int(w);
    m_iHeight = int(h);
    m_bytesPerLine = std::max<std::size_t>(format.fmt.pix.bytesperline, std::size_t(w) * 3);

    v4l2_requestbuffers buffers = {};
    buffers.count = kBufferCount;
    buffers.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    buffers.memory = V4L2_MEMORY_MMAP;
    if (request(io, m_fd, VIDIOC_REQBUFS, &buffers) < 0)
        throw CException("vfl:VIDIOC_REQBUFS: %s\n", std::strerror(errno));
    try {
        if (buffers.count < 2)
            throw CException("vfl:VIDIOC_REQBUFS: %u buffers, 2 needed\n", buffers.count);
        for (unsigned i = 0; i < buffers.count; ++i) {
            v4l2_buffer buffer = {};
            buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
            buffer.memory = V4L2_MEMORY_MMAP;
            buffer.index = i;
            if (request(io, m_fd, VIDIOC_QUERYBUF, &buffer) < 0)
                throw CException("vfl:VIDIOC_QUERYBUF: %s\n", std::strerror(errno));
            void* pStart = io.mmap(nullptr, buffer.length, PROT_READ | PROT_WRITE, MAP_SHARED,
                                   m_fd, buffer.m.offset);
            if (pStart == nullptr || pStart == MAP_FAILED)
                throw CException("vfl:mmap: %s\n", std::strerror(errno));
            m_buffers.push_back({pStart, buffer.length});
            if (request(io, m_fd, VIDIOC_QBUF, &buffer) < 0)
                throw CException("vfl:VIDIOC_QBUF: %s\n", std::strerror(errno));
        }
        int iType = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        if (request(io, m_fd, VIDIOC_STREAMON, &iType) < 0)
            throw CException("vfl:VIDIOC_STREAMON: %s\n", std::strerror(errno));
    } catch (...) {
        releaseBuffers();
        throw;
    }

    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_latest.assign(std::size_t(w) * h * 3, 0);
        m_ulFrames = m_ulReturned = 0;
        m_bStop = false;
        m_sError.clear();
    }
    m_thread = std::thread(&CImageUSBGrab::captureLoop, this);
}

void CImageUSBGrab::releaseBuffers()
{
    for (const TMappedBuffer& buffer : m_buffers)
        m_pAccess->munmap(buffer.pStart, buffer.length);
    m_buffers.clear();
    v4l2_requestbuffers none = {};
    none.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    none.memory = V4L2_MEMORY_MMAP;
    request(*m_pAccess, m_fd, VIDIOC_REQBUFS, &none);
}

void CImageUSBGrab::stopCapture()
{
    if (!m_thread.joinable())
        return;
    {
        std::lock_guard<std::mutex> lock(m_mutex);
        m_bStop = true;
    }
    m_thread.join();
    int iType = V4L2_BUF_TYPE_VIDEO_CAPTURE;
    request(*m_pAccess, m_fd, VIDIOC_STREAMOFF, &iType);
    releaseBuffers();
}

void CImageUSBGrab::setsize(int iWidth, int iHeight)
{
    const int iOldWidth = m_iWidth, iOldHeight = m_iHeight;
    stopCapture();
    try {
        startCapture(iWidth, iHeight);
    } catch (const CException&) {
        try {
            startCapture(iOldWidth, iOldHeight);
        } catch (const CException& failure) {
            // No capture any more: every later grab reports why.
            std::lock_guard<std::mutex> lock(m_mutex);
            m_sError = failure.what();
        }
        throw;
    }
}

// Dequeues frames until asked to stop; keeps a copy of the newest. The stop
// request is seen after the frame in progress arrives.
void CImageUSBGrab::captureLoop()
{
    const TDeviceAccess& io = *m_pAccess;
    const std::size_t rowBytes = std::size_t(m_iWidth) * 3;
    const std::size_t frameBytes = m_bytesPerLine * std::size_t(m_iHeight - 1) + rowBytes;
    auto fail = [&](const char* pcRequest) {
        char acError[200];
        std::snprintf(acError, sizeof acError, "vfl:%s: %s\n", pcRequest, std::strerror(errno));
        std::lock_guard<std::mutex> lock(m_mutex);
        m_sError = acError;
        m_frameArrived.notify_all();
    };
    for (;;) {
        {
            std::lock_guard<std::mutex> lock(m_mutex);
            if (m_bStop)
                return;
        }
        v4l2_buffer buffer = {};
        buffer.type = V4L2_BUF_TYPE_VIDEO_CAPTURE;
        buffer.memory = V4L2_MEMORY_MMAP;
        if (request(io, m_fd, VIDIOC_DQBUF, &buffer) < 0)
            return fail("VIDIOC_DQBUF");
        const double dTime = now();
        // A short or broken frame (a conversion failure of libv4l2) is
        // skipped rather than shown half old.
        const bool bUsable = buffer.index < m_buffers.size() &&
                             !(buffer.flags & V4L2_BUF_FLAG_ERROR) &&
                             buffer.bytesused >= frameBytes &&
                             m_buffers[buffer.index].length >= frameBytes;
        if (bUsable) {
            const unsigned char* pSource =
                static_cast<const unsigned char*>(m_buffers[buffer.index].pStart);
            std::lock_guard<std::mutex> lock(m_mutex);
            for (int y = 0; y < m_iHeight; ++y)
                std::memcpy(&m_latest[std::size_t(y) * rowBytes],
                            pSource + std::size_t(y) * m_bytesPerLine, rowBytes);
            ++m_ulFrames;
            m_dFrameTime = dTime;
            m_frameArrived.notify_all();
        }
        if (request(io, m_fd, VIDIOC_QBUF, &buffer) < 0)
            return fail("VIDIOC_QBUF");
    }
}

template <class T> float CImageUSBGrab::grab(CImage<T>& image, int iMode)
{
    std::unique_lock<std::mutex> lock(m_mutex);
    const unsigned long ulAfter = iMode == 0 ? m_ulReturned : 0;
    m_frameArrived.wait(lock, [&] { return m_ulFrames > ulAfter || !m_sError.empty(); });
    if (!m_sError.empty())
        throw CException(m_sError);

    image.resize(m_iWidth, m_iHeight, 3);
    const unsigned char* pPixel = m_latest.data();
    for (int y = 0; y < m_iHeight; ++y) {
        const int iRow = m_iHeight - 1 - y; // bottom-up, as CImageTVGrab
        for (int x = 0; x < m_iWidth; ++x)
            for (int c = 0; c < 3; ++c)
                image.setPixel(x, iRow, c, tirn::convertPixel<T>(*pPixel++));
    }
    m_ulReturned = m_ulFrames;
    const double dTime = m_dFrameTime - m_dStartTime;
    lock.unlock();

    image.setChannelInfo("red", 0);
    image.setChannelInfo("green", 1);
    image.setChannelInfo("blue", 2);
    char acTitle[30];
    std::snprintf(acTitle, sizeof acTitle, "video%d at %g", m_iDevice, dTime);
    image.setName(acTitle);
    return float(dTime);
}

template float CImageUSBGrab::grab(CImage<unsigned char>&, int);
template float CImageUSBGrab::grab(CImage<unsigned short>&, int);
template float CImageUSBGrab::grab(CImage<float>&, int);
