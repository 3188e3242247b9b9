// The host emulator on its own: its reading of class tables, a small fake
// plug-in loaded and called (overloads, defaults, buffers, script errors,
// ownership), the dialog language with presets and answers,
// primitive_unit3's pin type texts, and framebuffers with their drawing and
// PNG snapshots.
#include <gtest/gtest.h>

#include <cmath>
#include <cstdio>
#include <fstream>
#include <functional>
#include <iterator>
#include <sstream>

#include "Dialog.h"
#include "Network.h"
#include "Prototype.h"
#include "TirnHost.h"
#include "Window.h"

namespace {

using namespace tirnhost;

// The message of the refusal, "(accepted)" if there was none.
template <class E = HostError> std::string refusal(const std::function<void()>& run)
{
    try {
        run();
    } catch (const E& e) {
        return e.what();
    }
    return "(accepted)";
}

// Kind, result, name, every parameter with its type, name and default, the
// number of required parameters and the export name, on one line.
std::string summary(const Prototype& p)
{
    static const char* const kTypes[] = {"void",  "int",    "float", "text",
                                         "bytes", "floats", "image"};
    static const char* const kKinds[] = {"method", "ctor", "dtor", "pin"};
    std::ostringstream s;
    s.precision(10); // every int default in full
    s << kKinds[int(p.kind)] << ' ' << kTypes[int(p.result)] << ' ' << p.name << '(';
    for (std::size_t i = 0; i < p.params.size(); ++i) {
        s << (i ? ", " : "") << kTypes[int(p.params[i].type)];
        if (!p.params[i].name.empty())
            s << ' ' << p.params[i].name;
        if (p.params[i].hasDefault)
            s << '=' << p.params[i].defaultValue;
    }
    s << ") " << p.requiredCount() << ' ' << p.exportName;
    return s.str();
}

// Odd spacing, "(void)", negative, extreme and array defaults, and the
// special lines with their export names.
TEST(PrototypeParser, LinesAndWhatTheyDeclare)
{
    const char* const cases[][3] = {
        {"int save(char* pcPath, int iFormat=2,int=0)", "CImage_1_",
         "method int save(text pcPath, int iFormat=2, int=0) 1 CImage_1_save"},
        {"void  histogram(int, float, float, int, float*)", "X_",
         "method void histogram(int, float, float, int, floats) 5 X_histogram"},
        {"int selectChannel(  char*)", "X_", "method int selectChannel(text) 1 X_selectChannel"},
        {"class CImage HistogramDistance(class CImage, float *, float, float, float*)", "F_0_",
         "method image HistogramDistance(image, floats, float, float, floats) 5 "
         "F_0_HistogramDistance"},
        {"class CImage rotate(float,float=-1,float=-1)", "CImage_",
         "method image rotate(float, float=-1, float=-1) 1 CImage_rotate"},
        {"CMedianFilter(int iDEpth = 32)", "CMedianFilter_0_",
         "ctor image CMedianFilter(int iDEpth=32) 0 CMedianFilter_0_CMedianFilter"},
        {"CConvolutionFilter(int iSrcDepth=8, float*=0, int=1, int=0, float=0, float=1, int=0)",
         "CConvolutionFilter_0_",
         "ctor image CConvolutionFilter(int iSrcDepth=8, floats=0, int=1, int=0, float=0, "
         "float=1, int=0) 0 CConvolutionFilter_0_CConvolutionFilter"},
        {"void f(int=-2147483648, float=3e38, float=-inf)", "X_",
         "method void f(int=-2147483648, float=3e+38, float=-inf) 0 X_f"},
        {"int isAttached(void)", "CImage_", "method int isAttached() 0 CImage_isAttached"},
        {"void exec()", "M_0_", "method void exec() 0 M_0_exec"},
        {"~CMedianFilter(void)", "M_0_", "dtor void CMedianFilter() 0 M_0_FREE_CMedianFilter"},
        {"~CImage()", "CImage_", "dtor void CImage() 0 CImage_FREE_CImage"},
        {"COMPATIBLE_CImage ()", "CImage_",
         "pin void COMPATIBLE_CImage() 0 CImage_COMPATIBLE_CImage"},
        {"DESCRIBE_CImage()", "CImage_", "pin void DESCRIBE_CImage() 0 CImage_DESCRIBE_CImage"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(summary(parsePrototype(c[0], c[1])), c[2]);
}

TEST(PrototypeParser, BadLinesAreRefusedWithTheLine)
{
    const char* const kBad[] = {
        "int width",                   // no parameter list
        "int width() const",           // text after it
        "long width()",                // unknown result type
        "void f(double)",              // unknown parameter type
        "void f(integer)",             // a type word must be whole
        "void f(int=abc)",             // bad default
        "void f(int=1.5)",             // int default not whole
        "void f(int a=1e300)",         // outside the int range (was undefined)
        "void f(int=2147483648)",      // just outside
        "void f(int=nan)",             // no number at all
        "void f(float=1e300)",         // outside the float range
        "void f(float*=3)",            // array default other than 0
        "void f(int=1, int)",          // required after default
        "void f(int 2x)",              // bad name
        "void f(class CImage=0)",      // image default
        "void (int)",                  // no name
        "~CImage int()",               // destructor with a type
    };
    for (const char* pc : kBad)
        EXPECT_NE(refusal<ParseError>([&] { parsePrototype(pc, "X_"); })
                      .find(std::string("\"") + pc + "\""),
                  std::string::npos)
            << pc;
}

TEST(ClassTableParser, MarkersSwitchThePrefixAndNameFunctionTables)
{
    const char* const lines[] = {"CImage_:", "CImage(int=32)", "void clear()", "CImage_:",
                                 "int width()", "CImage_1_:", "void clear(int)", "CImage8_:",
                                 "void getPixel(int,int,byte*)", nullptr};
    const ClassTable t = parseClassTable(lines);
    EXPECT_EQ(t.name, "CImage");
    ASSERT_EQ(t.prototypes.size(), 5u);
    EXPECT_EQ(t.prototypes[1].exportName, "CImage_clear");
    EXPECT_EQ(t.prototypes[2].exportName, "CImage_width");
    EXPECT_EQ(t.prototypes[3].exportName, "CImage_1_clear");
    EXPECT_EQ(t.prototypes[3].prefix, "CImage_1_");
    EXPECT_EQ(t.prototypes[4].exportName, "CImage8_getPixel");
    EXPECT_EQ(t.prototypes[4].params[2].type, ValueType::Bytes);
    ASSERT_EQ(t.find("clear").size(), 2u);
    EXPECT_EQ(t.find("clear")[1]->exportName, "CImage_1_clear");
    EXPECT_TRUE(t.find("CImage").empty()); // constructors are not methods
    EXPECT_EQ(t.find("CImage", LineKind::Constructor).size(), 1u);

    const char* const functions[] = {"CColorFilters_0_:",
                                     "class CImage DiffImage(class CImage, class CImage)", nullptr};
    const ClassTable f = parseClassTable(functions);
    EXPECT_EQ(f.name, "CColorFilters");
    EXPECT_EQ(f.prototypes[0].exportName, "CColorFilters_0_DiffImage");
    const char* const empty[] = {nullptr};
    EXPECT_TRUE(parseClassTable(empty).prototypes.empty());
    const char* const unmarked[] = {"int width()", "CImage_:", nullptr};
    EXPECT_THROW(parseClassTable(unmarked), ParseError);
}

class HostModule : public ::testing::Test
{
protected:
    void SetUp() override { m = std::make_unique<Module>(TIRN_FAKE_MODULE_PATH); }
    std::unique_ptr<Module> m;
};

TEST_F(HostModule, TablesPinTypesAndOneModuleAtATime)
{
    EXPECT_EQ(m->missingExports(), std::vector<std::string>{"Counter_1_missing"});
    ASSERT_EQ(m->classes().size(), 1u);
    EXPECT_EQ(m->classes()[0].name, "Counter");
    EXPECT_EQ(m->functions().name, "Fake");
    const PinType* pin = m->pinType("fake.Counter");
    ASSERT_NE(pin, nullptr);
    EXPECT_EQ(pin->baseType, "fake.Base");
    EXPECT_EQ(pin->describe, nullptr);
    EXPECT_THROW(Module second(TIRN_FAKE_MODULE_PATH), HostError);
    m.reset();
    EXPECT_THROW(Module missing("/nonexistent/tirn_fake.so"), HostError);
    Module again(TIRN_FAKE_MODULE_PATH); // a failed load leaves no trace
    EXPECT_EQ(again.ownedCount(), 0u);
}

TEST_F(HostModule, CallsTakeDefaultsAndExactTypesFirstOrAreRefused)
{
    void* c = m->create("Counter");
    EXPECT_EQ(m->call(c, "Counter", "value").i, 5);
    EXPECT_EQ(m->call(c, "Counter", "add").f, 5.5f);                     // iTimes = 1
    EXPECT_EQ(m->call(c, "Counter", "add", {Arg::real(2)}).f, 7.5f);     // the float overload
    EXPECT_EQ(m->call(c, "Counter", "add", {Arg::integer(2)}).f, 8.5f);  // exact int first
    void* d = m->create("Counter", {Arg::integer(-3), Arg::integer(2)}); // int as float
    EXPECT_EQ(m->call(d, "Counter", "add", {Arg::integer(2)}).f, 1.0f);
    EXPECT_EQ(m->callFunction("twice", {Arg::integer(21)}).i, 42);

    const std::pair<std::function<void()>, std::string> cases[] = {
        {[&] { m->call(c, "Counter", "value", {Arg::integer(1)}); },
         "no Counter.value takes value(int)"},
        {[&] { m->call(c, "Counter", "fail"); }, "no Counter.fail takes fail()"},
        {[&] { m->call(c, "Counter", "nothing"); }, "class Counter has no method nothing"},
        {[&] { m->call(c, "Nobody", "value"); }, "unknown class Nobody"},
        {[&] { m->call(c, "Counter", "missing"); }, "the module does not export Counter_1_missing"},
        {[&] { m->create("Counter", {Arg::real(1.5f)}); }, "no constructor Counter(float)"},
        {[&] { m->pinDescribe("fake.Counter", nullptr); },
         "pin type fake.Counter has no description"},
        {[&] { m->pinCompatible("fake.Other", nullptr, nullptr); }, "unknown pin type fake.Other"},
    };
    for (const auto& [run, message] : cases)
        EXPECT_EQ(refusal(run), message);
}

TEST_F(HostModule, BuffersCarryTheirLengthsAndScriptErrorsAreRecorded)
{
    void* c = m->create("Counter");
    std::vector<char> buffer(4, 'x');
    m->call(c, "Counter", "name", {Arg::textBuffer(buffer)});
    EXPECT_EQ(std::string(buffer.data(), 4), std::string("cou\0", 4));
    std::vector<unsigned char> bytes = {1, 2, 250};
    EXPECT_EQ(m->call(c, "Counter", "sum", {Arg::bytes(bytes)}).i, 253);
    EXPECT_EQ(m->call(c, "Counter", "sum", {Arg::nullArray(ValueType::Bytes)}).i, 0);

    EXPECT_EQ(m->call(c, "Counter", "fail", {Arg::integer(3)}).i, -1);
    EXPECT_EQ(m->call(c, "Counter", "fail", {Arg::integer(4)}).i, -1);
    const std::vector<ScriptError> expected = {{"badarg", "fail 3\n"}, {"badarg", "fail 4\n"}};
    EXPECT_EQ(m->takeErrors(), expected);
    EXPECT_TRUE(m->errors().empty());
}

TEST_F(HostModule, HandlesAreOwnedUntilFreed)
{
    const int* pLive = static_cast<const int*>(m->symbol("fake_live_objects"));
    ASSERT_NE(pLive, nullptr);
    void* a = m->create("Counter");
    void* b = m->create("Counter");
    EXPECT_EQ(*pLive, 2);
    EXPECT_EQ(m->ownedCount(), 2u);
    m->release(a);
    EXPECT_EQ(*pLive, 1);
    EXPECT_FALSE(m->owns(a));
    EXPECT_TRUE(m->owns(b));
    EXPECT_THROW(m->release(a), HostError);
    m.reset(); // frees b; the module stays mapped
    EXPECT_EQ(*pLive, 0);
}

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

TEST(HostDialog, AnswersByLabelOrNumberAndRefusalsThatNameTheFieldAndItsRange)
{
    Dialog c(kConvolution);
    Dialog d(kDisplay);
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
    d.answer("Title", "left 5 6");
    d.answer(3, "-7");
    EXPECT_EQ(d.tval(0), "left 5 6");
    EXPECT_EQ(d.ival(3), -7);

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
    EXPECT_EQ(c.fval(4), 45.0); // refused answers change nothing
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
        const PinSpec pin = pinSpecOf(c.text);
        EXPECT_EQ(pin.kind, c.kind) << c.text;
        EXPECT_EQ(pin.fixedLength, c.length) << c.text;
        EXPECT_EQ(pin.typeName, c.type) << c.text;
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
