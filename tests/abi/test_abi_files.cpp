// Loading and saving through the wrappers: format names by direction, format
// codes, the empty path, and the reader's int result.
#include <sys/stat.h>
#include <unistd.h>

#include "AbiFixture.h"

namespace abitest {
namespace {

class AbiFiles : public AbiTest
{
protected:
    void SetUp() override
    {
        AbiTest::SetUp();
        char acTemplate[] = "/tmp/tirn_abi_files_XXXXXX";
        ASSERT_NE(mkdtemp(acTemplate), nullptr);
        m_sDir = acTemplate;
    }
    void TearDown() override
    {
        for (const std::string& s : m_made)
            unlink(s.c_str());
        rmdir(m_sDir.c_str());
        AbiTest::TearDown();
    }
    std::string path(const std::string& sName)
    {
        m_made.push_back(m_sDir + "/" + sName);
        return m_made.back();
    }
    static bool exists(const std::string& sPath)
    {
        struct stat st;
        return stat(sPath.c_str(), &st) == 0;
    }
    // Runs a load or save quietly (the readers report on standard output).
    int quiet(void* p, const std::string& sMethod, const std::vector<Arg>& args)
    {
        int iResult = 0;
        m_sLastOutput = stdoutOf([&] { iResult = callInt(p, sMethod, args); });
        return iResult;
    }

    std::string m_sDir;
    std::vector<std::string> m_made;
    std::string m_sLastOutput;
};

TEST_F(AbiFiles, MtxRoundTripByNameAtEveryDepth)
{
    for (int iDepth : {8, 16, 32}) {
        void* p = numbered(iDepth, 3, 2, 2);
        const std::string file = path("round" + std::to_string(iDepth) + ".dat");
        EXPECT_EQ(quiet(p, "save", {Arg::text(file), Arg::text("MTX")}), 1);
        void* q = image(iDepth);
        EXPECT_EQ(quiet(q, "load", {Arg::text(file), Arg::text("MTX")}), 1);
        EXPECT_EQ(callInt(q, "width"), 3);
        EXPECT_EQ(callInt(q, "channels"), 2);
        EXPECT_EQ(channel(q, 1), channel(p, 1));
    }
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiFiles, LoadConvertsToTheImagesOwnDepth)
{
    void* p = image(16, 1, 1, 1);
    setPixel(p, 0, 0, 0, 300);
    const std::string file = path("wide.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(file), Arg::text("MTX")}), 1);
    void* q = image(8);
    EXPECT_EQ(quiet(q, "load", {Arg::text(file), Arg::text("MTX")}), 1);
    EXPECT_EQ(callInt(q, "depth"), 8);
    EXPECT_EQ(pixel(q, 0, 0), 44);
}

TEST_F(AbiFiles, EmptyPathIsReportedByAllFour)
{
    void* p = image(8);
    const char kMessage[] = "No path specified!\n";
    EXPECT_EQ(quiet(p, "load", {Arg::text(""), Arg::text("MTX")}), 0);
    EXPECT_EQ(m_sLastOutput, kMessage);
    EXPECT_EQ(quiet(p, "save", {Arg::text(""), Arg::text("MTX")}), 0);
    EXPECT_EQ(m_sLastOutput, kMessage);
    EXPECT_EQ(quiet(p, "load", {Arg::text(""), I(1)}), 0);
    EXPECT_EQ(m_sLastOutput, kMessage);
    EXPECT_EQ(quiet(p, "save", {Arg::text("")}), 0);
    EXPECT_EQ(m_sLastOutput, kMessage);
    EXPECT_TRUE(errors().empty());
}

TEST_F(AbiFiles, UnknownNamesChooseByExtension)
{
    void* p = numbered(8, 2, 2, 1);
    const std::string mtx = path("by_ext.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(mtx), Arg::text("mtx")}), 1); // names are exact
    EXPECT_EQ(m_sLastOutput.rfind("Format: mtx\n", 0), 0u) << m_sLastOutput;
    // "GIPL" names no format for loading: the extension decides.
    void* q = image(8);
    EXPECT_EQ(quiet(q, "load", {Arg::text(mtx), Arg::text("GIPL")}), 1);
    EXPECT_EQ(m_sLastOutput.rfind("Format: mtx\n", 0), 0u) << m_sLastOutput;
    EXPECT_EQ(channel(q), channel(p));
}

TEST_F(AbiFiles, GiplByNameForSavingOnly)
{
    void* p = numbered(16, 3, 2, 1);
    const std::string file = path("named.dat"); // no extension to fall back on
    EXPECT_EQ(quiet(p, "save", {Arg::text(file), Arg::text("GIPL")}), 1);
    EXPECT_TRUE(exists(file));
    void* q = image(16);
    EXPECT_EQ(quiet(q, "load", {Arg::text(file), I(3)}), 1);
    EXPECT_EQ(channel(q), channel(p));
}

TEST_F(AbiFiles, TiffAndLanAreNeverWritten)
{
    void* p = numbered(8, 2, 2, 1);
    const std::string tiff = path("never.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(tiff), Arg::text("TIFF")}), 1);
    EXPECT_EQ(quiet(p, "save", {Arg::text(tiff), I(4)}), 1);
    EXPECT_FALSE(exists(tiff));
    EXPECT_EQ(quiet(p, "save", {Arg::text(tiff), Arg::text("LAN")}), 1) << m_sLastOutput;
    EXPECT_TRUE(exists(tiff)); // "LAN" is no save name: by extension, as MTX
    EXPECT_EQ(quiet(p, "save", {Arg::text(path("none.mtx")), I(0)}), 1);
    EXPECT_FALSE(exists(m_made.back()));
}

TEST_F(AbiFiles, FormatCodesAndTheirDefaults)
{
    void* p = numbered(32, 2, 3, 2);
    const std::string file = path("coded.mtx");
    EXPECT_EQ(quiet(p, "save", {Arg::text(file)}), 1); // code 2, type 0
    EXPECT_NE(m_sLastOutput.find("Format: mtx\n"), std::string::npos);
    void* q = image(32);
    EXPECT_EQ(quiet(q, "load", {Arg::text(file), I(1)}), 1);
    EXPECT_EQ(channel(q, 1), channel(p, 1));
    void* r = image(32);
    EXPECT_EQ(quiet(r, "load", {Arg::text(file)}), 1);
    EXPECT_EQ(channel(r, 0), channel(p, 0));
    // Codes outside the table do nothing and report success.
    EXPECT_EQ(quiet(r, "load", {Arg::text(path("absent.mtx")), I(9)}), 1);
    EXPECT_EQ(quiet(r, "save", {Arg::text(path("unwritten.mtx")), I(-5)}), 1);
    EXPECT_FALSE(exists(m_made.back()));
    // Image types past the named ones reach the writer; MTX has no use for them.
    EXPECT_EQ(quiet(r, "save", {Arg::text(file), Arg::text("MTX"), I(77)}), 1);
}

TEST_F(AbiFiles, MissingFileGivesZeroAndLeavesTheImage)
{
    void* p = numbered(8, 2, 1, 1);
    EXPECT_EQ(quiet(p, "load", {Arg::text(path("absent.mtx")), Arg::text("MTX")}), 0);
    EXPECT_EQ(callInt(p, "width"), 2);
    EXPECT_EQ(channel(p), (std::vector<float>{0, 1}));
    EXPECT_EQ(quiet(p, "load", {Arg::text(path("absent.lan")), Arg::text("LAN")}), 0);
    EXPECT_TRUE(errors().empty());
}

} // namespace
} // namespace abitest
