// Fake video drivers behind the grabbers' device-access tables, so the
// capture code runs without a camera. Frame n is due n intervals after the
// first request since the buffers were set up; waiting for it blocks until
// then. Its stored pixel at row r, column c has red = r, green = c, blue = n
// (modulo 256); version 1 stores blue, green, red as the cards do, version 2
// red, green, blue with 4 bytes of padding after every row, as libv4l2
// delivers it.
#ifndef TESTS_FAKEVIDEODEVICES_H
#define TESTS_FAKEVIDEODEVICES_H

#include <cstddef>
#include <map>
#include <set>
#include <thread>

struct TDeviceAccess;

namespace fake {

struct Config
{
    int intervalMs = 20;
    // errno values of failures on demand; 0 means the call works. A failed
    // mmap gives MAP_FAILED, or a null pointer for ENOMEM.
    int openErrno = 0, gcapErrno = 0, schanErrno = 0, gmbufErrno = 0, mmapErrno = 0;
    // The request after this many of its kind fails with EIO.
    long failCaptureAfter = -1, failSyncAfter = -1, failDequeueAfter = -1;
    int frames = 2; // frame buffers of a version-1 card
    // false: the version-2 camera lacks the RGB24 "conversion" or streaming.
    bool rgb24 = true, streaming = true;
};
using V4L2Config = Config;

struct Stats
{
    bool open = false;
    int closes = 0, mapped = 0, munmaps = 0;
    std::size_t munmapLength = 0;
    std::map<unsigned long, long> requests; // the requests that succeeded
    int channel = -1, lastWidth = 0;
    std::set<std::thread::id> callers; // threads that queued or awaited frames
};

// Reset the four version-1 devices or the one version-2 camera; the test
// puts the access table in front of the grabbers, or of the driver library
// itself where it cannot reach the plug-in's classes (the ABI tests).
void resetV4L1(const Config& config = Config());
void resetV4L2(const Config& config = Config());
const TDeviceAccess& v4l1Access();
const TDeviceAccess& v4l2Access();
Stats v4l1Stats(int device);
Stats v4l2Stats();

} // namespace fake

#endif
