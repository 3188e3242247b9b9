// Scratch files for the file-format tests: a private directory per test,
// raw byte I/O, gzip decoding and the `compress` program.
#ifndef TESTS_FILETESTUTILS_H
#define TESTS_FILETESTUTILS_H

#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
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
        const char* pc = mkdtemp(acTemplate);
        EXPECT_NE(pc, nullptr);
        sPath = pc ? pc : "/tmp";
    }
    ~TempDir()
    {
        const std::string sCommand = "rm -rf '" + sPath + "'";
        if (std::system(sCommand.c_str()) != 0)
            ADD_FAILURE() << "cannot remove " << sPath;
    }
    std::string file(const std::string& sName) const { return sPath + "/" + sName; }

private:
    std::string sPath;
};

inline void writeBytes(const std::string& sPath, const Bytes& data)
{
    FILE* f = std::fopen(sPath.c_str(), "wb");
    ASSERT_NE(f, nullptr) << sPath;
    if (!data.empty()) {
        ASSERT_EQ(std::fwrite(data.data(), 1, data.size(), f), data.size());
    }
    std::fclose(f);
}

inline Bytes readBytes(const std::string& sPath)
{
    Bytes data;
    FILE* f = std::fopen(sPath.c_str(), "rb");
    if (!f)
        return data;
    int c;
    while ((c = std::fgetc(f)) != EOF)
        data.push_back(static_cast<unsigned char>(c));
    std::fclose(f);
    return data;
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
    const std::string sCommand = "compress -f -c -b " + std::to_string(nBits) + " < '" + sPlain +
                                 "' > '" + sPath + "'";
    ASSERT_EQ(std::system(sCommand.c_str()), 0) << "the compress program (ncompress) is needed";
    std::remove(sPlain.c_str());
}

inline void putLE32(Bytes& b, std::int32_t v)
{
    std::uint32_t u;
    std::memcpy(&u, &v, 4);
    for (int i = 0; i < 4; ++i)
        b.push_back(static_cast<unsigned char>(u >> (8 * i)));
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

template <class V> V getBE(const Bytes& b, std::size_t offset)
{
    unsigned char ac[sizeof(V)];
    for (std::size_t i = 0; i < sizeof(V); ++i)
        ac[sizeof(V) - 1 - i] = b.at(offset + i);
    V v;
    std::memcpy(&v, ac, sizeof v);
    return v;
}

template <class V> V getLE(const Bytes& b, std::size_t offset)
{
    V v;
    std::memcpy(&v, &b.at(offset), sizeof v);
    (void)b.at(offset + sizeof v - 1);
    return v;
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
    ScopedImageBudget(const ScopedImageBudget&) = delete;
    ScopedImageBudget& operator=(const ScopedImageBudget&) = delete;
};

// load and save with their standard output captured, and handed back on
// request.
template <class T> int loadQuiet(CImage<T>& image, const std::string& sPath, TDataFormat f,
                                 std::string* pOut = nullptr)
{
    testing::internal::CaptureStdout();
    const int iResult = CImageFileIO<T>().load(image, sPath.c_str(), f);
    const std::string sOut = testing::internal::GetCapturedStdout();
    if (pOut)
        *pOut = sOut;
    return iResult;
}

template <class T> int saveQuiet(CImage<T>& image, const std::string& sPath, TDataFormat f,
                                 std::string* pOut = nullptr, TImageType t = IMAGE_SINGLE)
{
    testing::internal::CaptureStdout();
    const int iResult = CImageFileIO<T>().save(&image, sPath.c_str(), f, t);
    const std::string sOut = testing::internal::GetCapturedStdout();
    if (pOut)
        *pOut = sOut;
    return iResult;
}


} // namespace testfiles

#endif
