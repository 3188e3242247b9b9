#include "FakeVideoDevices.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
using Lock = std::unique_lock<std::mutex>;

// The grabber's capture thread is cancelled inside the fake's blocking
// wait. Cancellation unwinds without the unpoisoning that AddressSanitizer
// does for C++ exceptions, so the frames that can be active at that moment
// keep no poisoned redzones; otherwise the stale poison makes the sanitizer
// report its own bookkeeping further up the stack.
#define TIRN_CANCELLATION_FRAME __attribute__((no_sanitize_address))

// Sleeps without holding any lock; a cancellation point, as a driver's
// blocking wait is.
TIRN_CANCELLATION_FRAME void sleepUntil(Lock& lock, Clock::time_point due)
{
    lock.unlock();
    const auto ns = due.time_since_epoch() / std::chrono::nanoseconds(1);
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

struct Buffer
{
    bool queued = false;
    int width = 0, height = 0;
    long slot = 0;
};

// The buffers lie one after another in one area, mapped as a whole
// (version 1) or one by one (version 2). Its memory goes when the device is
// closed and nothing of it is mapped any more.
struct Device
{
    Stats stats;
    bool streaming = false;
    Clock::time_point t0;          // of frame 0
    long nextSlot = 0;             // the first frame not yet queued for
    int width = 160, height = 120; // the version-2 format
    std::vector<Buffer> buffers;
    std::size_t bufferBytes = 0, mappingBytes = 0;
    std::vector<unsigned char> area;
    std::set<std::size_t> mappedAt; // offsets of the mappings
};

struct Version
{
    int devices;     // /dev/video0 and up
    bool bBlueFirst; // byte order of a pixel
    int padding;     // bytes after every row
    Config config;
    Device device[4];
} g_versions[2] = {{4, true, 0, {}, {}}, {1, false, 4, {}, {}}};

std::mutex g_mutex; // all fake devices; released while a frame is awaited

// The switches of Config that make a request fail.
const struct
{
    unsigned long code;
    int Config::*pErrno;      // fails with this errno
    long Config::*pFailAfter; // fails with EIO after this many successes
} kFailures[] = {
    {VIDIOCGCAP, &Config::gcapErrno, nullptr},
    {VIDIOCSCHAN, &Config::schanErrno, nullptr},
    {VIDIOCGMBUF, &Config::gmbufErrno, nullptr},
    {VIDIOCMCAPTURE, nullptr, &Config::failCaptureAfter},
    {VIDIOCSYNC, nullptr, &Config::failSyncAfter},
    {VIDIOC_DQBUF, nullptr, &Config::failDequeueAfter},
};

int allocate(Device& device, unsigned count, std::size_t bytes, std::size_t mappingBytes)
{
    if (!device.mappedAt.empty())
        return fail(EBUSY);
    device.buffers.assign(count, Buffer());
    device.bufferBytes = bytes;
    device.mappingBytes = mappingBytes;
    device.area.assign(count * bytes, 0);
    device.nextSlot = 0;
    return 0;
}

void releaseIfUnused(Device& device)
{
    if (device.stats.open || !device.mappedAt.empty())
        return;
    device.buffers.clear();
    std::vector<unsigned char>().swap(device.area);
}

int queue(const Version& v, Device& device, unsigned f, int width, int height)
{
    if (f >= device.buffers.size() || device.buffers[f].queued)
        return fail(EBUSY);
    // Frames complete on a fixed grid from the first request on; a request
    // takes the first free slot that is not already past.
    const std::chrono::milliseconds interval(v.config.intervalMs);
    if (device.nextSlot == 0)
        device.t0 = Clock::now();
    device.nextSlot = std::max(device.nextSlot, long((Clock::now() - device.t0) / interval) + 1);
    device.buffers[f] = {true, width, height, device.nextSlot++};
    device.stats.lastWidth = width;
    device.stats.callers.insert(std::this_thread::get_id());
    return 0;
}

// Painted outside the cancellation frames, so that AddressSanitizer checks
// the writes.
void paint(const Version& v, Device& device, unsigned f)
{
    Buffer& buffer = device.buffers[f];
    unsigned char* p = &device.area[f * device.bufferBytes];
    for (int r = 0; r < buffer.height; ++r, p += v.padding)
        for (int c = 0; c < buffer.width; ++c, p += 3) {
            p[v.bBlueFirst ? 0 : 2] = static_cast<unsigned char>(buffer.slot);
            p[1] = static_cast<unsigned char>(c);
            p[v.bBlueFirst ? 2 : 0] = static_cast<unsigned char>(r);
        }
    buffer.queued = false;
}

// Waits for the frame of buffer f, then paints it.
TIRN_CANCELLATION_FRAME int complete(const Version& v, Device& device, Lock& lock, unsigned f)
{
    if (f >= device.buffers.size() || !device.buffers[f].queued)
        return fail(EINVAL);
    device.stats.callers.insert(std::this_thread::get_id());
    const long slot = device.buffers[f].slot;
    sleepUntil(lock, device.t0 + std::chrono::milliseconds(v.config.intervalMs) * slot);
    paint(v, device, f);
    return 0;
}

TIRN_CANCELLATION_FRAME int v1Request(const Version& v, Device& device, Lock& lock,
                                      unsigned long ulRequest, void* pArg)
{
    switch (ulRequest) {
    case VIDIOCGCAP: {
        video_capability& capability = *static_cast<video_capability*>(pArg);
        std::strcpy(capability.name, "Fake Grabber");
        capability.maxwidth = 320;
        return 0;
    }
    case VIDIOCSCHAN: {
        const int iChannel = static_cast<video_channel*>(pArg)->channel;
        if (iChannel < 0 || iChannel > 3)
            return fail(EINVAL);
        device.stats.channel = iChannel;
        return 0;
    }
    case VIDIOCGMBUF: {
        const int frameBytes = 320 * 240 * 3; // the largest frame of the card
        video_mbuf& mbuf = *static_cast<video_mbuf*>(pArg);
        mbuf = video_mbuf();
        mbuf.frames = v.config.frames;
        mbuf.size = mbuf.frames * frameBytes;
        for (int f = 0; f < mbuf.frames && f < VIDEO_MAX_FRAME; ++f)
            mbuf.offsets[f] = f * frameBytes;
        return allocate(device, unsigned(mbuf.frames), frameBytes, std::size_t(mbuf.size));
    }
    case VIDIOCMCAPTURE: {
        const video_mmap& request = *static_cast<video_mmap*>(pArg);
        if (request.format != VIDEO_PALETTE_RGB24 || request.width < 1 || request.height < 1 ||
            std::size_t(request.width) * std::size_t(request.height) * 3 > device.bufferBytes)
            return fail(EINVAL);
        return queue(v, device, request.frame, request.width, request.height);
    }
    case VIDIOCSYNC:
        return complete(v, device, lock, unsigned(*static_cast<int*>(pArg)));
    default:
        return fail(ENOTTY);
    }
}

int v2Request(const Version& v, Device& device, Lock& lock, unsigned long ulRequest, void* pArg)
{
    v4l2_buffer* pBuffer = static_cast<v4l2_buffer*>(pArg); // for the buffer requests
    switch (ulRequest) {
    case VIDIOC_QUERYCAP: {
        v4l2_capability& capability = *static_cast<v4l2_capability*>(pArg);
        capability.device_caps =
            V4L2_CAP_VIDEO_CAPTURE | (v.config.streaming ? V4L2_CAP_STREAMING : 0);
        capability.capabilities = capability.device_caps | V4L2_CAP_DEVICE_CAPS;
        return 0;
    }
    case VIDIOC_S_FMT: {
        v4l2_format& format = *static_cast<v4l2_format*>(pArg);
        if (format.type != V4L2_BUF_TYPE_VIDEO_CAPTURE || !device.buffers.empty())
            return fail(EINVAL);
        // The nearest of the sizes this camera has.
        const auto distance = [&](int w) {
            return std::abs(w - int(format.fmt.pix.width)) +
                   std::abs(w * 3 / 4 - int(format.fmt.pix.height));
        };
        const int sizes[] = {160, 320, 640};
        device.width = *std::min_element(std::begin(sizes), std::end(sizes),
                                         [&](int a, int b) { return distance(a) < distance(b); });
        device.height = device.width * 3 / 4;
        format.fmt.pix.width = unsigned(device.width);
        format.fmt.pix.height = unsigned(device.height);
        format.fmt.pix.pixelformat = v.config.rgb24 ? V4L2_PIX_FMT_RGB24 : V4L2_PIX_FMT_YUYV;
        format.fmt.pix.bytesperline = unsigned(device.width * 3 + v.padding);
        return 0;
    }
    case VIDIOC_REQBUFS: {
        v4l2_requestbuffers& request = *static_cast<v4l2_requestbuffers*>(pArg);
        if (request.memory != V4L2_MEMORY_MMAP || device.streaming)
            return fail(EINVAL);
        request.count = std::min(request.count, 4u);
        const std::size_t bytes = std::size_t(device.width * 3 + v.padding) * device.height;
        return allocate(device, request.count, bytes, bytes);
    }
    case VIDIOC_QUERYBUF:
        if (pBuffer->index >= device.buffers.size())
            return fail(EINVAL);
        pBuffer->length = unsigned(device.bufferBytes);
        pBuffer->m.offset = unsigned(pBuffer->index * device.bufferBytes);
        return 0;
    case VIDIOC_QBUF:
        return queue(v, device, pBuffer->index, device.width, device.height);
    case VIDIOC_DQBUF: {
        if (!device.streaming || device.buffers.empty())
            return fail(EINVAL);
        // The queued buffer whose frame comes first.
        const auto first = std::min_element(
            device.buffers.begin(), device.buffers.end(), [](const Buffer& a, const Buffer& b) {
                return a.queued != b.queued ? a.queued : a.slot < b.slot;
            });
        pBuffer->index = unsigned(first - device.buffers.begin());
        pBuffer->bytesused = unsigned(device.bufferBytes);
        pBuffer->flags = 0;
        return complete(v, device, lock, pBuffer->index);
    }
    case VIDIOC_STREAMON:
        if (device.buffers.empty())
            return fail(EINVAL);
        device.streaming = true;
        return 0;
    case VIDIOC_STREAMOFF:
        device.streaming = false;
        for (Buffer& buffer : device.buffers)
            buffer.queued = false;
        return 0;
    default:
        return fail(ENOTTY);
    }
}

// Version V's device d answers to the descriptor 100 * (V + 1) + d.
template <int V> Device* deviceOf(int fd)
{
    const int d = fd - 100 * (V + 1);
    const bool bOpen = d >= 0 && d < g_versions[V].devices && g_versions[V].device[d].stats.open;
    return bOpen ? &g_versions[V].device[d] : nullptr;
}

template <int V> int fakeOpen(const char* pcPath, int)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    Version& v = g_versions[V];
    int d = -1;
    char cExtra;
    if (std::sscanf(pcPath, "/dev/video%d%c", &d, &cExtra) != 1 || d < 0 || d >= v.devices)
        return fail(ENOENT);
    if (v.config.openErrno)
        return fail(v.config.openErrno);
    Stats& stats = v.device[d].stats;
    if (stats.open)
        return fail(EBUSY);
    stats.open = true;
    return 100 * (V + 1) + d;
}

template <int V> TIRN_CANCELLATION_FRAME int fakeIoctl(int fd, unsigned long ulRequest, void* pArg)
{
    Lock lock(g_mutex);
    Device* pDevice = deviceOf<V>(fd);
    if (!pDevice)
        return fail(EBADF);
    const Config& config = g_versions[V].config;
    if ((V == 0 ? v1Request : v2Request)(g_versions[V], *pDevice, lock, ulRequest, pArg) < 0)
        return -1;
    // Checked after the request, so that a request for a frame fails when
    // the frame is due.
    long& done = pDevice->stats.requests[ulRequest];
    for (const auto& failure : kFailures) {
        if (failure.code != ulRequest)
            continue;
        if (failure.pErrno && config.*failure.pErrno)
            return fail(config.*failure.pErrno);
        if (failure.pFailAfter && config.*failure.pFailAfter >= 0 &&
            done >= config.*failure.pFailAfter)
            return fail(EIO);
    }
    ++done;
    return 0;
}

template <int V> void* fakeMmap(void*, std::size_t length, int, int, int fd, std::int64_t offset)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    Device* pDevice = deviceOf<V>(fd);
    const std::size_t at = std::size_t(offset);
    int iErrno = !pDevice ? EBADF : g_versions[V].config.mmapErrno;
    if (!iErrno &&
        (length == 0 || length != pDevice->mappingBytes || offset < 0 || at % length != 0 ||
         at + length > pDevice->area.size() || !pDevice->mappedAt.insert(at).second))
        iErrno = EINVAL;
    if (!iErrno)
        return &pDevice->area[at];
    errno = iErrno;
    return iErrno == ENOMEM ? nullptr : MAP_FAILED;
}

template <int V> int fakeMunmap(void* pStart, std::size_t length)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    for (Device& device : g_versions[V].device)
        for (const std::size_t offset : device.mappedAt)
            if (device.area.data() + offset == pStart && length == device.mappingBytes) {
                device.mappedAt.erase(offset);
                ++device.stats.munmaps;
                device.stats.munmapLength = length;
                releaseIfUnused(device);
                return 0;
            }
    return fail(EINVAL);
}

template <int V> int fakeClose(int fd)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    Device* pDevice = deviceOf<V>(fd);
    if (!pDevice)
        return fail(EBADF);
    pDevice->stats.open = pDevice->streaming = false;
    ++pDevice->stats.closes;
    releaseIfUnused(*pDevice);
    return 0;
}

const TDeviceAccess kAccess[2] = {
    {fakeOpen<0>, fakeIoctl<0>, fakeMmap<0>, fakeMunmap<0>, fakeClose<0>},
    {fakeOpen<1>, fakeIoctl<1>, fakeMmap<1>, fakeMunmap<1>, fakeClose<1>},
};

void reset(int iVersion, const Config& config)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    g_versions[iVersion].config = config;
    for (Device& device : g_versions[iVersion].device)
        device = Device();
}

Stats statsOf(int iVersion, int d)
{
    std::lock_guard<std::mutex> lock(g_mutex);
    Stats stats = g_versions[iVersion].device[d].stats;
    stats.mapped = int(g_versions[iVersion].device[d].mappedAt.size());
    return stats;
}

} // namespace

void resetV4L1(const Config& config) { reset(0, config); }
void resetV4L2(const Config& config) { reset(1, config); }
const TDeviceAccess& v4l1Access() { return kAccess[0]; }
const TDeviceAccess& v4l2Access() { return kAccess[1]; }
Stats v4l1Stats(int device) { return statsOf(0, device); }
Stats v4l2Stats() { return statsOf(1, 0); }

} // namespace fake
