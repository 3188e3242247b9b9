// CImageUSBGrab against a fake version-2 driver: RGB frames at every depth,
// the nearest supported size, the grab modes and failures.
#include <cerrno>
#include <chrono>
#include <memory>
#include <string>
#include <thread>

#include <gtest/gtest.h>
#include <libv4l2.h>

#include "FakeVideoDevices.h"
#include "PixelTypes.h"
#include "capture/CImageUSBGrab.h"

namespace {

constexpr int kIntervalMs = 20;

template <class T> int frameOf(const CImage<T>& image) { return int(image.getPixel(0, 0, 2)); }

using fake::exceptionText;
using fake::framesBetween;

fake::V4L2Config usbConfig()
{
    fake::V4L2Config c;
    c.intervalMs = kIntervalMs;
    return c;
}

class CaptureUSBGrabBase : public ::testing::Test
{
protected:
    void SetUp() override { fake::installV4L2(usbConfig()); }
    void TearDown() override { fake::uninstallV4L2(); }
};

template <class T> class CaptureUSBGrabDepth : public CaptureUSBGrabBase
{
};
TYPED_TEST_SUITE(CaptureUSBGrabDepth, PixelTypes);

using CaptureUSBGrab = CaptureUSBGrabBase;

} // namespace

TYPED_TEST(CaptureUSBGrabDepth, FramesArriveAsRedGreenBlueRowsBottomUp)
{
    CImageUSBGrab grabber; // 160 x 120 on /dev/video0
    CImage<TypeParam> image(1, 1, 1);
    const float fTime = grabber.grab(image);
    ASSERT_EQ(image.width(), 160);
    ASSERT_EQ(image.height(), 120);
    ASSERT_EQ(image.channels(), 3);
    const int n = frameOf(image);
    bool bAllMatch = true;
    for (int y = 0; y < 120; ++y)
        for (int x = 0; x < 160; ++x)
            bAllMatch = bAllMatch && image.getPixel(x, y, 0) == TypeParam(119 - y) &&
                        image.getPixel(x, y, 1) == TypeParam(x) &&
                        image.getPixel(x, y, 2) == TypeParam(n);
    EXPECT_TRUE(bAllMatch); // padding at the row ends skipped, rows bottom-up
    EXPECT_STREQ(image.getChannelInfo(0), "red");
    EXPECT_STREQ(image.getChannelInfo(2), "blue");
    EXPECT_EQ(std::string(image.getName()).substr(0, 10), "video0 at ");
    EXPECT_NEAR(std::stod(image.getName() + 10), fTime, 1e-3);
    EXPECT_GT(fTime, 0.0f);
    EXPECT_LT(fTime, 5.0f);
}

TEST_F(CaptureUSBGrab, ASizeTheCameraLacksBecomesTheNearestOneItHas)
{
    CImageUSBGrab grabber(200, 150);
    EXPECT_EQ(grabber.width(), 160);
    EXPECT_EQ(grabber.height(), 120);
    CImage<unsigned char> image(1, 1, 1);
    grabber.grab(image);
    EXPECT_EQ(image.width(), 160);

    grabber.setsize(600, 500);
    EXPECT_EQ(grabber.width(), 640);
    EXPECT_EQ(grabber.height(), 480);
    grabber.grab(image);
    EXPECT_EQ(image.width(), 640);
    EXPECT_EQ(image.height(), 480);
    EXPECT_EQ(image.getPixel(639, 479, 1), 639 % 256);
    EXPECT_EQ(image.getPixel(639, 479, 0), 0);

    EXPECT_EQ(exceptionText([&] { grabber.setsize(0, 5); }),
              "vfl:setsize: bad size(0x5) \n");
    EXPECT_EQ(grabber.width(), 640); // the old size goes on
    grabber.grab(image);
    EXPECT_EQ(image.width(), 640);
    EXPECT_EQ(fake::v4l2Stats().mapped, 4);
}

TEST_F(CaptureUSBGrab, ModeZeroWaitsForANewFrameAndASlowReaderGetsTheNewest)
{
    CImageUSBGrab grabber;
    CImage<float> image(1, 1, 1);
    float fLast = grabber.grab(image);
    int iLast = frameOf(image);
    for (int i = 0; i < 3; ++i) {
        const float fTime = grabber.grab(image, 0);
        EXPECT_GE(framesBetween(iLast, frameOf(image)), 1);
        EXPECT_GT(fTime, fLast);
        fLast = fTime;
        iLast = frameOf(image);
    }
    // A slow reader gets the newest frame, not the next in line.
    std::this_thread::sleep_for(std::chrono::milliseconds(6 * kIntervalMs));
    grabber.grab(image, 0);
    EXPECT_GE(framesBetween(iLast, frameOf(image)), 5);
}

TEST_F(CaptureUSBGrab, NonZeroModesReturnTheNewestFrameWithoutWaiting)
{
    fake::V4L2Config c = usbConfig();
    c.intervalMs = 150; // long enough that no frame slips in between
    fake::installV4L2(c);
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
    EXPECT_EQ(exceptionText([] { CImageUSBGrab(160, 120, -1); }),
              "vfl: no device /dev/video-1 \n");
    EXPECT_EQ(exceptionText([] { CImageUSBGrab(160, 120, 1); }),
              "vfl:open: No such file or directory\n");

    fake::V4L2Config c;
    for (bool bRgb : {false, true}) {
        c = usbConfig();
        (bRgb ? c.streaming : c.rgb24) = false;
        fake::installV4L2(c);
        EXPECT_EQ(exceptionText([] { CImageUSBGrab(); }),
                  bRgb ? "vfl: /dev/video0 cannot stream video frames \n"
                       : "vfl: /dev/video0 delivers no RGB24 frames \n");
        EXPECT_FALSE(fake::v4l2Stats().open);
    }
    c = usbConfig();
    c.failDequeueAfter = 2;
    fake::installV4L2(c);
    {
        CImageUSBGrab grabber;
        CImage<unsigned short> image(1, 1, 1);
        grabber.grab(image);
        grabber.grab(image);
        EXPECT_EQ(exceptionText([&] { grabber.grab(image); }),
                  "vfl:VIDIOC_DQBUF: Input/output error\n");
        EXPECT_EQ(exceptionText([&] { grabber.grab(image, 1); }),
                  "vfl:VIDIOC_DQBUF: Input/output error\n");
    }
    const fake::V4L2Stats stats = fake::v4l2Stats();
    EXPECT_FALSE(stats.open);
    EXPECT_EQ(stats.closes, 1);
    EXPECT_EQ(stats.mapped, 0);
    EXPECT_FALSE(stats.streaming);
}

TEST_F(CaptureUSBGrab, WithoutAnInstalledDriverCamerasGoThroughLibv4l2)
{
    const TDeviceAccess* pFake = CImageUSBGrab::setDeviceAccess(nullptr);
    const TDeviceAccess* pDefault = CImageUSBGrab::setDeviceAccess(pFake);
    EXPECT_EQ(pDefault, &tirn::libv4l2Access());
    EXPECT_EQ(pDefault->mmap, &v4l2_mmap);
    EXPECT_EQ(pDefault->munmap, &v4l2_munmap);
    EXPECT_EQ(pDefault->close, &v4l2_close);
}
