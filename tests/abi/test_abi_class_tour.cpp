// Every class the plug-in announces, driven the way a script drives it:
// created through its constructor prototype, every declared method called
// with valid arguments, then freed. The grabbers run against the fake video
// devices that this executable puts in front of the driver libraries.
#include <set>

#include "AbiFixture.h"
#include "unit/FakeVideoDevices.h"

namespace abitest {
namespace {

using tirnhost::LineKind;
using tirnhost::Prototype;

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
        for (const Prototype* p : m->classTable(m_sClass).find(sMethod)) {
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

    // Creates the class, then for a transformation calls setInput, setOutput
    // and the given calls before exec; a two-image filter's exec takes both.
    // The output must come back with the input's size.
    void tour(const std::string& sClass, const std::vector<Arg>& ctor, int iDepth, int iChannels,
              const Calls& calls)
    {
        m_sClass = sClass;
        void* pFilter = m->create(sClass, ctor);
        ASSERT_NE(pFilter, nullptr) << sClass << " at depth " << iDepth;
        void* pIn = numbered(iDepth, 7, 5, iChannels);
        void* pOut = image(iDepth);
        // Masks, selections and colour maps talk on standard output.
        stdoutOf([&] {
            if (!m->classTable(sClass).find("exec").front()->params.empty()) {
                call(pFilter, "exec", {Arg::image(pIn), Arg::image(pOut)});
                return;
            }
            call(pFilter, "setInput", {Arg::image(pIn)});
            call(pFilter, "setOutput", {Arg::image(pOut)});
            for (const auto& [pcMethod, args] : calls)
                call(pFilter, pcMethod, args);
            call(pFilter, "exec");
        });
        EXPECT_EQ(callInt(pOut, "width") * 10 + callInt(pOut, "height"), 75) << sClass;
        m->release(pFilter);
    }

    void expectAllCalled(const std::string& sClass)
    {
        m_sClass = sClass;
        std::set<std::string> missing;
        for (const Prototype& p : m->classTable(m_sClass).prototypes)
            if (p.kind == LineKind::Method && !m_called.count(p.exportName))
                missing.insert(p.exportName);
        EXPECT_EQ(missing, std::set<std::string>()) << sClass;
    }

    std::string m_sClass;
    std::set<std::string> m_called;
};

TEST_F(AbiClassTour, EveryFilterClassAtEveryDepth)
{
    // The two-image classes with their defaults, then with arguments.
    tour("CsimpleMedian", {}, 32, 2, {});
    tour("CHsiRgbFilter", {}, 8, 3, {});
    tour("CConvolutionFilter", {}, 8, 2, {});
    tour("CYuv2Rgb", {}, 8, 3, {});
    for (int d : kDepths)
        for (const FilterClass& k : filterClasses()) {
            std::vector<Arg> ctor = {I(d)};
            ctor.insert(ctor.end(), k.ctor.begin(), k.ctor.end());
            tour(k.pcClass, ctor, d, k.iChannels, k.calls);
        }
    EXPECT_EQ(errors(), Errors());
    for (const FilterClass& k : filterClasses())
        expectAllCalled(k.pcClass);
}

// The fake devices deliver red = row, green = column, blue = frame number.
// Failures become script errors, and grab gives -1.
TEST_F(AbiClassTour, GrabbersAgainstTheFakeDevices)
{
    // Only /dev/video0 to /dev/video3 exist.
    EXPECT_EQ(m->create("CImageTVGrab", {I(200), I(0), I(7)}), nullptr);
    const Errors e = errors();
    ASSERT_EQ(e.size(), 1u);
    EXPECT_EQ(e[0].kind, "CImageException:");
    EXPECT_EQ(e[0].message.rfind("vfl:", 0), 0u) << e[0].message;

    m_sClass = "CImageTVGrab";
    void* pTV = m->create("CImageTVGrab");
    ASSERT_NE(pTV, nullptr) << ::testing::PrintToString(errors());
    void* pFrame = image(8);
    call(pTV, "grab", {Arg::image(pFrame)});
    // The default size, height 3/4 of the width.
    EXPECT_EQ(callInt(pFrame, "width") * 1000 + callInt(pFrame, "height"), 200150);
    EXPECT_EQ(callInt(pFrame, "channels"), 3);
    call(pTV, "setsize", {I(160)});
    call(pTV, "grab", {Arg::image(pFrame)});
    EXPECT_EQ(callInt(pFrame, "width") * 1000 + callInt(pFrame, "height"), 160120);
    m->release(pTV);
    EXPECT_EQ(fake::v4l1Stats(0).closes, 1);
    expectAllCalled("CImageTVGrab");

    fake::V4L2Config config;
    config.failDequeueAfter = 5; // the frames taken below, then the capture fails
    fake::resetV4L2(config);
    m_sClass = "CImageUSBGrab";
    void* pUSB = m->create("CImageUSBGrab");
    ASSERT_NE(pUSB, nullptr);
    for (int d : kDepths) {
        void* pImage = image(d);
        EXPECT_GE(call(pUSB, "grab", {Arg::image(pImage)}).f, 0.0f);
        EXPECT_EQ(pixel(pImage, 5, 0, 1), 5.0f) << d; // green is the column
    }
    call(pUSB, "setsize", {I(300), I(250)}); // the camera's nearest is 320 x 240
    void* pLarge = image(8);
    call(pUSB, "grab", {Arg::image(pLarge), I(1)});
    EXPECT_EQ(callInt(pLarge, "width") * 1000 + callInt(pLarge, "height"), 320240);
    EXPECT_EQ(call(pUSB, "grab", {Arg::image(pLarge)}).f, -1.0f);
    EXPECT_EQ(errors(), (Errors{{"CImageException:", "vfl:VIDIOC_DQBUF: Input/output error\n"}}));
    // An image of no known depth is refused before the camera is asked.
    ForgedImage forged;
    forged.iDepth = 24;
    float fTime = 0.0f;
    EXPECT_EQ(stdoutOf([&] { fTime = call(pUSB, "grab", {Arg::image(&forged)}).f; }),
              "CImage unknown depth!\n");
    EXPECT_EQ(fTime, -1.0f);
    m->release(pUSB);
    EXPECT_FALSE(fake::v4l2Stats().open);
    expectAllCalled("CImageUSBGrab");
    EXPECT_EQ(errors(), Errors());
}

} // namespace
} // namespace abitest
