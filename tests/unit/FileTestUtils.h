// Scratch files for the file-format tests: a private directory per test, raw
// bytes, `compress`, and loads and saves with their output captured.
#ifndef TESTS_FILETESTUTILS_H
#define TESTS_FILETESTUTILS_H

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "FastVsReference.h"
#include "fileio/CImageFileIO.h"

namespace testfiles {

using Bytes = std::vector<unsigned char>;

inline void writeBytes(const std::string& sPath, const Bytes& data)
{
    std::ofstream out(sPath, std::ios::binary);
    out.write(reinterpret_cast<const char*>(data.data()), std::streamsize(data.size()));
    ASSERT_TRUE(out.good()) << sPath;
}

inline Bytes readBytes(const std::string& sPath)
{
    std::ifstream in(sPath, std::ios::binary);
    return Bytes(std::istreambuf_iterator<char>(in), std::istreambuf_iterator<char>());
}

// Output of `compress -f -c -b nBits` (forced: tiny inputs grow) for `data`, written to sPath.
inline void compressTo(const std::string& sPath, const Bytes& data, int nBits = 16)
{
    const std::string sPlain = sPath + ".in";
    writeBytes(sPlain, data);
    const std::string sCommand =
        "compress -f -c -b " + std::to_string(nBits) + " < '" + sPlain + "' > '" + sPath + "'";
    ASSERT_EQ(std::system(sCommand.c_str()), 0) << "the compress program (ncompress) is needed";
    std::remove(sPlain.c_str());
}

// Writes v at byte `offset` (the end by default), big-endian or in native
// order, growing b as needed.
template <class V>
void put(Bytes& b, V v, bool bBigEndian = false, std::size_t offset = ~std::size_t(0))
{
    unsigned char ac[sizeof(V)];
    std::memcpy(ac, &v, sizeof v);
    offset = std::min(offset, b.size());
    if (b.size() < offset + sizeof v)
        b.resize(offset + sizeof v);
    for (std::size_t i = 0; i < sizeof v; ++i)
        b[offset + i] = ac[bBigEndian ? sizeof v - 1 - i : i];
}

// The memory budget for images, for the enclosing scope.
struct ScopedImageBudget : EnvScope
{
    explicit ScopedImageBudget(unsigned long long nBytes)
        : EnvScope("TIRNVISION_MAX_IMAGE_BYTES", std::to_string(nBytes).c_str())
    {
    }
};

// A private scratch directory, removed with everything in it.
struct TempDir
{
    TempDir()
    {
        char acTemplate[] = "/tmp/tirn_fileio_XXXXXX";
        if (!mkdtemp(acTemplate))
            std::abort(); // never fall back on a directory that is not ours to remove
        sDir = acTemplate;
    }
    ~TempDir() { std::filesystem::remove_all(sDir); }
    std::string file(const std::string& sName) const { return sDir + "/" + sName; }

    std::string sDir;
};

struct FileTest : ::testing::Test, TempDir
{
};

// What a load or save returned and printed.
struct Outcome
{
    int iResult;
    std::string sOut;
    std::string sErr;
    // "result: standard output", to check both at once.
    std::string said() const { return std::to_string(iResult) + ": " + sOut; }
};

template <class F> Outcome outcomeOf(F run)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int iResult = run();
    const std::string sErr = testing::internal::GetCapturedStderr();
    return {iResult, testing::internal::GetCapturedStdout(), sErr};
}

template <class T>
Outcome load(CImage<T>& image, const std::string& sPath, TDataFormat f = FORMAT_DEFAULT)
{
    return outcomeOf([&] { return CImageFileIO<T>().load(image, sPath.c_str(), f); });
}

template <class T> Outcome save(CImage<T>& image, const std::string& sPath,
                                TDataFormat f = FORMAT_DEFAULT, TImageType t = IMAGE_SINGLE)
{
    return outcomeOf([&] { return CImageFileIO<T>().save(&image, sPath.c_str(), f, t); });
}

// A fresh image loaded from sPath; a failed load fails the test.
template <class T> CImage<T> loaded(const std::string& sPath, TDataFormat f = FORMAT_DEFAULT)
{
    CImage<T> image(1, 1, 1);
    const Outcome run = load(image, sPath, f);
    EXPECT_EQ(run.iResult, 1) << sPath << ": " << run.sOut;
    return image;
}

} // namespace testfiles

#endif
