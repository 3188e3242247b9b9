// Scratch files for the file-format tests: a private directory per test,
// raw byte I/O, gzip decoding, the `compress` program, and loads and saves
// with their output captured.
#ifndef TESTS_FILETESTUTILS_H
#define TESTS_FILETESTUTILS_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <string>
#include <vector>

#include <gtest/gtest.h>
#include <unistd.h>
#include <zlib.h>

#include "fileio/CImageFileIO.h"

namespace testfiles {

using Bytes = std::vector<unsigned char>;

class TempDir
{
public:
    TempDir()
    {
        char acTemplate[] = "/tmp/tirn_fileio_XXXXXX";
        if (!mkdtemp(acTemplate))
            std::abort(); // never fall back on a directory that is not ours to remove
        sPath = acTemplate;
    }
    ~TempDir() { std::filesystem::remove_all(sPath); }
    std::string file(const std::string& sName) const { return sPath + "/" + sName; }

private:
    std::string sPath;
};

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

inline bool fileExists(const std::string& sPath) { return access(sPath.c_str(), F_OK) == 0; }

// The uncompressed content of a gzip file, through zlib.
inline Bytes gunzip(const std::string& sPath)
{
    Bytes data;
    gzFile f = gzopen(sPath.c_str(), "rb");
    if (!f)
        return data;
    unsigned char acChunk[4096];
    int n;
    while ((n = gzread(f, acChunk, sizeof acChunk)) > 0)
        data.insert(data.end(), acChunk, acChunk + n);
    gzclose(f);
    return data;
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

template <class V> void putNative(Bytes& b, V v)
{
    unsigned char ac[sizeof(V)];
    std::memcpy(ac, &v, sizeof v);
    for (unsigned char c : ac) // insert() of the range sets off a false GCC 12 warning
        b.push_back(c);
}

// Writes v big-endian at byte `offset`, growing b as needed.
template <class V> void putBE(Bytes& b, std::size_t offset, V v)
{
    unsigned char ac[sizeof(V)];
    std::memcpy(ac, &v, sizeof v);
    if (b.size() < offset + sizeof v)
        b.resize(offset + sizeof v);
    for (std::size_t i = 0; i < sizeof v; ++i)
        b[offset + i] = ac[sizeof v - 1 - i];
}

// TIRNVISION_MAX_IMAGE_BYTES for the lifetime of the scope.
class ScopedImageBudget
{
public:
    explicit ScopedImageBudget(unsigned long long nBytes)
    {
        setenv("TIRNVISION_MAX_IMAGE_BYTES", std::to_string(nBytes).c_str(), 1);
    }
    ~ScopedImageBudget() { unsetenv("TIRNVISION_MAX_IMAGE_BYTES"); }
};

struct FileTest : ::testing::Test
{
    TempDir dir;
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

template <class T>
Outcome load(CImage<T>& image, const std::string& sPath, TDataFormat f = FORMAT_DEFAULT)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int iResult = CImageFileIO<T>().load(image, sPath.c_str(), f);
    const std::string sErr = testing::internal::GetCapturedStderr();
    return {iResult, testing::internal::GetCapturedStdout(), sErr};
}

template <class T> Outcome save(CImage<T>& image, const std::string& sPath,
                                TDataFormat f = FORMAT_DEFAULT, TImageType t = IMAGE_SINGLE)
{
    testing::internal::CaptureStdout();
    testing::internal::CaptureStderr();
    const int iResult = CImageFileIO<T>().save(&image, sPath.c_str(), f, t);
    const std::string sErr = testing::internal::GetCapturedStderr();
    return {iResult, testing::internal::GetCapturedStdout(), sErr};
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
