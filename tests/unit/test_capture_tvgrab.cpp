// CImageTVGrab against a fake version-1 driver: device sharing, the capture
// thread, frame hand-over, sizes, failures and messages.
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <cmath>
#include <memory>
#include <string>
#include <thread>
#include <vector>

#include <sys/time.h>

#include <libv4l1.h>

#include <gtest/gtest.h>

#include "FakeVideoDevices.h"
#include "capture/CImageTVGrab.h"

namespace {

constexpr int kIntervalMs = 20;

void sleepFrames(int n) { std::this_thread::sleep_for(std::chrono::milliseconds(n * kIntervalMs)); }

// The frame number the fake stamped into the blue channel.
int frameOf(const CImage<unsigned char>& image) { return image.getPixel(0, 0, 2); }

using fake::exceptionText;
using fake::framesBetween;

class CaptureTVGrab : public ::testing::Test
{
protected:
    void SetUp() override { fake::installV4L1(config()); }
    void TearDown() override
    {
        vflg_verbosity = 0;
        fake::uninstallV4L1();
    }
    static fake::V4L1Config config()
    {
        fake::V4L1Config c;
        c.intervalMs = kIntervalMs;
        return c;
    }
};

} // namespace

TEST_F(CaptureTVGrab, FramesArriveBottomUpAsRedGreenBlueOrMirrored)
{
    for (bool bMirror : {false, true}) {
        CImageTVGrab grabber(10, 0, 0, 1, bMirror); // height 10*3/4 = 7
        CImage<unsigned char> image(1, 1, 1);
        const float fTime = grabber.grab(image);
        ASSERT_EQ(image.width(), 10);
        ASSERT_EQ(image.height(), 7);
        ASSERT_EQ(image.channels(), 3);
        const int n = frameOf(image);
        for (int y = 0; y < 7; ++y)
            for (int x = 0; x < 10; ++x) {
                // Stored rows are red, columns green; mirrored images keep
                // the row order and reverse every row.
                EXPECT_EQ(image.getPixel(x, y, 0), bMirror ? y : 6 - y) << x << "," << y;
                EXPECT_EQ(image.getPixel(x, y, 1), bMirror ? 9 - x : x) << x << "," << y;
                EXPECT_EQ(image.getPixel(x, y, 2), n) << x << "," << y;
            }
        EXPECT_STREQ(image.getChannelInfo(0), "red");
        EXPECT_STREQ(image.getChannelInfo(1), "green");
        EXPECT_STREQ(image.getChannelInfo(2), "blue");
        EXPECT_EQ(std::string(image.getName()).substr(0, 10), "video0 at ");
        EXPECT_NEAR(std::stod(image.getName() + 10), fTime, 1e-3);
    }
}

// Grabs in quick succession never repeat a frame; after a pause the next
// grab is the newest frame (no backlog) and the one after it waits.
TEST_F(CaptureTVGrab, TimesGrowByTheFrameIntervalAndASlowGrabGetsTheNewestFrame)
{
    CImageTVGrab grabber(16, 12);
    timeval tv;
    gettimeofday(&tv, nullptr);
    // Single precision: a multiple of 128 seconds near the clock.
    EXPECT_EQ(std::fmod(vflg_starttime, 128.0), 0.0);
    EXPECT_LE(std::fabs(vflg_starttime - double(tv.tv_sec)), 65.0);

    CImage<unsigned char> image(1, 1, 1);
    std::vector<float> times;
    std::vector<int> frames;
    for (int i = 0; i < 6; ++i) {
        times.push_back(grabber.grab(image));
        frames.push_back(frameOf(image));
    }
    gettimeofday(&tv, nullptr);
    const double dNow = double(tv.tv_sec) + tv.tv_usec / 1e6 - vflg_starttime;
    EXPECT_NEAR(times.back(), dNow, 0.05);
    for (int i = 1; i < 6; ++i) {
        EXPECT_GE(framesBetween(frames[i - 1], frames[i]), 1) << i;
        EXPECT_GT(times[i], times[i - 1]) << i;
    }
    // Frames come no faster than the interval; the spread allows a loaded
    // machine to lose a few.
    const double dSpan = times[5] - times[1];
    EXPECT_GE(dSpan, 4 * kIntervalMs * 0.8e-3);
    EXPECT_LE(dSpan, 4 * kIntervalMs * 1e-3 + 0.5);
    EXPECT_NEAR(dSpan, framesBetween(frames[1], frames[5]) * kIntervalMs * 1e-3, 0.06);

    sleepFrames(8);
    const auto before = std::chrono::steady_clock::now();
    grabber.grab(image);
    const int iSlow = frameOf(image);
    EXPECT_GE(framesBetween(frames[5], iSlow), 6);
    EXPECT_LE(framesBetween(iSlow, int(fake::v4l1Stats(0).lastCompleted % 256)), 2);
    grabber.grab(image);
    EXPECT_GE(framesBetween(iSlow, frameOf(image)), 1);
    EXPECT_LE(framesBetween(iSlow, frameOf(image)), 3);
    EXPECT_LT(std::chrono::steady_clock::now() - before, std::chrono::milliseconds(500));
}

TEST_F(CaptureTVGrab, ObjectsOfOneDeviceShareOneThreadAndTheLastClosesIt)
{
    vflg_verbosity = 2; // before any thread reads it
    auto first = std::make_unique<CImageTVGrab>(16, 12, 0, 1);
    auto second = std::make_unique<CImageTVGrab>(16, 12, 0, 1);
    auto other = std::make_unique<CImageTVGrab>(16, 12, 1, 2); // own device, own channel

    // Two callers grabbing at once from one device.
    std::vector<int> framesA, framesB;
    std::thread a([&] {
        CImage<unsigned char> image(1, 1, 1);
        for (int i = 0; i < 5; ++i) {
            first->grab(image);
            framesA.push_back(frameOf(image));
        }
    });
    CImage<unsigned char> image(1, 1, 1);
    for (int i = 0; i < 5; ++i) {
        second->grab(image);
        framesB.push_back(frameOf(image));
    }
    a.join();
    for (int i = 1; i < 5; ++i) {
        EXPECT_GE(framesBetween(framesA[i - 1], framesA[i]), 1);
        EXPECT_GE(framesBetween(framesB[i - 1], framesB[i]), 1);
    }

    fake::V4L1Stats stats = fake::v4l1Stats(0);
    EXPECT_EQ(stats.opens, 1);
    EXPECT_EQ(stats.channel, 1);
    EXPECT_EQ(stats.callers.size(), 1u);
    EXPECT_EQ(fake::v4l1Stats(1).channel, 2);
    EXPECT_EQ(fake::v4l1Stats(1).callers.size(), 1u);
    EXPECT_NE(*fake::v4l1Stats(1).callers.begin(), *stats.callers.begin());

    testing::internal::CaptureStderr();
    first.reset();
    const long syncs = fake::v4l1Stats(0).syncs;
    sleepFrames(3);
    EXPECT_GT(fake::v4l1Stats(0).syncs, syncs); // still capturing for the second
    EXPECT_TRUE(fake::v4l1Stats(0).open);
    second.reset();
    EXPECT_EQ(testing::internal::GetCapturedStderr(),
              "destructor leaving 1 instances for /dev/video0\n"
              "destructor leaving 0 instances for /dev/video0\n"
              "thread stuff destroyed\n"
              "closing /dev/video0\n"
              "unmapping memory for /dev/video0\n");

    stats = fake::v4l1Stats(0);
    EXPECT_FALSE(stats.open);
    EXPECT_EQ(stats.closes, 1);
    EXPECT_EQ(stats.munmaps, 1);
    EXPECT_EQ(stats.munmapLength, std::size_t(2 * 320 * 240 * 3));
    sleepFrames(3);
    EXPECT_EQ(fake::v4l1Stats(0).syncs, stats.syncs); // the thread is gone
    EXPECT_EQ(fake::v4l1Stats(0).captures, stats.captures);
    EXPECT_TRUE(fake::v4l1Stats(1).open);
    other.reset();
    EXPECT_FALSE(fake::v4l1Stats(1).open);

    // A closed device opens again with a new thread.
    CImageTVGrab again(8, 6, 0, 3);
    again.grab(image);
    EXPECT_EQ(fake::v4l1Stats(0).opens, 2);
    EXPECT_EQ(fake::v4l1Stats(0).channel, 3);
    EXPECT_EQ(fake::v4l1Stats(0).callers.size(), 2u);
}

TEST_F(CaptureTVGrab, JoiningWithAnotherSizeWarnsAndResizesWithAnotherChannelIsRefused)
{
    auto first = std::make_unique<CImageTVGrab>(16, 12, 0, 1);
    EXPECT_EQ(exceptionText([] { CImageTVGrab(16, 12, 0, 2); }),
              "vfl: Cannot change channel of running device! ");
    testing::internal::CaptureStderr();
    { CImageTVGrab same(16, 12); }
    EXPECT_EQ(testing::internal::GetCapturedStderr(), "");

    {
        testing::internal::CaptureStderr();
        CImageTVGrab second(8, 0); // 8x6
        EXPECT_EQ(testing::internal::GetCapturedStderr(),
                  "vfl: Warning changing size for grabber device /dev/video0 \n");
        EXPECT_EQ(fake::v4l1Stats(0).lastWidth, 8);
        EXPECT_EQ(fake::v4l1Stats(0).lastHeight, 6);
        CImage<unsigned char> image(1, 1, 1);
        first->grab(image);
        EXPECT_EQ(image.width(), 8);
        EXPECT_EQ(image.height(), 6);
        EXPECT_EQ(image.getPixel(7, 0, 1), 7); // the frame's own columns
        EXPECT_EQ(image.getPixel(0, 0, 0), 5); // and rows, bottom-up
    }
    // The refused object was never counted: the first one closes the device.
    first.reset();
    EXPECT_FALSE(fake::v4l1Stats(0).open);
    EXPECT_EQ(fake::v4l1Stats(0).opens, 1);
}

TEST_F(CaptureTVGrab, SizesTheCardCannotDeliverAreRefused)
{
    EXPECT_EQ(exceptionText([] { CImageTVGrab(321, 10); }),
              "vfl:setsize: width to large(321) \n");
    // The refused open leaves the device closed.
    EXPECT_FALSE(fake::v4l1Stats(0).open);
    EXPECT_EQ(fake::v4l1Stats(0).closes, 1);
    EXPECT_EQ(fake::v4l1Stats(0).munmaps, 1);

    CImageTVGrab grabber(320, 10);
    EXPECT_EQ(exceptionText([&] { grabber.setsize(400, 0); }),
              "vfl:setsize: width to large(400) \n");
    const struct
    {
        int w, h;
        const char* pcSize;
    } refused[] = {{0, 0, "0x0"}, {320, 241, "320x241"}, {-8, 0, "-8x-6"}};
    for (const auto& r : refused)
        EXPECT_EQ(exceptionText([&] { grabber.setsize(r.w, r.h); }),
                  std::string("vfl:setsize: size ") + r.pcSize +
                      " does not fit the frame buffers \n");
    EXPECT_EQ(exceptionText([] { CImageTVGrab(2, 300000000); }),
              "vfl:setsize: size 2x300000000 does not fit the frame buffers \n");
    // The device keeps its size; the frames say so.
    CImage<unsigned char> image(1, 1, 1);
    grabber.grab(image);
    EXPECT_EQ(image.width(), 320);
    EXPECT_EQ(image.height(), 10);

    grabber.setsize(20, 0);
    EXPECT_EQ(fake::v4l1Stats(0).lastWidth, 20);
    grabber.grab(image); // the old frames are gone
    EXPECT_EQ(image.width(), 20);
    EXPECT_EQ(image.height(), 15);
    EXPECT_EQ(image.getPixel(19, 14, 1), 19);
    EXPECT_EQ(image.getPixel(19, 14, 0), 0);
    grabber.setsize(320, 240); // the largest frame the buffers hold
    grabber.grab(image);
    EXPECT_EQ(image.getPixel(319, 0, 1), 319 % 256);
    EXPECT_EQ(image.getPixel(319, 0, 0), 239);
}

TEST_F(CaptureTVGrab, BadDeviceIndicesAndDriverFailuresAreThrownWithTheSystemText)
{
    EXPECT_EQ(exceptionText([] { CImageTVGrab(16, 12, 4); }),
              "vfl: no device /dev/video4, only /dev/video0 to /dev/video3 \n");
    EXPECT_EQ(exceptionText([] { CImageTVGrab(16, 12, -1); }),
              "vfl: no device /dev/video-1, only /dev/video0 to /dev/video3 \n");

    struct Case
    {
        void (*configure)(fake::V4L1Config&);
        const char* pcText;
        int iCloses;
    };
    const Case cases[] = {
        {[](fake::V4L1Config& c) { c.openErrno = ENOENT; },
         "vfl:open: No such file or directory\n", 0},
        {[](fake::V4L1Config& c) { c.gcapErrno = EIO; }, "vfl:VIDIOCGCAP: Input/output error\n",
         1},
        {[](fake::V4L1Config& c) { c.schanErrno = EINVAL; }, "vfl:VIDIOCSCHAN: Invalid argument\n",
         1},
        {[](fake::V4L1Config& c) { c.gmbufErrno = ENOTTY; },
         "vfl:VIDIOCGMBUF: Inappropriate ioctl for device\n", 1},
        {[](fake::V4L1Config& c) { c.frames = 1; },
         "vfl:VIDIOCGMBUF: 1 frames of 230400 bytes, 2 frames needed\n", 1},
        {[](fake::V4L1Config& c) { c.map = fake::V4L1Config::MapNull; },
         "vfl:mmap: Cannot allocate memory\n", 1},
        {[](fake::V4L1Config& c) { c.map = fake::V4L1Config::MapFailed; },
         "vfl:mmap: No such device\n", 1},
    };
    for (const Case& test : cases) {
        fake::V4L1Config c = config();
        test.configure(c);
        fake::installV4L1(c);
        EXPECT_EQ(exceptionText([] { CImageTVGrab(16, 12); }), test.pcText);
        EXPECT_FALSE(fake::v4l1Stats(0).open) << test.pcText;
        EXPECT_EQ(fake::v4l1Stats(0).closes, test.iCloses) << test.pcText;
    }
    // A channel the card lacks is the driver's refusal.
    fake::installV4L1(config());
    EXPECT_EQ(exceptionText([] { CImageTVGrab(16, 12, 0, 7); }),
              "vfl:VIDIOCSCHAN: Invalid argument\n");
    // After all that the device opens normally.
    CImageTVGrab grabber(16, 12);
    CImage<unsigned char> image(1, 1, 1);
    grabber.grab(image);
    EXPECT_EQ(image.width(), 16);
}

TEST_F(CaptureTVGrab, VerbosityLevelsPrintTheirMessages)
{
    vflg_verbosity = 1;
    testing::internal::CaptureStderr();
    auto grabber = std::make_unique<CImageTVGrab>(16, 12);
    std::string sOut = testing::internal::GetCapturedStderr();
    char acStart[64];
    std::snprintf(acStart, sizeof acStart, "StartTime: %f \n", vflg_starttime);
    EXPECT_EQ(sOut, std::string(acStart) +
                        "/dev/video0 opened \n"
                        "Video Capture Device Name: Fake Grabber\n"
                        "Channel 1 set.\n"
                        "Frames: 2\n"
                        "Alloc memory for snapshot.\n"
                        "setparameter(16x12) aufgerufen\n");

    testing::internal::CaptureStderr();
    {
        CImageTVGrab joined(16, 12);
    }
    sOut = testing::internal::GetCapturedStderr();
    EXPECT_EQ(sOut.substr(sOut.find('\n') + 1),
              "/dev/video0 already opened \n"
              "setparameter(16x12) aufgerufen\n");
    grabber.reset();

    // Every frame at level 3, from the grab and from the capture thread.
    vflg_verbosity = 3;
    grabber = std::make_unique<CImageTVGrab>(16, 12);
    testing::internal::CaptureStderr();
    CImage<unsigned char> image(1, 1, 1);
    grabber->grab(image);
    sleepFrames(6); // unread frames pile up and are taken back
    grabber->grab(image);
    grabber.reset();
    sOut = testing::internal::GetCapturedStderr();
    for (const char* pcLine :
         {"getRGB aufgerufen (video0) \n", "grabben: dev0, frame0 \n", "grabben: dev0, frame1 \n",
          "warten (0)... \n", "warten (1)... \n", "vfl: unused Frame (2)\n",
          "destructor leaving 0 instances for /dev/video0\n"})
        EXPECT_NE(sOut.find(pcLine), std::string::npos) << pcLine;
    const std::size_t read = sOut.find(" auslesen \n");
    ASSERT_NE(read, std::string::npos);
    const std::string sBuffer = sOut.substr(read - 8, 8); // "Buffer 0" or "Buffer 1"
    EXPECT_TRUE(sBuffer == "Buffer 0" || sBuffer == "Buffer 1") << sBuffer;
    EXPECT_NE(sOut.find(sBuffer + " ausgelesen \n", read), std::string::npos);
}

using CaptureTVGrabDeathTest = CaptureTVGrab;

// The capture thread has no handler: a failed request ends the process.
TEST_F(CaptureTVGrabDeathTest, AFailedSyncOrRequestInTheThreadEndsTheProcess)
{
    ::testing::FLAGS_gtest_death_test_style = "threadsafe";
    for (bool bSync : {true, false}) {
        fake::V4L1Config c = config();
        (bSync ? c.failSyncAfter : c.failCaptureAfter) = bSync ? 3 : 4;
        EXPECT_DEATH(
            {
                fake::installV4L1(c);
                CImageTVGrab grabber(16, 12);
                sleepFrames(50);
            },
            bSync ? "vfl:VIDIOCSYNC: Input/output error" : "vfl:VIDIOCMCAPTURE: Input/output error");
    }
}

TEST_F(CaptureTVGrab, WithoutAnInstalledDriverDevicesGoThroughLibv4l1)
{
    const TDeviceAccess* pFake = CImageTVGrab::setDeviceAccess(nullptr);
    const TDeviceAccess* pDefault = CImageTVGrab::setDeviceAccess(pFake);
    EXPECT_EQ(pDefault, &tirn::libv4l1Access());
    EXPECT_EQ(pDefault->mmap, &v4l1_mmap);
    EXPECT_EQ(pDefault->munmap, &v4l1_munmap);
    EXPECT_EQ(pDefault->close, &v4l1_close);
}
