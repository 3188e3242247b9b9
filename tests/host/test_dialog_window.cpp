// The host's side of dialogs, pins and windows, without a plug-in: the
// dialog language with presets and answers, primitive_unit3's pin type
// texts, and framebuffers with their drawing and PNG snapshots.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <functional>
#include <fstream>
#include <iterator>

#include "Dialog.h"
#include "Network.h"
#include "TirnHost.h"
#include "Window.h"

namespace {

using namespace tirnhost;

const char kConvolution[] =
    " Create the CConvolutionFilter Unit %n Depth of Input-CImage: %0:2:0b%l8-bit|16-bit|32-bit "
    "%n----------------------------------------------------%n Quadratische Maskengroesse: %3i "
    "Size%n Use internal or external maskgenerator: %0:1:0b%lintern|extern %n Filtertype   : "
    "%0:9:0b%lGauss|1.G|2.G|3.G|Laplace|Comet|Bar|End-Stop|Simplex|Avarage %n Orientation  : "
    "%0:360:0f %n Zoom         : %0.001:100:1f %n %[%0:1:0:10d %l`Cancel%d%l`Ok%]%H ";
const char kDisplay[] =
    " -- Displays selected channels of an image object%n Title    : %{Image%}%23t %n Position : "
    "%10i x %10i %n Size     : %80i x %80i %n Depth    : %1:3:3i (1 = 8bit, 2 = 16bit, 3 = "
    "32bit)%n Mode     : %0:1:1b%lgray|rgb%n Zoom     : %1i %n %[%0:1:0:10d "
    "%l`Cancel%d%l`Ok%]%H ";

std::string refusal(const std::function<void()>& run)
{
    try {
        run();
    } catch (const HostError& e) {
        return e.what();
    }
    return "(accepted)";
}

TEST(HostDialog, FieldsPresetsAndLabels)
{
    const Dialog d(kDisplay);
    EXPECT_TRUE(d.hasButtonRow());
    ASSERT_EQ(d.textFields().size(), 1u);
    EXPECT_EQ(d.textFields()[0].label, "Title");
    EXPECT_EQ(d.tval(0), "Image");
    std::vector<int> presets;
    std::vector<std::string> labels;
    for (const DialogField& f : d.numericFields()) {
        presets.push_back(d.ival(f.number));
        labels.push_back(f.label);
    }
    EXPECT_EQ(presets, (std::vector<int>{10, 10, 80, 80, 3, 1, 1}));
    EXPECT_EQ(labels,
              (std::vector<std::string>{"Position", "x", "Size", "x", "Depth", "Mode", "Zoom"}));
    const DialogField& depth = d.numericFields()[4];
    EXPECT_TRUE(depth.hasRange);
    EXPECT_EQ(depth.minimum, 1);
    EXPECT_EQ(depth.maximum, 3);
    EXPECT_EQ(d.numericFields()[5].choices, (std::vector<std::string>{"gray", "rgb"}));

    const Dialog c(kConvolution);
    ASSERT_EQ(c.numericFields().size(), 6u);
    EXPECT_EQ(c.numericFields()[1].label, "Quadratische Maskengroesse");
    EXPECT_EQ(c.numericFields()[3].choices.size(), 10u);
    EXPECT_FLOAT_EQ(c.fval(5), 1.0); // "%0.001:100:1f"
    EXPECT_EQ(c.ival(1), 3);
    // A choice without its default takes its minimum.
    EXPECT_EQ(Dialog(" depth: %0:1b%lbyte|float %n").ival(0), 0);
}

TEST(HostDialog, AnswersByLabelOrNumber)
{
    Dialog c(kConvolution);
    c.answer("Filtertype", "Laplace");
    EXPECT_EQ(c.fval(3), 4.0);
    c.answer("Filtertype", "1.G");
    c.answer(4, "45");
    c.answer("Zoom", "0.5");
    c.answer("Depth of Input-CImage", "32-bit");
    EXPECT_EQ(c.fval(3), 1.0);
    EXPECT_EQ(c.fval(4), 45.0);
    EXPECT_EQ(c.fval(5), 0.5);
    EXPECT_EQ(c.ival(0), 2);
    Dialog d(kDisplay);
    d.answer("Title", "left 5 6");
    d.answer(3, "-7");
    EXPECT_EQ(d.tval(0), "left 5 6");
    EXPECT_EQ(d.ival(3), -7);
}

TEST(HostDialog, RefusedAnswersNameTheFieldAndItsRange)
{
    Dialog c(kConvolution);
    Dialog d(kDisplay);
    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { c.answer("Orientation", "400"); },
         "dialog field 4 \"Orientation\": 400 is outside its range 0..360"},
        {[&] { c.answer("Zoom", "0"); }, "dialog field 5 \"Zoom\": 0 is outside its range 0.001..100"},
        {[&] { c.answer(3, "10"); }, "dialog field 3 \"Filtertype\": 10 is outside its range 0..9"},
        {[&] { c.answer("Filtertype", "Sobel"); },
         "dialog field 3 \"Filtertype\": \"Sobel\" is not one of "
         "Gauss|1.G|2.G|3.G|Laplace|Comet|Bar|End-Stop|Simplex|Avarage"},
        {[&] { c.answer("Quadratische Maskengroesse", "2.5"); },
         "dialog field 1 \"Quadratische Maskengroesse\": 2.5 is not a whole number"},
        {[&] { d.answer("x", "3"); },
         "the dialog has 2 fields labelled \"x\"; answer them by number"},
        {[&] { d.answer("Colour", "3"); }, "the dialog has no field labelled \"Colour\""},
        {[&] { d.ival(7); }, "the dialog has no numeric field 7 (it has 7)"},
        {[&] { d.tval(1); }, "the dialog has no text field 1 (it has 1)"},
        {[] { Dialog(" %3i %[ buttons"); },
         "dialog description, position 5: a button row without its closing %]"},
        {[&] { d.answer(0, "2e87"); }, "dialog field 0 \"Position\": 2e87 is outside the int range"},
        {[] { Dialog(" %3000000000i "); },
         "dialog description, position 1: an integer preset outside the int range"},
        {[] { Dialog(" %-3000000000f ").ival(0); },
         "dialog field 0: -3e+09 read as an int is outside the int range"},
    };
    for (const auto& [run, message] : cases)
        EXPECT_EQ(refusal(run), message);
    EXPECT_EQ(c.fval(4), 0.0); // refused answers change nothing
}

TEST(HostPins, TypeTexts)
{
    struct Case
    {
        const char* text;
        PinKind kind;
        int length;
        const char* type;
    };
    const Case cases[] = {
        {"<F>", PinKind::FloatArray, -1, ""}, {"<C>", PinKind::ByteArray, -1, ""},
        {"f64", PinKind::FloatArray, 64, ""}, {"c16", PinKind::ByteArray, 16, ""},
        {"f0", PinKind::FloatArray, 0, ""},   {"s2", PinKind::Pair, -1, ""},
        {"f999999999", PinKind::FloatArray, 999999999, ""},
        {"<tirnvision.CImage>", PinKind::Image, -1, "tirnvision.CImage"},
    };
    for (const Case& c : cases) {
        const PinSpec spec = pinSpecOf(c.text);
        EXPECT_EQ(spec.kind, c.kind) << c.text;
        EXPECT_EQ(spec.fixedLength, c.length) << c.text;
        EXPECT_EQ(spec.typeName, c.type) << c.text;
    }
    for (const char* pc : {"", "f", "x3", "f-1", "s3", "<>", "F", "c1234567890"})
        EXPECT_EQ(refusal([&] { pinSpecOf(pc); }),
                  std::string("unknown pin type text \"") + pc + "\"");
}

TEST(HostWindow, FloatsClampToGreyLevelsAndZoomDrawsBlocks)
{
    Window w("grey", false, true, 0, 0, 5, 4);
    const float values[] = {-3.0f, 0.7f, 254.9f, 300.0f, NAN, 17.0f};
    w.writeGrey(0, 0, 5, 1, values, 6, 1, 1, PixelFloats);
    std::vector<int> row;
    for (int x = 0; x < 5; ++x)
        row.push_back(w.grey(x, 0));
    EXPECT_EQ(row, (std::vector<int>{0, 0, 254, 255, 0}));

    // A 2x2 corner of a 3x2 byte source, zoom 2, at (3, 1), its first row
    // at the bottom: cut at the edges.
    const unsigned char bytes[] = {1, 2, 3, 4, 5, 6};
    w.writeGrey(3, 1, 2, 2, bytes, 3, 2, 2, PixelBytes);
    EXPECT_EQ(w.grey(3, 1), 4);
    EXPECT_EQ(w.grey(4, 2), 4);
    EXPECT_EQ(w.grey(3, 3), 1);
    EXPECT_EQ(w.grey(2, 3), 0);
    EXPECT_THROW(w.grey(5, 0), HostError);

    const unsigned char r[] = {10}, g[] = {20}, b[] = {30};
    Window c("rgb", true, true, 0, 0, 1, 1);
    c.writeRgb(0, 0, 1, 1, r, g, b, 1, 1, 1, PixelBytes);
    EXPECT_EQ(c.at(0, 0, 0) + c.at(0, 0, 1) + c.at(0, 0, 2), 60);

    EXPECT_EQ(refusal([&] { w.writeGrey(0, 0, 4, 1, bytes, 3, 2, 1, PixelBytes); }),
              "drawing into window \"grey\": a 4x1 rectangle from a 3x2 source");
    EXPECT_EQ(refusal([&] { w.writeGrey(0, 0, 1, 1, bytes, 3, 2, 1, 3); }),
              "drawing into window \"grey\": unknown pixel type 3 (0 bytes, 1 shorts, 2 floats)");
    EXPECT_EQ(refusal([&] { w.writeGrey(0, 0, 1, 1, bytes, 3, 2, 0, PixelBytes); }),
              "drawing into window \"grey\": zoom 0 is below 1");
}

TEST(HostWindow, SavesAPngOfItsSize)
{
    Window w("snap", true, true, 0, 0, 7, 3);
    const std::string sPath = ::testing::TempDir() + "tirnhost_window.png";
    w.savePng(sPath);
    std::ifstream in(sPath, std::ios::binary);
    const std::vector<unsigned char> file((std::istreambuf_iterator<char>(in)),
                                          std::istreambuf_iterator<char>());
    std::remove(sPath.c_str());
    ASSERT_GT(file.size(), 24u);
    EXPECT_EQ(std::string(file.begin() + 1, file.begin() + 4), "PNG");
    EXPECT_EQ(file[19], 7); // IHDR width and height, big-endian
    EXPECT_EQ(file[23], 3);
    EXPECT_THROW(Window("empty", false, true, 0, 0, 0, 0).savePng(sPath), HostError);
    EXPECT_THROW(w.savePng("/nonexistent/dir/x.png"), HostError);
}

} // namespace
