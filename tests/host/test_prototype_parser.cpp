// The host emulator's reading of class tables: markers, result and parameter
// types, names, defaults, derived export names, and lines it must refuse.
#include <cmath>

#include <gtest/gtest.h>

#include "Prototype.h"

namespace {

using namespace tirnhost;

TEST(PrototypeParser, MethodWithTypesNamesAndDefaults)
{
    const Prototype p = parsePrototype("int save(char* pcPath, int iFormat=2,int=0)", "CImage_1_");
    EXPECT_EQ(p.kind, LineKind::Method);
    EXPECT_EQ(p.result, ValueType::Int);
    EXPECT_EQ(p.name, "save");
    EXPECT_EQ(p.exportName, "CImage_1_save");
    ASSERT_EQ(p.params.size(), 3u);
    EXPECT_EQ(p.params[0].type, ValueType::Text);
    EXPECT_EQ(p.params[0].name, "pcPath");
    EXPECT_FALSE(p.params[0].hasDefault);
    EXPECT_EQ(p.params[1].name, "iFormat");
    EXPECT_TRUE(p.params[1].hasDefault);
    EXPECT_EQ(p.params[1].defaultValue, 2);
    EXPECT_EQ(p.params[2].name, "");
    EXPECT_EQ(p.params[2].defaultValue, 0);
    EXPECT_EQ(p.requiredCount(), 1);
}

TEST(PrototypeParser, OddSpacingIsTolerated)
{
    const Prototype a = parsePrototype("void  histogram(int, float, float, int, float*)", "X_");
    EXPECT_EQ(a.name, "histogram");
    EXPECT_EQ(a.params.size(), 5u);
    EXPECT_EQ(a.params[4].type, ValueType::Floats);

    const Prototype b = parsePrototype("int selectChannel(  char*)", "X_");
    ASSERT_EQ(b.params.size(), 1u);
    EXPECT_EQ(b.params[0].type, ValueType::Text);

    const Prototype c = parsePrototype(
        "class CImage HistogramDistance(class CImage, float *, float, float, float*)", "F_0_");
    EXPECT_EQ(c.result, ValueType::Image);
    EXPECT_EQ(c.params[0].type, ValueType::Image);
    EXPECT_EQ(c.params[1].type, ValueType::Floats);

    const Prototype d = parsePrototype("CMedianFilter(int iDEpth = 32)", "CMedianFilter_0_");
    EXPECT_EQ(d.params[0].name, "iDEpth");
    EXPECT_EQ(d.params[0].defaultValue, 32);
}

TEST(PrototypeParser, NegativeAndPointerDefaults)
{
    const Prototype p = parsePrototype("class CImage rotate(float,float=-1,float=-1)", "CImage_");
    EXPECT_EQ(p.params[1].type, ValueType::Float);
    EXPECT_EQ(p.params[1].defaultValue, -1);
    EXPECT_EQ(p.requiredCount(), 1);

    const Prototype q = parsePrototype(
        "CConvolutionFilter(int iSrcDepth=8, float*=0, int=1, int=0, float=0, float=1, int=0)",
        "CConvolutionFilter_0_");
    EXPECT_EQ(q.params[1].type, ValueType::Floats);
    EXPECT_TRUE(q.params[1].hasDefault);
    EXPECT_EQ(q.params[5].defaultValue, 1);
    EXPECT_EQ(q.requiredCount(), 0);
}

TEST(PrototypeParser, VoidParameterListIsEmpty)
{
    EXPECT_TRUE(parsePrototype("int isAttached(void)", "CImage_").params.empty());
    EXPECT_TRUE(parsePrototype("~CMedianFilter(void)", "M_0_").params.empty());
    EXPECT_TRUE(parsePrototype("void exec()", "M_0_").params.empty());
}

TEST(PrototypeParser, SpecialLinesAndTheirExportNames)
{
    const Prototype ctor = parsePrototype(
        "CImage(int iDepth=32, int iWidth=1, int iHeight=1, int iChannels=1)", "CImage_");
    EXPECT_EQ(ctor.kind, LineKind::Constructor);
    EXPECT_EQ(ctor.exportName, "CImage_CImage");
    EXPECT_EQ(ctor.params.size(), 4u);

    const Prototype dtor = parsePrototype("~CImage()", "CImage_");
    EXPECT_EQ(dtor.kind, LineKind::Destructor);
    EXPECT_EQ(dtor.name, "CImage");
    EXPECT_EQ(dtor.exportName, "CImage_FREE_CImage");

    const Prototype compatible = parsePrototype("COMPATIBLE_CImage ()", "CImage_");
    EXPECT_EQ(compatible.kind, LineKind::PinFunction);
    EXPECT_EQ(compatible.exportName, "CImage_COMPATIBLE_CImage");
    EXPECT_EQ(parsePrototype("DESCRIBE_CImage()", "CImage_").kind, LineKind::PinFunction);
}

TEST(PrototypeParser, BadLinesAreRefusedWithTheLine)
{
    const char* const kBad[] = {
        "int width",                   // no parameter list
        "int width() const",           // text after it
        "long width()",                // unknown result type
        "void f(double)",              // unknown parameter type
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
    for (const char* pc : kBad) {
        try {
            parsePrototype(pc, "X_");
            ADD_FAILURE() << "accepted: " << pc;
        } catch (const ParseError& e) {
            EXPECT_NE(std::string(e.what()).find(std::string("\"") + pc + "\""),
                      std::string::npos)
                << e.what();
        }
    }
}

TEST(PrototypeParser, DefaultsAtTheEdgesOfTheirRange)
{
    const Prototype p = parsePrototype("void f(int=-2147483648, float=3e38, float=-inf)", "X_");
    EXPECT_EQ(p.params[0].defaultValue, -2147483648.0);
    EXPECT_EQ(p.params[1].defaultValue, 3e38);
    EXPECT_EQ(p.params[2].defaultValue, -HUGE_VAL);
}

TEST(ClassTableParser, MarkersSwitchThePrefix)
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
}

TEST(ClassTableParser, FunctionTableIsNamedByItsMarker)
{
    const char* const lines[] = {"CColorFilters_0_:",
                                 "class CImage DiffImage(class CImage, class CImage)", nullptr};
    const ClassTable t = parseClassTable(lines);
    EXPECT_EQ(t.name, "CColorFilters");
    EXPECT_EQ(t.prototypes[0].exportName, "CColorFilters_0_DiffImage");

    const char* const empty[] = {nullptr};
    EXPECT_TRUE(parseClassTable(empty).prototypes.empty());
}

TEST(ClassTableParser, PrototypeBeforeAnyMarkerIsRefused)
{
    const char* const lines[] = {"int width()", "CImage_:", nullptr};
    EXPECT_THROW(parseClassTable(lines), ParseError);
}

} // namespace
