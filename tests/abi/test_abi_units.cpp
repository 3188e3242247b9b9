// The plug-in's units driven through the host emulator as the host drives
// them: created from their icon dialogs (or by their exported creation
// functions where no dialog reaches a case), run in networks, pixels read
// back from window framebuffers.
#include <cstring>
#include <fstream>

#include "AbiFixture.h"
#include "Network.h"
#include "unit/FileTestUtils.h"

namespace {

using namespace abitest;
using tirnhost::Answer;
using tirnhost::HostError;
using tirnhost::Network;
using tirnhost::PinKind;
using tirnhost::Unit;
using tirnhost::UnitRecord;
using tirnhost::Window;

const char kFolder[] = "tirnvision";

typedef std::vector<int> Ints;
typedef std::vector<std::string> Strings;
typedef UnitRecord* (*DisplayFn)(char*, int, int, int, int, int, int, char*, UnitRecord*);
typedef UnitRecord* (*ConvolutionFn)(int, int, float, float, float, int, UnitRecord*);

class AbiUnits : public AbiTest
{
protected:
    void SetUp() override
    {
        AbiTest::SetUp();
        net = std::make_unique<Network>(*m);
    }
    Unit* create(const std::string& sIcon, const std::vector<Answer>& answers = {})
    {
        return net->create(kFolder, sIcon, answers);
    }
    // What the icon callback cannot ask for: tiles and options.
    Unit* display(int w, int h, int depthCode, int mode, int zoom, int tiles,
                  const char* pcOptions, const char* pcPlaced = "win 0 0")
    {
        auto fn = reinterpret_cast<DisplayFn>(m->symbol("display_image"));
        std::string placed = pcPlaced, options = pcOptions;
        UnitRecord* p = fn(&placed[0], w, h, depthCode, mode, zoom, tiles, &options[0],
                           net->holder());
        return net->adopt(p, kFolder, "display_image");
    }
    // A float image whose pixel (x, y, c) is 100c + 10y + x, on the unit's pin.
    void feed(Unit* u, int iDepth, int w, int h, int c)
    {
        void* p = numbered(iDepth, w, h, c);
        net->setInputImage(u, 0, p);
        m->release(p);
    }
    // Channel c's levels along row y, or along column x when y is negative.
    Ints levels(Window* w, int x, int y, int c = 0)
    {
        Ints v;
        for (int i = 0; i < (y < 0 ? w->height() : w->width()); ++i)
            v.push_back(y < 0 ? w->at(x, i, c) : w->at(i, y, c));
        return v;
    }
    static std::string textOf(const std::string& sPath)
    {
        const testfiles::Bytes b = testfiles::readBytes(sPath);
        return std::string(b.begin(), b.end());
    }
    std::unique_ptr<Network> net;
};

// The folder's records as the host reads them, and each icon's unit created
// from its dialog presets.
TEST_F(AbiUnits, FolderRecordsAndEveryIconsUnit)
{
    auto folder = static_cast<void* const*>(m->symbol("gsFolder_tirnvision"));
    auto icons = static_cast<void* const*>(m->symbol("gasIconsOfFolder_tirnvision"));
    ASSERT_TRUE(folder && icons);
    EXPECT_EQ(folder[0], nullptr);
    EXPECT_STREQ(static_cast<const char*>(folder[1]), "tirnvision");
    EXPECT_EQ(folder[2], icons);
    EXPECT_STREQ(static_cast<const char*>(icons[0]), "tirnvision");
    struct Case
    {
        const char *icon, *iconLabel, *name, *unitLabel;
        int inputs, outputs;
    };
    const Case cases[] = {
        {"CImageToPins", "CImage|to|pins", "", "CImage|to|pins", 1, 1},
        {"PinsToCImage", "pins|to|CImage", "", "pins|to|CImage", 2, 1},
        {"display_image", "display_image", "", "display_image", 4, 0},
        {"HSI_RGB_Filter", "HSI<>RGB|Filter", "", "", 1, 1},
        {"ConvolutionFilter", "Convolution|Filter", "ConvolutionFilter", "", 1 + 3 + 9, 1},
        {"CortLayerFilter", "Cortical|Layer", "CortLayerFilter", "", 1 + 2, 1},
    };
    for (int i = 0; i < 6; ++i) {
        const Case& c = cases[i];
        const std::string icon = c.icon;
        void* const* entry = icons + 5 * i; // one shared folder string
        EXPECT_EQ(std::vector<void*>(entry, entry + 5),
                  (std::vector<void*>{icons[0], entry[1], m->symbol("ICONDEF_" + icon), nullptr,
                                      nullptr}));
        EXPECT_EQ(static_cast<const char*>(entry[1]), icon);
        auto def = static_cast<void* const*>(entry[2]);
        ASSERT_NE(def, nullptr);
        EXPECT_EQ(std::vector<void*>(def, def + 3),
                  (std::vector<void*>{nullptr, m->symbol("_fun1_" + icon),
                                      m->symbol("_fun2_" + icon)}));
        EXPECT_STREQ(static_cast<const char*>(def[5]), c.iconLabel);
        EXPECT_STREQ(static_cast<const char*>(def[6]), c.name);
        EXPECT_EQ(def[7], nullptr);
        if (icon != "display_image") {
            EXPECT_STREQ(static_cast<const char*>(def[4]), " %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ");
        }
        Unit* u = create(c.icon);
        ASSERT_NE(u, nullptr) << c.icon;
        EXPECT_EQ(u->labelText(), c.unitLabel) << c.icon;
        EXPECT_EQ(u->inputCount() * 100 + u->outputCount(), c.inputs * 100 + c.outputs) << c.icon;
        EXPECT_EQ(net->applySecondDialog(u), 1) << c.icon;
    }
    void* const* end = icons + 5 * 6;
    EXPECT_STREQ(static_cast<const char*>(end[0]), "");
    EXPECT_STREQ(static_cast<const char*>(end[1]), "");
    EXPECT_EQ(end[2], nullptr);
    EXPECT_EQ(m->takeWarnings(), Strings());
    EXPECT_THROW(create("Sobel"), HostError);
    EXPECT_THROW(net->create("other", "display_image", {}), HostError);
}

TEST_F(AbiUnits, BadInputGivesAWarningAndNoUnit)
{
    EXPECT_EQ(create("display_image", {{"Depth", "2"}}), nullptr);
    EXPECT_EQ(create("display_image", {{2, "0"}}), nullptr);
    {
        // Five pins of a byte per value: 65 x 64 values each are over.
        testfiles::ScopedImageBudget budget(5 * 64 * 64);
        EXPECT_EQ(create("CImageToPins", {{0, "65"}, {1, "64"}, {2, "5"}, {3, "0"}}), nullptr);
        EXPECT_NE(create("CImageToPins", {{0, "64"}, {1, "64"}, {2, "5"}, {3, "0"}}), nullptr);
        // A window of 160 x 122 rgb pixels at zoom 2 is over as well.
        EXPECT_EQ(create("display_image", {{2, "80"}, {3, "61"}, {"Zoom", "2"}}), nullptr);
    }
    EXPECT_EQ(create("ConvolutionFilter", {{"Quadratische Maskengroesse", "257"}}), nullptr);
    EXPECT_EQ(m->takeWarnings(),
              (Strings{
                  "display_image: Unknown image depth!", "display_image: failed to create unit!",
                  "CImageToPins: failed to create unit!", "display_image: failed to create unit!",
                  "primitive_unit: 66049 value pins, more than 65536",
                  "Convolution_Filter: failed to create unit!"}));
    EXPECT_EQ(net->units().size(), 1u);

    typedef UnitRecord* (*TwoInts)(int, int, UnitRecord*);
    UnitRecord bogus{};
    for (UnitRecord* pHolder : {static_cast<UnitRecord*>(nullptr), &bogus}) {
        for (const char* pc : {"HSI_RGB_Filter", "CortLayerFilter", "CImageToDynPins",
                               "DynPinsToCImage"})
            EXPECT_EQ(reinterpret_cast<TwoInts>(m->symbol(pc))(2, 1, pHolder), nullptr) << pc;
        auto convolution = reinterpret_cast<ConvolutionFn>(m->symbol("ConvolutionFilter"));
        EXPECT_EQ(convolution(2, 3, 0, 0, 1, 0, pHolder), nullptr);
        EXPECT_EQ(m->takeWarnings(),
                  (Strings{
                      "HSI_RGB_Filter: illegal host unit!", "CortLayer_Filter: illegal host unit!",
                      "CImageToPins: illegal host unit!", "PinsToCImage: illegal host unit!",
                      "Convolution_Filter: illegal host unit!"}));
    }
}

TEST_F(AbiUnits, PinUnitsByTheEnteredSizeAndImagesThroughThem)
{
    struct Case
    {
        const char *w, *h, *channels;
        int outputs, fixedLength;
    };
    const Case cases[] = {
        {"0", "5", "1", 1, -1}, {"4", "3", "2", 2, 12}, {"-2", "-3", "1", 1, 6},
        {"0", "0", "-3", 3, -1}, {"0", "0", "400", 251, -1}, {"0", "0", "0", 0, -1},
    };
    for (const Case& c : cases) {
        Unit* u = create("CImageToPins", {{0, c.w}, {1, c.h}, {2, c.channels}, {3, "1"}});
        ASSERT_NE(u, nullptr);
        ASSERT_EQ(u->outputCount(), c.outputs) << c.w << "x" << c.h;
        if (c.outputs) {
            EXPECT_EQ(u->outputSpec(0).kind, PinKind::FloatArray);
            EXPECT_EQ(u->outputSpec(0).fixedLength, c.fixedLength) << c.w << "x" << c.h;
        }
    }
    Unit* p = create("PinsToCImage", {{"number of channels", "400"}});
    EXPECT_EQ(p->inputCount(), 251);
    EXPECT_EQ(p->inputSpec(250).kind, PinKind::Pair);
    EXPECT_EQ(p->inputSpec(0).kind, PinKind::ByteArray);

    // Dynamic pins show the image's own memory; pins past its channels are empty.
    Unit* dyn = create("CImageToPins", {{2, "3"}, {3, "float"}});
    feed(dyn, 32, 3, 2, 1);
    ASSERT_TRUE(net->run({dyn}));
    EXPECT_EQ(dyn->floats(0), (Floats{0, 1, 2, 10, 11, 12}));
    EXPECT_EQ(dyn->output(1).pValue, nullptr);
    EXPECT_EQ(dyn->output(2).iLength, 0);

    // Fixed pins: 4x4 from a 2x2 image, 4 pixels then 12 zeros.
    Unit* fix = create("CImageToPins", {{0, "4"}, {1, "4"}, {2, "2"}, {3, "float"}});
    feed(fix, 32, 2, 2, 1);
    ASSERT_TRUE(net->run({fix}));
    EXPECT_EQ(fix->floats(0), (Floats{0, 1, 10, 11, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0, 0}));
    EXPECT_EQ(fix->floats(1), Floats(16, 0.0f));

    // Back to an image: 3x2 from two channel pins, then incoherent lengths.
    Unit* back = create("PinsToCImage", {{"number of channels", "2"}, {"depth of CImage", "float"}});
    back->setFloats(0, {1, 2, 3, 4, 5, 6});
    back->setFloats(1, {7, 8, 9, 10, 11, 12});
    back->setPair(2, 3, 2);
    ASSERT_TRUE(net->run({back}));
    void* out = back->outputImage(0);
    EXPECT_EQ(callInt(out, "width") * 10 + callInt(out, "height"), 32);
    EXPECT_EQ(channel(out, 1), (Floats{7, 8, 9, 10, 11, 12}));
    back->setFloats(1, {0, 0, 0, 0, 0});
    back->setFloats(0, {9, 9, 9, 9, 9, 9});
    ASSERT_TRUE(net->run({back}));
    EXPECT_EQ(m->takeWarnings(), Strings{"PinsToCImage: incoherent dimension of input pins!\n"});
    EXPECT_EQ(channel(out, 0), (Floats{1, 2, 3, 4, 5, 6}));

    // Through a network: dynamic pins into the pins-to-image unit.
    Unit* back2 = create("PinsToCImage", {{"number of channels", "1"}, {"depth of CImage", "float"}});
    net->connect(dyn, 0, back2, 0);
    back2->setPair(1, 3, 2);
    ASSERT_TRUE(net->run({dyn, back2}));
    EXPECT_EQ(channel(back2->outputImage(0)), (Floats{0, 1, 2, 10, 11, 12}));
    EXPECT_THROW(net->connect(dyn, 1, back2, 1), HostError); // an array into "s2"
}

TEST_F(AbiUnits, DisplayDrawsGreyAndRgbTilesWithZoom)
{
    // The dialog: grey, 4x3, zoom 2, channel 1 chosen in the second dialog.
    Unit* grey = create("display_image", {{"Mode", "gray"}, {2, "4"}, {3, "3"}, {"Zoom", "2"}});
    ASSERT_NE(grey, nullptr);
    EXPECT_EQ(grey->flags() & 0x10000, 0x10000);
    net->applySecondDialog(grey, {{"R", "1"}});
    feed(grey, 32, 4, 3, 2);
    ASSERT_TRUE(net->run({grey}));
    Window* w = net->windowOf(grey);
    ASSERT_NE(w, nullptr);
    EXPECT_EQ(w->name(), "Image");
    EXPECT_FALSE(w->rgb());
    EXPECT_EQ(w->width() * 1000 + w->height(), 8006);
    // Images are stored bottom row first: row 0 ends up at the window's bottom.
    EXPECT_EQ(levels(w, 0, 0), (Ints{120, 120, 121, 121, 122, 122, 123, 123}));
    EXPECT_EQ(levels(w, 0, -1), (Ints{120, 120, 110, 110, 100, 100}));
    EXPECT_EQ(w->constraints().minWidth * 1000 + w->constraints().minHeight, 4003);
    EXPECT_TRUE(w->constraints().active);

    // Two rgb tiles side by side at zoom 2: six channel pins 0..5; 3.9 picks
    // channel 3.
    Unit* rgb = display(2, 1, 3, 1, 2, -2, "");
    ASSERT_EQ(rgb->inputGroupSize(1), 6);
    for (int i = 0; i < 6; ++i)
        EXPECT_EQ(rgb->groupValue(1, i), float(i));
    rgb->setGroupValue(1, 3, 3.9f);
    rgb->setGroupValue(1, 4, 0.0f);
    feed(rgb, 32, 2, 1, 6);
    ASSERT_TRUE(net->run({rgb}));
    Window* c = net->windowOf(rgb);
    // Red: channels 0, 3; green: 1, then 0.
    EXPECT_EQ(levels(c, 0, 0, 0), (Ints{0, 0, 1, 1, 255, 255, 255, 255}));
    EXPECT_EQ(levels(c, 0, 1, 1), (Ints{100, 100, 101, 101, 0, 0, 1, 1}));
    EXPECT_EQ(levels(c, 0, 0, 2), (Ints{200, 200, 201, 201, 255, 255, 255, 255}));
    rgb->setGroupValue(1, 5, 6.0f);
    EXPECT_FALSE(net->run({rgb}));
    const Errors errs = errors();
    ASSERT_EQ(errs.size(), 1u);
    EXPECT_EQ(errs[0].kind, "badarg:value");
    EXPECT_EQ(errs[0].message.rfind(
                  "Bad channel index: Index larger than number of channels (File:", 0),
              0u);

    // Stacked grey tiles: the first at the bottom.
    Unit* stacked = display(1, 2, 1, 0, 1, 2, "");
    feed(stacked, 8, 1, 2, 2);
    ASSERT_TRUE(net->run({stacked}));
    EXPECT_EQ(levels(net->windowOf(stacked), 0, -1), (Ints{110, 100, 10, 0}));
    EXPECT_EQ(m->takeWarnings(), Strings()); // host misuse would show here
}

TEST_F(AbiUnits, OptionRAndControlCodesSizeZoomShowAndRebind)
{
    // Held by the user (the second state value set), the window keeps its size.
    for (const char* pcOptions : {"", "R", "R held"}) {
        Unit* u = display(80, 80, 3, 0, 2, 1, std::string(pcOptions).substr(0, 1).c_str());
        Window* w = net->windowOf(u);
        w->setSizeLocked(std::strlen(pcOptions) > 1);
        feed(u, 32, 100, 50, 1);
        ASSERT_TRUE(net->run({u}));
        const bool bR = std::string(pcOptions) == "R";
        EXPECT_EQ(w->width(), bR ? 200 : 160) << pcOptions;
        EXPECT_EQ(w->height(), bR ? 100 : 160) << pcOptions;
        // Window (X, Y) shows pixel (X / 2, 49 - Y / 2); below the 80x50 drawn
        // without R, or the last column with it.
        EXPECT_EQ(w->grey(2 * 12, 2 * 45), 52);
        EXPECT_EQ(bR ? w->grey(2 * 99, 2 * 49) : w->grey(0, 2 * 50), bR ? 99 : 0);
    }

    // Control codes: zoom, show and rebind.
    Unit* u = display(100, 80, 1, 0, 1, 1, "");
    net->resizeWindow(u, 300, 200);
    EXPECT_EQ(net->control(u, -32), 0);
    Window* w = net->windowOf(u);
    feed(u, 8, 100, 80, 1);
    ASSERT_TRUE(net->run({u}));
    const Ints bottom = levels(w, 0, 159); // zoom 2: 160 rows drawn
    ASSERT_EQ(bottom.size(), 300u);
    EXPECT_EQ(Ints(bottom.begin(), bottom.begin() + 4), (Ints{0, 0, 1, 1}));

    net->control(u, -57); // zoom 1 at the tiled size
    EXPECT_EQ(w->width() * 1000 + w->height(), 100080);
    EXPECT_EQ(w->grey(1, 79), 1);

    EXPECT_EQ(net->control(u, -50), 1);
    net->control(u, -14);
    EXPECT_FALSE(w->shown());
    EXPECT_EQ(net->control(u, -50), 0);
    net->control(u, -15);
    EXPECT_TRUE(w->shown());
    net->control(u, -9);
    EXPECT_EQ(w->grey(1, 79), 0);
    net->control(u, -8);
    EXPECT_EQ(w->grey(1, 79), 1);

    // Rebound to the host's subwindow of the same name, the unit draws there.
    Window& sub = net->addSubwindow("win", false, 100, 80);
    net->control(u, -38);
    EXPECT_EQ(sub.grey(2, 79), 2);
    EXPECT_EQ(m->takeWarnings(), Strings());
}

TEST_F(AbiUnits, ZoomAndPositionAreSavedAndRestored)
{
    // The host's placement hands the title over as one word, blanks made
    // underscores.
    Unit* u = create("display_image", {{"Title", "left side"}, {"Position", "12"}, {"Zoom", "3"}});
    testfiles::TempDir dir;
    const std::string sPath = dir.file("network.txt");
    net->save(sPath);
    EXPECT_EQ(textOf(sPath), "tirnhost network 1\nunit 0 tirnvision/display_image\n"
                             "posinfo 12 10 240 240 1 left_side\nzoom: 3\nend\n");
    net->resizeWindow(u, 80, 80);
    net->control(u, -32); // zoom 1
    net->control(u, -14);
    net->windowOf(u)->move(0, 0);
    net->save(sPath + ".moved");
    EXPECT_NE(textOf(sPath + ".moved").find("\nposinfo 0 0 80 80 0 left_side\n"),
              std::string::npos);
    net->load(sPath);
    Window* w = net->windowOf(u);
    EXPECT_TRUE(w->shown());
    EXPECT_EQ(w->x() * 1000 + w->y(), 12010);
    feed(u, 32, 80, 80, 3);
    ASSERT_TRUE(net->run({u}));
    EXPECT_EQ(w->width(), 240);
    EXPECT_EQ(w->at(5, 239, 0), 1); // zoom 3 again
    EXPECT_EQ(w->at(2, 239, 0), 0);
    EXPECT_EQ(m->takeWarnings(), Strings());

    const std::pair<const char*, std::string> bad[] = {
        {"tirnhost network 2\n", " is not a saved network (no \"tirnhost network 1\" line)"},
        {"tirnhost network 1\nunit 1 tirnvision/display_image\nend\n",
         ", line 2: the network has no unit 1"},
        {"tirnhost network 1\nunit 0 tirnvision/PinsToCImage\nend\n",
         ", line 2: unit 0 is tirnvision/display_image, not tirnvision/PinsToCImage"},
        {"tirnhost network 1\nunit 0 tirnvision/display_image\nzoom: 2\n",
         ": unit 0 has no end line"},
    };
    for (const auto& [pcText, sMessage] : bad) {
        std::ofstream(sPath) << pcText;
        try {
            net->load(sPath);
            ADD_FAILURE() << pcText;
        } catch (const HostError& e) {
            EXPECT_EQ(e.what(), sPath + sMessage);
        }
    }
}

TEST_F(AbiUnits, FilterUnitsReadTheirPinsAndMatchTheScriptFilters)
{
    EXPECT_EQ(create("ConvolutionFilter", {{"Quadratische Maskengroesse", "5"}})->inputGroupSize(2),
              25);
    EXPECT_EQ(create("ConvolutionFilter", {{"Quadratische Maskengroesse", "0"}})->inputGroupSize(2),
              0);

    Unit* u = create("ConvolutionFilter", {{"Depth of Input-CImage", "32-bit"},
                                           {"Filtertype", "1.G"}, {"Orientation", "45"}});
    u->setGroupValue(1, 0, 4);
    u->setGroupValue(1, 1, 30);
    u->setGroupValue(1, 2, 2);
    feed(u, 32, 5, 4, 1);
    const std::string out = stdoutOf([&] { EXPECT_TRUE(net->run({u})); });
    EXPECT_NE(out.find("Filter: 4.000000\nFilter: 30.000000\nFilter: 2.000000\n"),
              std::string::npos)
        << out;
    EXPECT_EQ(callInt(u->outputImage(0), "width"), 5);

    Unit* ext = create("ConvolutionFilter", {{"Depth of Input-CImage", "32-bit"},
                                             {"Use internal or external maskgenerator", "extern"}});
    feed(ext, 32, 5, 4, 1);
    EXPECT_EQ(stdoutOf([&] { net->run({ext}); }).find("Filter:"), std::string::npos);

    UnitRecord* bare = reinterpret_cast<ConvolutionFn>(m->symbol("ConvolutionFilter"))(
        3, 3, 0, 0, 1, 0, net->holder());
    ASSERT_NE(bare, nullptr);
    EXPECT_EQ(bare->pfExec, nullptr);
    EXPECT_EQ(bare->pUserData, nullptr);

    // HSI and back in a network: pins hold their own images, filled in place.
    void* source = numbered(32, 3, 2, 3);
    Unit* hsi = create("HSI_RGB_Filter", {{"Depth of CImage", "32-bit"}, {1, "HSI"}});
    Unit* rgb = create("HSI_RGB_Filter", {{"Depth of CImage", "32-bit"}, {1, "RGB"}});
    net->connect(hsi, 0, rgb, 0);
    net->setInputImage(hsi, 0, source);
    void* const pinImage = rgb->inputImage(0);
    ASSERT_TRUE(net->run({hsi, rgb}));
    EXPECT_EQ(rgb->inputImage(0), pinImage); // filled in place through the pin type
    EXPECT_EQ(m->ownedCount(), 1u);          // only the script's source: pins own theirs

    void* filter = m->create("CHsiRgbFilter", {I(32), I(0)});
    void* expected = image(32);
    m->call(filter, "CHsiRgbFilter", "exec", {Arg::image(source), Arg::image(expected)});
    for (int c = 0; c < 3; ++c)
        EXPECT_EQ(channel(hsi->outputImage(0), c), channel(expected, c)) << c;
    EXPECT_EQ(callInt(rgb->outputImage(0), "channels"), 3);

    // A display unit of another depth refuses the connection at run time.
    Unit* bytes = create("display_image", {{"Depth", "1"}});
    net->connect(rgb, 0, bytes, 0);
    EXPECT_THROW(net->run({bytes}), HostError);
}

} // namespace
