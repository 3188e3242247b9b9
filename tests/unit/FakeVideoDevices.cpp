#include "FakeVideoDevices.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <deque>
#include <mutex>
#include <vector>

#include <sys/ioctl.h>
#include <sys/mman.h>
#include <time.h>

#include <libv4l1-videodev.h>
#include <linux/videodev2.h>

#include "capture/DeviceAccess.h"

namespace fake {
namespace {

using Clock = std::chrono::steady_clock;

// Frames complete on a fixed grid from the first request on; a request
// takes the first free slot that is not already past.
struct FrameClock
{
    bool started = false;
    Clock::time_point t0;
    long nextSlot = 0;

    long assign(int intervalMs)
    {
        const Clock::time_point now = Clock::now();
        if (!started) {
            started = true;
            t0 = now;
        }
        const long elapsed = long((now - t0) / std::chrono::milliseconds(intervalMs));
        const long slot = std::max(nextSlot, elapsed + 1);
        nextSlot = slot + 1;
        return slot;
    }
    Clock::time_point due(long slot, int intervalMs) const
    {
        return t0 + std::chrono::milliseconds(intervalMs) * slot;
    }
};

// The grabber's capture thread is cancelled inside the fake's blocking
// wait. Cancellation unwinds without the unpoisoning that AddressSanitizer
// does for C++ exceptions, so the frames that can be active at that moment
// keep no poisoned redzones; otherwise the stale poison makes the sanitizer
// report its own bookkeeping further up the stack.
#define TIRN_CANCELLATION_FRAME __attribute__((no_sanitize_address))

// Sleeps without holding any lock; a cancellation point, as a driver's
// blocking wait is.
TIRN_CANCELLATION_FRAME void sleepUntil(std::unique_lock<std::mutex>& lock, Clock::time_point due)
{
    lock.unlock();
    const long long ns =
        std::chrono::duration_cast<std::chrono::nanoseconds>(due.time_since_epoch()).count();
    const timespec ts = {time_t(ns / 1000000000), long(ns % 1000000000)};
    while (clock_nanosleep(CLOCK_MONOTONIC, TIMER_ABSTIME, &ts, nullptr) == EINTR) {
    }
    lock.lock();
}

int fail(int iErrno)
{
    errno = iErrno;
    return -1;
}

// Rows are red, columns green, the frame number blue; the version-1 cards
// store blue first, libv4l2 delivers red first.
void paint(unsigned char* p, int width, int height, long slot, bool bBlueFirst, int padding)
{
    for (int r = 0; r < height; ++r, p += padding)
        for (int c = 0; c < width; ++c, p += 3) {
            p[bBlueFirst ? 0 : 2] = static_cast<unsigned char>(slot);
            p[1] = static_cast<unsigned char>(c);
            p[bBlueFirst ? 2 : 0] = static_cast<unsigned char>(r);
        }
}

void* mapFail(int iErrno)
{
    errno = iErrno;
    return MAP_FAILED;
}

int deviceOfPath(const char* pcPath)
{
    int d = -1;
    char cExtra;
    if (std::sscanf(pcPath, "/dev/video%d%c", &d, &cExtra) != 1 || d < 0 || d > 3)
        return -1;
    return d;
}

// ---- version 1 ----------------------------------------------------------

struct V4L1Buffer
{
    bool queued = false;
    int width = 0, height = 0;
    long slot = 0;
};

struct V4L1Device
{
    FrameClock clock;
    V4L1Buffer buffers[32];
    unsigned char* area = nullptr;
    std::size_t areaSize = 0;
    V4L1Stats stats;
};

std::mutex g_v1Mutex;
V4L1Config g_v1Config;
V4L1Device g_v1Devices[4];

V4L1Device* v1Device(int fd)
{
    const int d = fd - 100;
    if (d < 0 || d > 3 || !g_v1Devices[d].stats.open)
        return nullptr;
    return &g_v1Devices[d];
}

int v1Open(const char* pcPath, int)
{
    std::lock_guard<std::mutex> lock(g_v1Mutex);
    const int d = deviceOfPath(pcPath);
    if (d < 0)
        return fail(ENOENT);
    if (g_v1Config.openErrno)
        return fail(g_v1Config.openErrno);
    V4L1Device& device = g_v1Devices[d];
    if (device.stats.open)
        return fail(EBUSY);
    device.stats.open = true;
    ++device.stats.opens;
    device.clock = FrameClock();
    std::fill(std::begin(device.buffers), std::end(device.buffers), V4L1Buffer());
    return 100 + d;
}

TIRN_CANCELLATION_FRAME int v1Sync(std::unique_lock<std::mutex>& lock, V4L1Device& device,
                                    int iFrame)
{
    if (iFrame < 0 || iFrame >= g_v1Config.frames || !device.buffers[iFrame].queued)
        return fail(EINVAL);
    device.stats.callers.insert(std::this_thread::get_id());
    sleepUntil(lock, device.clock.due(device.buffers[iFrame].slot, g_v1Config.intervalMs));
    if (g_v1Config.failSyncAfter >= 0 && device.stats.syncs >= g_v1Config.failSyncAfter)
        return fail(EIO);
    V4L1Buffer& buffer = device.buffers[iFrame];
    paint(device.area + std::size_t(iFrame) * std::size_t(g_v1Config.frameBytes), buffer.width,
          buffer.height, buffer.slot, true, 0);
    buffer.queued = false;
    device.stats.lastCompleted = buffer.slot;
    ++device.stats.syncs;
    return 0;
}

TIRN_CANCELLATION_FRAME int v1Ioctl(int fd, unsigned long ulRequest, void* pArg)
{
    std::unique_lock<std::mutex> lock(g_v1Mutex);
    V4L1Device* pDevice = v1Device(fd);
    if (!pDevice)
        return fail(EBADF);
    V4L1Device& device = *pDevice;
    const V4L1Config& config = g_v1Config;
    switch (ulRequest) {
    case VIDIOCGCAP: {
        if (config.gcapErrno)
            return fail(config.gcapErrno);
        video_capability& capability = *static_cast<video_capability*>(pArg);
        capability = video_capability();
        std::memcpy(capability.name, config.name.c_str(),
                    std::min(config.name.size(), sizeof capability.name));
        capability.type = VID_TYPE_CAPTURE;
        capability.channels = 4;
        capability.maxwidth = config.maxwidth;
        capability.maxheight = config.maxwidth * 3 / 4;
        capability.minwidth = capability.minheight = 1;
        return 0;
    }
    case VIDIOCSCHAN: {
        if (config.schanErrno)
            return fail(config.schanErrno);
        const video_channel& channel = *static_cast<video_channel*>(pArg);
        if (channel.channel < 0 || channel.channel > 3)
            return fail(EINVAL);
        device.stats.channel = channel.channel;
        return 0;
    }
    case VIDIOCGMBUF: {
        if (config.gmbufErrno)
            return fail(config.gmbufErrno);
        video_mbuf& mbuf = *static_cast<video_mbuf*>(pArg);
        mbuf = video_mbuf();
        mbuf.frames = config.frames;
        mbuf.size = config.frames * config.frameBytes;
        for (int f = 0; f < config.frames && f < 32; ++f)
            mbuf.offsets[f] = f * config.frameBytes;
        return 0;
    }
    case VIDIOCMCAPTURE: {
        const video_mmap& request = *static_cast<video_mmap*>(pArg);
        if (config.failCaptureAfter >= 0 && device.stats.captures >= config.failCaptureAfter)
            return fail(EIO);
        if (request.frame >= unsigned(config.frames) || request.format != VIDEO_PALETTE_RGB24 ||
            request.width < 1 || request.height < 1 || request.width > config.maxwidth ||
            long(request.width) * request.height * 3 > config.frameBytes)
            return fail(EINVAL);
        V4L1Buffer& buffer = device.buffers[request.frame];
        if (buffer.queued)
            return fail(EBUSY);
        buffer.queued = true;
        buffer.width = request.width;
        buffer.height = request.height;
        buffer.slot = device.clock.assign(config.intervalMs);
        ++device.stats.captures;
        device.stats.lastWidth = buffer.width;
        device.stats.lastHeight = buffer.height;
        device.stats.callers.insert(std::this_thread::get_id());
        return 0;
    }
    case VIDIOCSYNC:
        return v1Sync(lock, device, *static_cast<int*>(pArg));
    default:
        return fail(EINVAL);
    }
}

void* v1Mmap(void*, std::size_t length, int, int, int fd, std::int64_t offset)
{
    std::lock_guard<std::mutex> lock(g_v1Mutex);
    V4L1Device* pDevice = v1Device(fd);
    if (!pDevice)
        return mapFail(EBADF);
    if (g_v1Config.map == V4L1Config::MapNull) {
        errno = ENOMEM;
        return nullptr;
    }
    if (g_v1Config.map == V4L1Config::MapFailed)
        return mapFail(ENODEV);
    if (offset != 0 || length != std::size_t(g_v1Config.frames) * g_v1Config.frameBytes ||
        pDevice->area)
        return mapFail(EINVAL);
    pDevice->area = new unsigned char[length]();
    pDevice->areaSize = length;
    return pDevice->area;
}

int v1Munmap(void* pStart, std::size_t length)
{
    std::lock_guard<std::mutex> lock(g_v1Mutex);
    for (V4L1Device& device : g_v1Devices)
        if (device.area && device.area == pStart && device.areaSize == length) {
            delete[] device.area;
            device.area = nullptr;
            ++device.stats.munmaps;
            device.stats.munmapLength = length;
            return 0;
        }
    return fail(EINVAL);
}

int v1Close(int fd)
{
    std::lock_guard<std::mutex> lock(g_v1Mutex);
    V4L1Device* pDevice = v1Device(fd);
    if (!pDevice)
        return fail(EBADF);
    pDevice->stats.open = false;
    ++pDevice->stats.closes;
    return 0;
}

const TDeviceAccess kFakeV4L1 = {v1Open, v1Ioctl, v1Mmap, v1Munmap, v1Close};

// ---- version 2 ----------------------------------------------------------

constexpr int kRowPadding = 4;
constexpr unsigned kMaxBuffers = 4;
constexpr unsigned kOffsetStep = 0x100000;

struct V4L2Buffer
{
    std::vector<unsigned char> data;
    bool mapped = false;
};

struct V4L2Device
{
    FrameClock clock;
    unsigned width = 160, height = 120;
    std::vector<V4L2Buffer> buffers;
    std::deque<unsigned> queue;
    V4L2Stats stats;
} g_v2;

std::mutex g_v2Mutex;
V4L2Config g_v2Config;

unsigned bytesPerLine() { return g_v2.width * 3 + kRowPadding; }

int v2Open(const char* pcPath, int)
{
    std::lock_guard<std::mutex> lock(g_v2Mutex);
    if (deviceOfPath(pcPath) != 0)
        return fail(ENOENT);
    if (g_v2Config.openErrno)
        return fail(g_v2Config.openErrno);
    if (g_v2.stats.open)
        return fail(EBUSY);
    g_v2.stats.open = true;
    ++g_v2.stats.opens;
    return 200;
}

int v2Dequeue(std::unique_lock<std::mutex>& lock, v4l2_buffer& buffer)
{
    if (!g_v2.stats.streaming || g_v2.queue.empty())
        return fail(EINVAL);
    const unsigned index = g_v2.queue.front();
    g_v2.queue.pop_front();
    const long slot = g_v2.clock.assign(g_v2Config.intervalMs);
    sleepUntil(lock, g_v2.clock.due(slot, g_v2Config.intervalMs));
    if (g_v2Config.failDequeueAfter >= 0 && g_v2.stats.dequeued >= g_v2Config.failDequeueAfter)
        return fail(EIO);
    paint(g_v2.buffers[index].data.data(), int(g_v2.width), int(g_v2.height), slot, false,
          kRowPadding);
    buffer.index = index;
    buffer.bytesused = bytesPerLine() * g_v2.height;
    buffer.flags = 0;
    ++g_v2.stats.dequeued;
    return 0;
}

int v2Ioctl(int fd, unsigned long ulRequest, void* pArg)
{
    std::unique_lock<std::mutex> lock(g_v2Mutex);
    if (fd != 200 || !g_v2.stats.open)
        return fail(EBADF);
    switch (ulRequest) {
    case VIDIOC_QUERYCAP: {
        v4l2_capability& capability = *static_cast<v4l2_capability*>(pArg);
        capability = v4l2_capability();
        std::strcpy(reinterpret_cast<char*>(capability.card), "Fake Webcam");
        capability.device_caps =
            V4L2_CAP_VIDEO_CAPTURE | (g_v2Config.streaming ? V4L2_CAP_STREAMING : 0);
        capability.capabilities = capability.device_caps | V4L2_CAP_DEVICE_CAPS;
        return 0;
    }
    case VIDIOC_S_FMT: {
        v4l2_format& format = *static_cast<v4l2_format*>(pArg);
        if (format.type != V4L2_BUF_TYPE_VIDEO_CAPTURE || !g_v2.buffers.empty())
            return fail(format.type != V4L2_BUF_TYPE_VIDEO_CAPTURE ? EINVAL : EBUSY);
        // The nearest of the sizes this camera has.
        int bestDistance = -1;
        for (unsigned w : {160u, 320u, 640u}) {
            const int distance = std::abs(int(w) - int(format.fmt.pix.width)) +
                                 std::abs(int(w * 3 / 4) - int(format.fmt.pix.height));
            if (bestDistance < 0 || distance < bestDistance) {
                g_v2.width = w;
                g_v2.height = w * 3 / 4;
                bestDistance = distance;
            }
        }
        format.fmt.pix.width = g_v2.width;
        format.fmt.pix.height = g_v2.height;
        format.fmt.pix.pixelformat = g_v2Config.rgb24 ? V4L2_PIX_FMT_RGB24 : V4L2_PIX_FMT_YUYV;
        format.fmt.pix.bytesperline = bytesPerLine();
        format.fmt.pix.sizeimage = bytesPerLine() * g_v2.height;
        format.fmt.pix.field = V4L2_FIELD_NONE;
        return 0;
    }
    case VIDIOC_REQBUFS: {
        v4l2_requestbuffers& request = *static_cast<v4l2_requestbuffers*>(pArg);
        if (request.memory != V4L2_MEMORY_MMAP || g_v2.stats.streaming)
            return fail(EINVAL);
        for (const V4L2Buffer& buffer : g_v2.buffers)
            if (buffer.mapped)
                return fail(EBUSY);
        request.count = std::min(request.count, kMaxBuffers);
        g_v2.buffers.assign(request.count, V4L2Buffer());
        for (V4L2Buffer& buffer : g_v2.buffers)
            buffer.data.assign(std::size_t(bytesPerLine()) * g_v2.height, 0);
        g_v2.queue.clear();
        return 0;
    }
    case VIDIOC_QUERYBUF: {
        v4l2_buffer& buffer = *static_cast<v4l2_buffer*>(pArg);
        if (buffer.index >= g_v2.buffers.size())
            return fail(EINVAL);
        buffer.length = unsigned(g_v2.buffers[buffer.index].data.size());
        buffer.m.offset = buffer.index * kOffsetStep;
        return 0;
    }
    case VIDIOC_QBUF: {
        const v4l2_buffer& buffer = *static_cast<v4l2_buffer*>(pArg);
        if (buffer.index >= g_v2.buffers.size() ||
            std::find(g_v2.queue.begin(), g_v2.queue.end(), buffer.index) != g_v2.queue.end())
            return fail(EINVAL);
        g_v2.queue.push_back(buffer.index);
        return 0;
    }
    case VIDIOC_DQBUF:
        return v2Dequeue(lock, *static_cast<v4l2_buffer*>(pArg));
    case VIDIOC_STREAMON:
        if (g_v2.buffers.empty())
            return fail(EINVAL);
        g_v2.stats.streaming = true;
        g_v2.clock = FrameClock();
        return 0;
    case VIDIOC_STREAMOFF:
        g_v2.stats.streaming = false;
        g_v2.queue.clear();
        return 0;
    default:
        return fail(ENOTTY);
    }
}

void* v2Mmap(void*, std::size_t length, int, int, int fd, std::int64_t offset)
{
    std::lock_guard<std::mutex> lock(g_v2Mutex);
    const std::size_t index = std::size_t(offset) / kOffsetStep;
    if (fd != 200 || offset % kOffsetStep != 0 || index >= g_v2.buffers.size() ||
        g_v2.buffers[index].data.size() != length || g_v2.buffers[index].mapped)
        return mapFail(EINVAL);
    g_v2.buffers[index].mapped = true;
    ++g_v2.stats.mapped;
    return g_v2.buffers[index].data.data();
}

int v2Munmap(void* pStart, std::size_t length)
{
    std::lock_guard<std::mutex> lock(g_v2Mutex);
    for (V4L2Buffer& buffer : g_v2.buffers)
        if (buffer.mapped && buffer.data.data() == pStart && buffer.data.size() == length) {
            buffer.mapped = false;
            --g_v2.stats.mapped;
            return 0;
        }
    return fail(EINVAL);
}

int v2Close(int fd)
{
    std::lock_guard<std::mutex> lock(g_v2Mutex);
    if (fd != 200 || !g_v2.stats.open)
        return fail(EBADF);
    g_v2.stats.open = false;
    g_v2.stats.streaming = false;
    ++g_v2.stats.closes;
    g_v2.buffers.clear();
    g_v2.queue.clear();
    return 0;
}

const TDeviceAccess kFakeV4L2 = {v2Open, v2Ioctl, v2Mmap, v2Munmap, v2Close};

} // namespace

void resetV4L1(const V4L1Config& config)
{
    std::lock_guard<std::mutex> lock(g_v1Mutex);
    g_v1Config = config;
    for (V4L1Device& device : g_v1Devices) {
        delete[] device.area;
        device = V4L1Device();
    }
}

const TDeviceAccess& v4l1Access() { return kFakeV4L1; }

V4L1Stats v4l1Stats(int device)
{
    std::lock_guard<std::mutex> lock(g_v1Mutex);
    return g_v1Devices[device].stats;
}

void resetV4L2(const V4L2Config& config)
{
    std::lock_guard<std::mutex> lock(g_v2Mutex);
    g_v2Config = config;
    g_v2 = V4L2Device();
}

const TDeviceAccess& v4l2Access() { return kFakeV4L2; }

V4L2Stats v4l2Stats()
{
    std::lock_guard<std::mutex> lock(g_v2Mutex);
    return g_v2.stats;
}

} // namespace fake
