// Loading and saving through the wrappers: format names by direction, format
// codes, the empty path, and the reader's int result.
#include "AbiFixture.h"
#include "unit/FileTestUtils.h"

namespace abitest {
namespace {

using testfiles::fileExists;

class AbiFiles : public AbiTest
{
protected:
    // Runs a load or save quietly (the readers report on standard output).
    int quiet(void* p, const std::string& sMethod, const std::vector<Arg>& args)
    {
        int iResult = 0;
        m_sLastOutput = stdoutOf([&] { iResult = callInt(p, sMethod, args); });
        return iResult;
    }

    testfiles::TempDir m_dir;
    std::string m_sLastOutput;
};

// The reader converts to the image's own depth (the MTX unit tests own the
// numbers).
TEST_F(AbiFiles, MtxRoundTripByNameIntoEveryDepth)
{
    void* p = numbered(16, 3, 2, 2);
    const std::string file = m_dir.file("round.dat");
    EXPECT_EQ(quiet(p, "save", {Arg::text(file), Arg::text("MTX")}), 1);
    for (int iTo : kDepths) {
        void* q = image(iTo);
        EXPECT_EQ(quiet(q, "load", {Arg::text(file), Arg::text("MTX")}), 1);
        EXPECT_EQ(callInt(q, "depth") * 1000 + shape(q), iTo * 1000 + 322);
        EXPECT_EQ(channel(q, 1), channel(p, 1)) << iTo;
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiFiles, EmptyPathIsReportedByAllFour)
{
    void* p = image(8);
    const std::pair<const char*, std::vector<Arg>> kCalls[] = {
        {"load", {Arg::text(""), Arg::text("MTX")}}, {"save", {Arg::text(""), Arg::text("MTX")}},
        {"load", {Arg::text(""), I(1)}},             {"save", {Arg::text("")}}};
    for (const auto& [pcMethod, args] : kCalls) {
        EXPECT_EQ(quiet(p, pcMethod, args), 0);
        EXPECT_EQ(m_sLastOutput, "No path specified!\n");
    }
    EXPECT_TRUE(errors().empty());
}

// The names differ by direction: "GIPL" names no format for loading and
// "LAN" none for saving; unknown names and lower case choose by extension.
TEST_F(AbiFiles, FormatNamesByDirection)
{
    void* p = numbered(8, 3, 2, 1);
    const std::string mtx = m_dir.file("by_ext.mtx"), gipl = m_dir.file("named.dat");
    EXPECT_EQ(quiet(p, "save", {Arg::text(mtx), Arg::text("mtx")}), 1);
    EXPECT_EQ(m_sLastOutput.rfind("Format: mtx\n", 0), 0u) << m_sLastOutput;
    void* q = image(8);
    EXPECT_EQ(quiet(q, "load", {Arg::text(mtx), Arg::text("GIPL")}), 1);
    EXPECT_EQ(m_sLastOutput.rfind("Format: mtx\n", 0), 0u) << m_sLastOutput;
    EXPECT_EQ(channel(q), channel(p));

    EXPECT_EQ(quiet(p, "save", {Arg::text(gipl), Arg::text("GIPL")}), 1);
    void* r = image(8);
    EXPECT_EQ(quiet(r, "load", {Arg::text(gipl), I(3)}), 1);
    EXPECT_EQ(channel(r), channel(p));

    const std::string never = m_dir.file("never.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(never), Arg::text("TIFF")}), 1);
    EXPECT_EQ(quiet(p, "save", {Arg::text(never), I(4)}), 1);
    EXPECT_FALSE(fileExists(never));
    EXPECT_EQ(quiet(p, "save", {Arg::text(never), Arg::text("LAN")}), 1) << m_sLastOutput;
    EXPECT_TRUE(fileExists(never)); // by extension, as MTX
    // "LAN" names the reader whatever the extension: an MTX file is no LAN file.
    void* s = image(8);
    EXPECT_EQ(quiet(s, "load", {Arg::text(mtx), Arg::text("LAN")}), 0) << m_sLastOutput;
    EXPECT_EQ(m_sLastOutput.rfind("-------------------\nERDAS/LAN FILE INFO\n", 0), 0u);
}

TEST_F(AbiFiles, FormatCodesAndTheirDefaults)
{
    void* p = numbered(32, 2, 3, 2);
    const std::string file = m_dir.file("coded.mtx"), absent = m_dir.file("absent.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(file)}), 1); // code 2, type 0
    EXPECT_NE(m_sLastOutput.find("Format: mtx\n"), std::string::npos);
    void* q = image(32);
    EXPECT_EQ(quiet(q, "load", {Arg::text(file), I(1)}), 1);
    EXPECT_EQ(channel(q, 1), channel(p, 1));
    void* r = image(32);
    EXPECT_EQ(quiet(r, "load", {Arg::text(file)}), 1);
    EXPECT_EQ(channel(r, 0), channel(p, 0));
    // Codes outside the table do nothing and report success.
    EXPECT_EQ(quiet(r, "load", {Arg::text(absent), I(9)}), 1);
    EXPECT_EQ(quiet(r, "save", {Arg::text(absent), I(-5)}), 1);
    EXPECT_EQ(quiet(r, "save", {Arg::text(absent), I(0)}), 1);
    EXPECT_FALSE(fileExists(absent));
    // Image types past the named ones reach the writer; MTX has no use for them.
    EXPECT_EQ(quiet(r, "save", {Arg::text(file), Arg::text("MTX"), I(77)}), 1);

    // A missing file gives 0 and leaves the image.
    EXPECT_EQ(quiet(r, "load", {Arg::text(absent), Arg::text("MTX")}), 0);
    EXPECT_EQ(channel(r, 0), channel(p, 0));
    EXPECT_TRUE(errors().empty());
}

} // namespace
} // namespace abitest
