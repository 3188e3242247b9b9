// Fake video drivers behind the grabbers' device-access tables, so the
// capture code runs without a camera. Frames come at a fixed interval from
// the first request on; a request for a frame blocks until it is due.
//
// Frame pattern, per stored pixel at row r and column c of frame number n
// (counted from 0 after the device was opened): red = r, green = c,
// blue = n (all modulo 256). The version-1 fake stores blue, green, red as
// the cards do; the version-2 fake stores red, green, blue as libv4l2
// delivers it, with 4 bytes of padding at the end of every row.
#ifndef TESTS_FAKEVIDEODEVICES_H
#define TESTS_FAKEVIDEODEVICES_H

#include <cstddef>
#include <functional>
#include <set>
#include <string>
#include <thread>

#include "image/CException.h"

struct TDeviceAccess;

namespace fake {

struct V4L1Config
{
    int maxwidth = 320;
    std::string name = "Fake Grabber";
    int frames = 2;
    int frameBytes = 320 * 240 * 3;
    int intervalMs = 20;
    // errno values of failures on demand; 0 means the call works.
    int openErrno = 0, gcapErrno = 0, schanErrno = 0, gmbufErrno = 0;
    enum { MapWorks, MapNull, MapFailed } map = MapWorks;
    long failCaptureAfter = -1; // the request after this many fails with EIO
    long failSyncAfter = -1;    // the sync after this many fails with EIO
};

struct V4L1Stats
{
    bool open = false;
    int opens = 0, closes = 0, munmaps = 0;
    std::size_t munmapLength = 0;
    long captures = 0, syncs = 0;
    int channel = -1, lastWidth = 0, lastHeight = 0;
    long lastCompleted = -1;
    std::set<std::thread::id> callers; // threads that queued or synced frames
};

// Resets the four fake devices and installs the fake into CImageTVGrab.
void installV4L1(const V4L1Config& config = V4L1Config());
void uninstallV4L1();
// The same without installing: for a program that puts the fake in front
// of the driver library itself (the ABI tests, which cannot reach the
// plug-in's classes).
void resetV4L1(const V4L1Config& config = V4L1Config());
const TDeviceAccess& v4l1Access();
V4L1Stats v4l1Stats(int device);

struct V4L2Config
{
    int intervalMs = 20;
    bool rgb24 = true;      // false: the "conversion" is not available
    bool streaming = true;  // capability to stream
    int openErrno = 0;
    long failDequeueAfter = -1; // the dequeue after this many fails with EIO
};

struct V4L2Stats
{
    bool open = false, streaming = false;
    int opens = 0, closes = 0;
    int mapped = 0; // buffers mapped now
    long dequeued = 0;
};

void installV4L2(const V4L2Config& config = V4L2Config());
void uninstallV4L2();
void resetV4L2(const V4L2Config& config = V4L2Config());
const TDeviceAccess& v4l2Access();
V4L2Stats v4l2Stats();

// For the grabber tests: frames between two stamped frame numbers (which
// wrap at 256), and the text of the CException an action throws.
inline int framesBetween(int first, int second) { return (second - first + 256) % 256; }
inline std::string exceptionText(const std::function<void()>& action)
{
    try {
        action();
    } catch (const CException& e) {
        return e.what();
    }
    return "(no exception)";
}

} // namespace fake

#endif
