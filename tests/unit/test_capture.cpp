// The grabbers against the fake drivers: CImageTVGrab (version 1) with its
// shared devices and capture thread, CImageUSBGrab (version 2) with its
// nearest sizes and grab modes; frames, sizes, failures and messages.
#include <cerrno>
#include <chrono>
#include <cmath>
#include <cstdio>
#include <memory>
#include <string>
#include <thread>
#include <tuple>

#include <sys/time.h>

#include <libv4l1.h>
#include <libv4l2.h>

#include <gtest/gtest.h>

#include "FakeVideoDevices.h"
#include "FilterRun.h"
#include "capture/CImageTVGrab.h"
#include "capture/CImageUSBGrab.h"

namespace {

using fake::Config;

const int kIntervalMs = Config().intervalMs;

void sleepFrames(int n) { std::this_thread::sleep_for(std::chrono::milliseconds(n * kIntervalMs)); }

// The frame number the fake stamped into the blue channel, and the frames
// between two of them (the numbers wrap at 256).
template <class T> int frameOf(const CImage<T>& image) { return int(image.getPixel(0, 0, 2)); }
int framesBetween(int first, int second) { return (second - first + 256) % 256; }

// The fake's pattern as the grabbers deliver it: the stored rows (red) come
// bottom-up, or top-down with every row reversed when mirrored; green counts
// the columns, blue is the frame number. The name tells fTime, what the grab
// returned.
template <class T>
void expectFrame(const CImage<T>& image, float fTime, int w, int h, bool bMirror = false)
{
    ASSERT_EQ(std::make_tuple(image.width(), image.height(), image.channels()),
              std::make_tuple(w, h, 3));
    int iWrong = 0;
    for (int y = 0; y < h; ++y)
        for (int x = 0; x < w; ++x)
            iWrong += image.getPixel(x, y, 0) != T((bMirror ? y : h - 1 - y) % 256) ||
                      image.getPixel(x, y, 1) != T((bMirror ? w - 1 - x : x) % 256) ||
                      image.getPixel(x, y, 2) != T(frameOf(image));
    EXPECT_EQ(iWrong, 0) << w << "x" << h;
    EXPECT_STREQ(image.getChannelInfo(0), "red");
    EXPECT_STREQ(image.getChannelInfo(1), "green");
    EXPECT_STREQ(image.getChannelInfo(2), "blue");
    EXPECT_EQ(std::string(image.getName()).substr(0, 10), "video0 at ");
    EXPECT_NEAR(std::stod(image.getName() + 10), fTime, 1e-3);
}

// Grabs in quick succession never repeat a frame and are as far apart as
// their frames; after a pause the next grab is the newest frame (no
// backlog) and the one after it waits for a new one.
template <class Grabber> void expectFreshFrames(Grabber& grabber)
{
    CImage<unsigned char> image(1, 1, 1);
    grabber.grab(image); // the first frame may take longer
    float fFirst = grabber.grab(image), fLast = fFirst;
    int iFirst = frameOf(image), iLast = iFirst;
    for (int i = 0; i < 4; ++i) {
        const float fTime = grabber.grab(image);
        EXPECT_GE(framesBetween(iLast, frameOf(image)), 1) << i;
        EXPECT_GT(fTime, fLast) << i;
        fLast = fTime;
        iLast = frameOf(image);
    }
    // Frames come no faster than the interval; the spread allows a loaded
    // machine to lose a few.
    EXPECT_GE(fLast - fFirst, 4 * kIntervalMs * 0.8e-3);
    EXPECT_NEAR(fLast - fFirst, framesBetween(iFirst, iLast) * kIntervalMs * 1e-3, 0.06);

    sleepFrames(8);
    grabber.grab(image);
    const int iSlow = frameOf(image);
    EXPECT_GE(framesBetween(iLast, iSlow), 6);
    grabber.grab(image);
    EXPECT_GE(framesBetween(iSlow, frameOf(image)), 1);
    EXPECT_LE(framesBetween(iSlow, frameOf(image)), 3);
}

// The first line at every verbosity level above 0.
std::string startLine()
{
    char acStart[64];
    std::snprintf(acStart, sizeof acStart, "StartTime: %f \n", vflg_starttime);
    return acStart;
}

class Capture : public ::testing::Test
{
protected:
    void SetUp() override
    {
        fake::resetV4L1();
        fake::resetV4L2();
        CImageTVGrab::setDeviceAccess(&fake::v4l1Access());
        CImageUSBGrab::setDeviceAccess(&fake::v4l2Access());
    }
    void TearDown() override
    {
        vflg_verbosity = 0;
        CImageTVGrab::setDeviceAccess(nullptr);
        CImageUSBGrab::setDeviceAccess(nullptr);
    }
};

using CaptureTVGrab = Capture;
using CaptureTVGrabDeathTest = Capture;
using CaptureUSBGrab = Capture;

} // namespace

TEST_F(CaptureTVGrab, FramesArriveBottomUpAsRedGreenBlueOrMirroredTimedFromACoarseStart)
{
    for (bool bMirror : {false, true}) {
        CImageTVGrab grabber(10, 0, 0, 1, bMirror); // height 10*3/4 = 7
        CImage<unsigned char> image(1, 1, 1);
        const float fTime = grabber.grab(image);
        expectFrame(image, fTime, 10, 7, bMirror);
        timeval tv;
        gettimeofday(&tv, nullptr);
        EXPECT_NEAR(fTime, double(tv.tv_sec) + tv.tv_usec / 1e6 - vflg_starttime, 0.05);
        // Single precision: a multiple of 128 seconds near the clock.
        EXPECT_EQ(std::fmod(vflg_starttime, 128.0), 0.0);
        EXPECT_LE(std::fabs(vflg_starttime - double(tv.tv_sec)), 65.0);
    }
}

TEST_F(CaptureTVGrab, ObjectsOfOneDeviceShareOneThreadAndTheLastClosesIt)
{
    vflg_verbosity = 2; // before any thread reads it
    std::unique_ptr<CImageTVGrab> first, second, other;
    std::string sOut = stderrOf([&] { first = std::make_unique<CImageTVGrab>(16, 12, 0, 1); });
    EXPECT_EQ(sOut, startLine() + "/dev/video0 opened \n"
                                  "Video Capture Device Name: Fake Grabber\n"
                                  "Channel 1 set.\n"
                                  "Frames: 2\n"
                                  "Alloc memory for snapshot.\n"
                                  "setparameter(16x12) aufgerufen\n");
    sOut = stderrOf([&] { second = std::make_unique<CImageTVGrab>(16, 12, 0, 1); });
    EXPECT_EQ(sOut, startLine() + "/dev/video0 already opened \n"
                                  "setparameter(16x12) aufgerufen\n");
    stderrOf([&] { other = std::make_unique<CImageTVGrab>(16, 12, 1, 2); }); // own device, channel
    // Two callers grabbing at once from one device.
    std::thread a([&] { expectFreshFrames(*first); });
    expectFreshFrames(*second);
    a.join();

    fake::Stats stats = fake::v4l1Stats(0);
    EXPECT_EQ(stats.channel, 1);
    EXPECT_EQ(stats.callers.size(), 1u);
    EXPECT_EQ(fake::v4l1Stats(1).channel, 2);
    EXPECT_EQ(fake::v4l1Stats(1).callers.size(), 1u);
    EXPECT_NE(*fake::v4l1Stats(1).callers.begin(), *stats.callers.begin());

    EXPECT_EQ(stderrOf([&] {
                  first.reset();
                  const auto requests = fake::v4l1Stats(0).requests;
                  sleepFrames(3);
                  // Still capturing for the second object.
                  EXPECT_NE(fake::v4l1Stats(0).requests, requests);
                  EXPECT_TRUE(fake::v4l1Stats(0).open);
                  second.reset();
              }),
              "destructor leaving 1 instances for /dev/video0\n"
              "destructor leaving 0 instances for /dev/video0\n"
              "thread stuff destroyed\n"
              "closing /dev/video0\n"
              "unmapping memory for /dev/video0\n");
    stats = fake::v4l1Stats(0);
    EXPECT_EQ(stats.closes, 1);
    EXPECT_EQ(stats.munmaps, 1);
    EXPECT_EQ(stats.munmapLength, std::size_t(2 * 320 * 240 * 3));
    sleepFrames(3);
    EXPECT_EQ(fake::v4l1Stats(0).requests, stats.requests); // the thread is gone
    EXPECT_TRUE(fake::v4l1Stats(1).open); // the other device goes on

    // A closed device opens again, with a new capture thread.
    CImageTVGrab again(8, 6, 0, 3);
    CImage<unsigned char> image(1, 1, 1);
    again.grab(image);
    EXPECT_EQ(fake::v4l1Stats(0).channel, 3);
}

// Sizes the card cannot deliver are refused, from a new object or from one
// that joins the running device; the old size goes on. Joining with another
// size warns and resizes every object's frames, with another channel is
// refused.
TEST_F(CaptureTVGrab, SizesAndChannelsTheDeviceCannotTakeAreRefused)
{
    expectRefusal([] { CImageTVGrab(321, 10); }, "vfl:setsize: width to large(321) \n");
    // The refused open leaves the device closed.
    EXPECT_EQ(fake::v4l1Stats(0).closes, 1);
    EXPECT_EQ(fake::v4l1Stats(0).munmaps, 1);

    auto grabber = std::make_unique<CImageTVGrab>(320, 10);
    CImage<unsigned char> image(1, 1, 1);
    const struct
    {
        int w, h;
        const char* pcText;
    } refused[] = {
        {400, 0, "vfl:setsize: width to large(400) \n"},
        {0, 0, "vfl:setsize: size 0x0 does not fit the frame buffers \n"},
        {320, 241, "vfl:setsize: size 320x241 does not fit the frame buffers \n"},
        {-8, 0, "vfl:setsize: size -8x-6 does not fit the frame buffers \n"},
        {2, 300000000, "vfl:setsize: size 2x300000000 does not fit the frame buffers \n"},
    };
    for (const auto& r : refused) {
        expectRefusal([&] { grabber->setsize(r.w, r.h); }, r.pcText);
        stderrOf([&] { expectRefusal([&] { CImageTVGrab(r.w, r.h); }, r.pcText); });
        expectFrame(image, grabber->grab(image), 320, 10);
    }
    expectRefusal([] { CImageTVGrab(320, 10, 0, 2); },
                  "vfl: Cannot change channel of running device! ");
    EXPECT_EQ(stderrOf([] { CImageTVGrab(320, 10); }), "");
    EXPECT_EQ(stderrOf([] { CImageTVGrab(20, 0); }),
              "vfl: Warning changing size for grabber device /dev/video0 \n");
    EXPECT_EQ(fake::v4l1Stats(0).lastWidth, 20);
    expectFrame(image, grabber->grab(image), 20, 15); // the old frames are gone
    grabber->setsize(320, 240); // the largest frame the buffers hold
    expectFrame(image, grabber->grab(image), 320, 240);
    // The refused objects were never counted: the first one closes the device.
    grabber.reset();
    EXPECT_EQ(fake::v4l1Stats(0).closes, 2);
}

TEST_F(CaptureTVGrab, BadDeviceIndicesAndDriverFailuresAreThrownWithTheSystemText)
{
    expectRefusal([] { CImageTVGrab(16, 12, 4); },
                  "vfl: no device /dev/video4, only /dev/video0 to /dev/video3 \n");
    expectRefusal([] { CImageTVGrab(16, 12, -1); },
                  "vfl: no device /dev/video-1, only /dev/video0 to /dev/video3 \n");
    const struct
    {
        int Config::*pSwitch;
        int iValue, iChannel, iCloses;
        const char* pcText;
    } cases[] = {
        {&Config::openErrno, ENOENT, 1, 0, "vfl:open: No such file or directory\n"},
        {&Config::gcapErrno, EIO, 1, 1, "vfl:VIDIOCGCAP: Input/output error\n"},
        {&Config::schanErrno, EINVAL, 1, 1, "vfl:VIDIOCSCHAN: Invalid argument\n"},
        {&Config::gmbufErrno, ENOTTY, 1, 1, "vfl:VIDIOCGMBUF: Inappropriate ioctl for device\n"},
        {&Config::frames, 1, 1, 1, "vfl:VIDIOCGMBUF: 1 frames of 230400 bytes, 2 frames needed\n"},
        {&Config::mmapErrno, ENOMEM, 1, 1, "vfl:mmap: Cannot allocate memory\n"},
        {&Config::mmapErrno, ENODEV, 1, 1, "vfl:mmap: No such device\n"},
        // A channel the card lacks is the driver's refusal.
        {&Config::openErrno, 0, 7, 1, "vfl:VIDIOCSCHAN: Invalid argument\n"},
    };
    for (const auto& test : cases) {
        Config config;
        config.*test.pSwitch = test.iValue;
        fake::resetV4L1(config);
        expectRefusal([&] { CImageTVGrab(16, 12, 0, test.iChannel); }, test.pcText);
        EXPECT_EQ(fake::v4l1Stats(0).closes, test.iCloses) << test.pcText;
    }
}

// Every frame at level 3, from the grab and from the capture thread.
TEST_F(CaptureTVGrab, LevelThreePrintsEveryFrame)
{
    vflg_verbosity = 3;
    const std::string sOut = stderrOf([] {
        CImageTVGrab grabber(16, 12);
        CImage<unsigned char> image(1, 1, 1);
        grabber.grab(image);
        sleepFrames(6); // unread frames pile up and are taken back
        grabber.grab(image);
    });
    for (const char* pcLine :
         {"getRGB aufgerufen (video0) \n", "grabben: dev0, frame0 \n", "grabben: dev0, frame1 \n",
          "warten (0)... \n", "warten (1)... \n", "vfl: unused Frame (2)\n"})
        EXPECT_NE(sOut.find(pcLine), std::string::npos) << pcLine;
    const std::size_t read = sOut.find(" auslesen \n");
    ASSERT_NE(read, std::string::npos);
    const std::string sBuffer = sOut.substr(read - 8, 8); // "Buffer 0" or "Buffer 1"
    EXPECT_TRUE(sBuffer == "Buffer 0" || sBuffer == "Buffer 1") << sBuffer;
    EXPECT_NE(sOut.find(sBuffer + " ausgelesen \n", read), std::string::npos);
}

// The capture thread has no handler: a failed request ends the process.
TEST_F(CaptureTVGrabDeathTest, AFailedSyncOrRequestInTheThreadEndsTheProcess)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (bool bSync : {true, false}) {
        Config config;
        (bSync ? config.failSyncAfter : config.failCaptureAfter) = bSync ? 3 : 4;
        EXPECT_DEATH(
            {
                fake::resetV4L1(config);
                CImageTVGrab grabber(16, 12);
                sleepFrames(50);
            },
            bSync ? "vfl:VIDIOCSYNC: Input/output error" : "vfl:VIDIOCMCAPTURE: Input/output error");
    }
}

TEST_F(CaptureUSBGrab, ModeZeroGrabsFreshRedGreenBlueFramesAtEveryDepth)
{
    CImageUSBGrab grabber; // 160 x 120 on /dev/video0
    const auto expectGrab = [&grabber](auto image) {
        const float fTime = grabber.grab(image);
        expectFrame(image, fTime, 160, 120); // the padding at the row ends skipped
        EXPECT_GT(fTime, 0.0f);
        EXPECT_LT(fTime, 5.0f);
    };
    expectGrab(CImage<unsigned char>(1, 1, 1));
    expectGrab(CImage<unsigned short>(1, 1, 1));
    expectGrab(CImage<float>(1, 1, 1));
    expectFreshFrames(grabber);
}

TEST_F(CaptureUSBGrab, ASizeTheCameraLacksBecomesTheNearestOneItHas)
{
    CImageUSBGrab grabber(200, 150);
    EXPECT_EQ(std::make_tuple(grabber.width(), grabber.height()), std::make_tuple(160, 120));
    grabber.setsize(600, 500);
    EXPECT_EQ(std::make_tuple(grabber.width(), grabber.height()), std::make_tuple(640, 480));
    CImage<unsigned char> image(1, 1, 1);
    expectFrame(image, grabber.grab(image), 640, 480);
    expectRefusal([&] { grabber.setsize(0, 5); }, "vfl:setsize: bad size(0x5) \n");
    EXPECT_EQ(grabber.width(), 640); // the old size goes on
    expectFrame(image, grabber.grab(image), 640, 480);
    EXPECT_EQ(fake::v4l2Stats().mapped, 4);
}

TEST_F(CaptureUSBGrab, NonZeroModesReturnTheNewestFrameWithoutWaiting)
{
    Config config;
    config.intervalMs = 150; // long enough that no frame slips in between
    fake::resetV4L2(config);
    CImageUSBGrab grabber;
    CImage<unsigned char> image(1, 1, 1);
    const float fFirst = grabber.grab(image, 0);
    const int iFirst = frameOf(image);
    const auto before = std::chrono::steady_clock::now();
    EXPECT_EQ(grabber.grab(image, 1), fFirst);
    EXPECT_EQ(grabber.grab(image, -3), fFirst);
    EXPECT_EQ(frameOf(image), iFirst);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(100));
    EXPECT_GT(grabber.grab(image, 0), fFirst + 0.1f);
    EXPECT_EQ(framesBetween(iFirst, frameOf(image)), 1);
}

TEST_F(CaptureUSBGrab, FailuresAreThrownAndTheDeviceIsReleased)
{
    expectRefusal([] { CImageUSBGrab(160, 120, -1); }, "vfl: no device /dev/video-1 \n");
    expectRefusal([] { CImageUSBGrab(160, 120, 1); }, "vfl:open: No such file or directory\n");
    for (bool bRgb : {false, true}) {
        Config config;
        (bRgb ? config.streaming : config.rgb24) = false;
        fake::resetV4L2(config);
        expectRefusal([] { CImageUSBGrab(); },
                      bRgb ? "vfl: /dev/video0 cannot stream video frames \n"
                           : "vfl: /dev/video0 delivers no RGB24 frames \n");
        EXPECT_FALSE(fake::v4l2Stats().open);
    }
    Config config;
    config.failDequeueAfter = 2;
    config.intervalMs = 200; // the two good frames are not missed on a loaded machine
    fake::resetV4L2(config);
    {
        CImageUSBGrab grabber;
        CImage<unsigned short> image(1, 1, 1);
        grabber.grab(image);
        grabber.grab(image);
        expectRefusal([&] { grabber.grab(image); }, "vfl:VIDIOC_DQBUF: Input/output error\n");
        expectRefusal([&] { grabber.grab(image, 1); }, "vfl:VIDIOC_DQBUF: Input/output error\n");
    }
    EXPECT_EQ(fake::v4l2Stats().closes, 1);
    EXPECT_EQ(fake::v4l2Stats().mapped, 0);
}

TEST_F(Capture, WithoutAnInstalledDriverTheGrabbersGoThroughLibv4l)
{
    // Null puts the default back.
    CImageTVGrab::setDeviceAccess(nullptr);
    CImageUSBGrab::setDeviceAccess(nullptr);
    EXPECT_EQ(CImageTVGrab::setDeviceAccess(nullptr), &tirn::libv4l1Access());
    EXPECT_EQ(CImageUSBGrab::setDeviceAccess(nullptr), &tirn::libv4l2Access());
    EXPECT_EQ(tirn::libv4l1Access().mmap, &v4l1_mmap);
    EXPECT_EQ(tirn::libv4l1Access().munmap, &v4l1_munmap);
    EXPECT_EQ(tirn::libv4l1Access().close, &v4l1_close);
    EXPECT_EQ(tirn::libv4l2Access().mmap, &v4l2_mmap);
    EXPECT_EQ(tirn::libv4l2Access().munmap, &v4l2_munmap);
    EXPECT_EQ(tirn::libv4l2Access().close, &v4l2_close);
}
