// Every class the plug-in announces, driven the way a script drives it:
// created through its constructor prototype, every declared method called
// with valid arguments, then freed. The grabbers run against the fake video
// devices that this executable puts in front of the driver libraries.
#include <functional>
#include <map>
#include <set>

#include "AbiFixture.h"
#include "unit/FakeVideoDevices.h"

namespace abitest {
namespace {

class AbiClassTour : public AbiTest
{
protected:
    void SetUp() override
    {
        fake::resetV4L1();
        fake::resetV4L2();
        AbiTest::SetUp();
    }

    // Calls a method and notes which prototype it reached.
    Value call(void* pObject, const std::string& sMethod, const std::vector<Arg>& args = {})
    {
        const Value v = m->call(pObject, m_sClass, sMethod, args);
        m_called.insert(exportFor(sMethod, args));
        return v;
    }

    // The export that the host's overload choice takes for these arguments:
    // the first prototype of that name whose leading parameter types match.
    std::string exportFor(const std::string& sMethod, const std::vector<Arg>& args) const
    {
        for (const tirnhost::Prototype* p : m->classTable(m_sClass).find(sMethod)) {
            if (args.size() > p->params.size() || int(args.size()) < p->requiredCount())
                continue;
            bool bFits = true;
            for (std::size_t i = 0; i < args.size(); ++i)
                bFits = bFits && args[i].type() == p->params[i].type;
            if (bFits)
                return p->exportName;
        }
        return "?" + sMethod;
    }

    // Every method prototype of the class (constructor and destructor apart).
    std::set<std::string> declaredMethods() const
    {
        std::set<std::string> names;
        for (const tirnhost::Prototype& p : m->classTable(m_sClass).prototypes)
            if (p.kind == tirnhost::LineKind::Method)
                names.insert(p.exportName);
        return names;
    }

    // An odd-sized w x h image with c channels holding small distinct values.
    void* picture(int iDepth, int c, int w = 7, int h = 5)
    {
        void* p = image(iDepth, w, h, c);
        for (int k = 0; k < c; ++k)
            for (int y = 0; y < h; ++y)
                for (int x = 0; x < w; ++x)
                    setPixel(p, x, y, k, float((7 * x + 5 * y + 3 * k) % 40 + 1));
        return p;
    }

    // setInput, setOutput, the class's own calls, exec; the output must
    // come back with the input's size.
    void transformation(const std::string& sClass, const std::vector<Arg>& ctor, int iDepth,
                        int iChannels, const std::function<void(void*)>& configure)
    {
        m_sClass = sClass;
        void* pFilter = m->create(sClass, ctor);
        ASSERT_NE(pFilter, nullptr) << sClass << " at depth " << iDepth;
        void* pIn = picture(iDepth, iChannels);
        void* pOut = image(iDepth);
        // Masks, selections and colour maps talk on standard output.
        stdoutOf([&] {
            call(pFilter, "setInput", {Arg::image(pIn)});
            call(pFilter, "setOutput", {Arg::image(pOut)});
            configure(pFilter);
            call(pFilter, "exec");
        });
        EXPECT_EQ(callInt(pOut, "width"), 7) << sClass;
        EXPECT_EQ(callInt(pOut, "height"), 5) << sClass;
        m->release(pFilter);
    }

    void twoImage(const std::string& sClass, const std::vector<Arg>& ctor, int iDepth,
                  int iChannels)
    {
        m_sClass = sClass;
        void* pFilter = m->create(sClass, ctor);
        ASSERT_NE(pFilter, nullptr) << sClass;
        void* pIn = picture(iDepth, iChannels);
        void* pOut = image(iDepth);
        stdoutOf([&] { call(pFilter, "exec", {Arg::image(pIn), Arg::image(pOut)}); });
        EXPECT_EQ(callInt(pOut, "width"), 7) << sClass;
        m->release(pFilter);
    }

    void expectAllCalled(const std::string& sClass)
    {
        m_sClass = sClass;
        std::set<std::string> missing;
        for (const std::string& s : declaredMethods())
            if (!m_called.count(s))
                missing.insert(s);
        EXPECT_EQ(missing, std::set<std::string>()) << sClass;
    }

    std::string m_sClass;
    std::set<std::string> m_called;
};

TEST_F(AbiClassTour, EveryTransformationClassAtEveryDepth)
{
    std::vector<float> mask = {1, 2, 1};
    for (int d : {8, 16, 32}) {
        transformation("CMedianFilter", {I(d)}, d, 3, [&](void* p) {
            call(p, "setNeighborhood", {I(3)});
            EXPECT_EQ(call(p, "selectChannel", {Arg::text("X#X")}).i, 1);
        });
        transformation("CCombineChannel", {I(d)}, d, 3, [&](void* p) {
            call(p, "setOperation", {I(0)});
            EXPECT_EQ(call(p, "selectChannel", {Arg::text("XX#")}).i, 1);
            call(p, "selectChannel", {I(2), I(1)});
            EXPECT_EQ(call(p, "selected").i, 3);
        });
        transformation("CNormalizeRGB", {I(d)}, d, 3, [](void*) {});
        transformation("CDistance", {I(d)}, d, 3, [](void*) {});
        transformation("CThreshold", {I(d)}, d, 3, [](void*) {});
        transformation("CGenericConvolution", {I(d)}, d, 2, [&](void* p) {
            call(p, "setParameters", {Arg::floats(mask), F(0.25f), I(3), I(1)});
            EXPECT_EQ(call(p, "selectChannel", {Arg::text("XX")}).i, 1);
        });
        transformation("CGaussFilter", {I(d)}, d, 1, [&](void* p) {
            call(p, "setBandwidth", {F(1.0f)});
            call(p, "selectChannel", {Arg::text("X")});
        });
        transformation("CMeanFilter", {I(d)}, d, 2, [&](void* p) {
            call(p, "prohibitMMX");
            call(p, "setParameters", {I(3), I(3)});
            call(p, "setNeighborhood", {I(3)});
            call(p, "selectChannel", {Arg::text("+")});
        });
        transformation("CSobelFilter", {I(d)}, d, 1, [&](void* p) {
            call(p, "setNeighborhood", {I(5)});
            call(p, "setDirection");
            call(p, "selectChannel", {Arg::text("X")});
        });
        transformation("CRankFilter", {I(d)}, d, 1, [&](void* p) {
            call(p, "setNeighborhood", {I(3)});
            call(p, "setRank", {I(4)});
            call(p, "selectChannel", {Arg::text("X")});
        });
        transformation("CShadingFilter", {I(d)}, d, 1, [&](void* p) {
            call(p, "setSize", {I(3)});
            call(p, "setConstant", {F(2.0f)});
            call(p, "selectChannel", {Arg::text("X")});
        });
        transformation("CSelectChannel", {I(d)}, d, 3, [&](void* p) {
            call(p, "selectChannel", {Arg::text("#XX")});
        });
        transformation("CColormap", {I(d), I(0)}, d, 1,
                       [&](void* p) { call(p, "setType", {I(1)}); });
    }
    EXPECT_EQ(errors(), Errors());
    for (const char* pcClass :
         {"CMedianFilter", "CCombineChannel", "CNormalizeRGB", "CDistance", "CThreshold",
          "CGenericConvolution", "CGaussFilter", "CMeanFilter", "CSobelFilter", "CRankFilter",
          "CShadingFilter", "CSelectChannel", "CColormap"})
        expectAllCalled(pcClass);
}

TEST_F(AbiClassTour, EveryTwoImageClassWithItsDefaultsAndAtEveryDepth)
{
    twoImage("CsimpleMedian", {}, 32, 2);
    twoImage("CHsiRgbFilter", {}, 8, 3);
    twoImage("CConvolutionFilter", {}, 8, 2);
    twoImage("CYuv2Rgb", {}, 8, 3);
    std::vector<float> mask(25, 0.0f);
    for (int d : {8, 16, 32}) {
        twoImage("CsimpleMedian", {I(d), I(1)}, d, 1);
        twoImage("CHsiRgbFilter", {I(d), I(1)}, d, 3);
        twoImage("CConvolutionFilter", {I(d), Arg::floats(mask), I(5), I(1), F(30), F(2), I(0)},
                 d, 1);
        twoImage("CYuv2Rgb", {I(d), I(0)}, d, 3);
    }
    EXPECT_EQ(errors(), Errors());
    for (const char* pcClass : {"CsimpleMedian", "CHsiRgbFilter", "CConvolutionFilter", "CYuv2Rgb"})
        expectAllCalled(pcClass);
}

// The fake devices deliver red = row, green = column, blue = frame number.
TEST_F(AbiClassTour, GrabbersAgainstTheFakeDevices)
{
    m_sClass = "CImageTVGrab";
    void* pTV = m->create("CImageTVGrab");
    ASSERT_NE(pTV, nullptr) << ::testing::PrintToString(errors());
    void* pFrame = image(8);
    call(pTV, "grab", {Arg::image(pFrame)});
    EXPECT_EQ(callInt(pFrame, "width"), 200); // the default size, height 3/4 of it
    EXPECT_EQ(callInt(pFrame, "height"), 150);
    EXPECT_EQ(callInt(pFrame, "channels"), 3);
    call(pTV, "setsize", {I(160)});
    call(pTV, "grab", {Arg::image(pFrame)});
    EXPECT_EQ(callInt(pFrame, "width"), 160);
    EXPECT_EQ(callInt(pFrame, "height"), 120);
    m->release(pTV);
    EXPECT_EQ(fake::v4l1Stats(0).closes, 1);
    expectAllCalled("CImageTVGrab");

    m_sClass = "CImageUSBGrab";
    void* pUSB = m->create("CImageUSBGrab");
    ASSERT_NE(pUSB, nullptr);
    for (int d : {8, 16, 32}) {
        void* pImage = image(d);
        EXPECT_GE(call(pUSB, "grab", {Arg::image(pImage)}).f, 0.0f);
        EXPECT_EQ(callInt(pImage, "width"), 160);
        EXPECT_EQ(callInt(pImage, "channels"), 3);
        EXPECT_EQ(pixel(pImage, 5, 0, 1), 5.0f) << d; // green is the column
    }
    call(pUSB, "setsize", {I(300), I(250)}); // the camera's nearest is 320 x 240
    void* pLarge = image(8);
    call(pUSB, "grab", {Arg::image(pLarge), I(1)});
    EXPECT_EQ(callInt(pLarge, "width"), 320);
    EXPECT_EQ(callInt(pLarge, "height"), 240);
    m->release(pUSB);
    EXPECT_FALSE(fake::v4l2Stats().open);
    expectAllCalled("CImageUSBGrab");
    EXPECT_EQ(errors(), Errors());
}

TEST_F(AbiClassTour, GrabberFailuresAreReportedAndGrabGivesMinusOne)
{
    // Only /dev/video0 to /dev/video3 exist.
    EXPECT_EQ(m->create("CImageTVGrab", {I(200), I(0), I(7)}), nullptr);
    const Errors e = errors();
    ASSERT_EQ(e.size(), 1u);
    EXPECT_EQ(e[0].kind, "CImageException:");
    EXPECT_EQ(e[0].message.rfind("vfl:", 0), 0u) << e[0].message;

    fake::V4L2Config config;
    config.openErrno = ENOENT;
    fake::resetV4L2(config);
    EXPECT_EQ(m->create("CImageUSBGrab"), nullptr);
    ASSERT_EQ(errors().size(), 1u);

    // A capture that fails is reported and grab returns -1.
    config = fake::V4L2Config();
    config.failDequeueAfter = 1;
    fake::resetV4L2(config);
    void* pFailing = m->create("CImageUSBGrab");
    ASSERT_NE(pFailing, nullptr);
    void* pImage = image(16);
    EXPECT_GE(m->call(pFailing, "CImageUSBGrab", "grab", {Arg::image(pImage)}).f, 0.0f);
    EXPECT_EQ(m->call(pFailing, "CImageUSBGrab", "grab", {Arg::image(pImage)}).f, -1.0f);
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "vfl:VIDIOC_DQBUF: Input/output error\n"}}));
    m->release(pFailing);

    // An image of no known depth is refused before the camera is asked.
    fake::resetV4L2();
    void* pUSB = m->create("CImageUSBGrab");
    ASSERT_NE(pUSB, nullptr);
    ForgedImage forged;
    forged.iDepth = 24;
    float fTime = 0.0f;
    const std::string out = stdoutOf([&] {
        fTime = m->call(pUSB, "CImageUSBGrab", "grab", {Arg::image(&forged)}).f;
    });
    EXPECT_EQ(out, "CImage unknown depth!\n");
    EXPECT_EQ(fTime, -1.0f);
    EXPECT_EQ(errors(), Errors());
}

} // namespace
} // namespace abitest
