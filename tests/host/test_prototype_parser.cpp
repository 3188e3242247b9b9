// The host emulator's reading of class tables: markers, result and parameter
// types, names, defaults, derived export names, and lines it must refuse.
#include <cmath>
#include <sstream>

#include <gtest/gtest.h>

#include "Prototype.h"

namespace {

using namespace tirnhost;

// Kind, result, name, every parameter with its type, name and default, the
// number of required parameters and the export name, on one line.
std::string summary(const Prototype& p)
{
    static const char* const kTypes[] = {"void",  "int",    "float", "text",
                                         "bytes", "floats", "image"};
    static const char* const kKinds[] = {"method", "ctor", "dtor", "pin"};
    std::ostringstream s;
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

// Odd spacing, "(void)", negative and array defaults, and the special lines
// with their export names.
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

TEST(ClassTableParser, FunctionTableIsNamedByItsMarkerAndNeedsOneFirst)
{
    const char* const lines[] = {"CColorFilters_0_:",
                                 "class CImage DiffImage(class CImage, class CImage)", nullptr};
    const ClassTable t = parseClassTable(lines);
    EXPECT_EQ(t.name, "CColorFilters");
    EXPECT_EQ(t.prototypes[0].exportName, "CColorFilters_0_DiffImage");
    const char* const empty[] = {nullptr};
    EXPECT_TRUE(parseClassTable(empty).prototypes.empty());
    const char* const unmarked[] = {"int width()", "CImage_:", nullptr};
    EXPECT_THROW(parseClassTable(unmarked), ParseError);
}

} // namespace
