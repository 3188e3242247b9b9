// What every file-reader target shares: a quiet standard output (the readers
// report every header on it), a small memory budget so that the refusals are
// reached quickly, and one scratch file per process.
#ifndef FUZZCOMMON_H
#define FUZZCOMMON_H

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <string>

#include <unistd.h>

#include "fileio/CImageFileIO.h"

namespace tirnfuzz {

// 16 MiB: scripts/fuzz.sh lets libFuzzer fail any single allocation above
// the budget plus a margin, so an allocation that escapes it is a finding.
constexpr const char* kFuzzBudget = "16777216";

inline std::string& scratchDirectory()
{
    static std::string sDir;
    return sDir;
}

inline void removeScratch()
{
    const std::string sCommand = "rm -rf '" + scratchDirectory() + "'";
    if (std::system(sCommand.c_str()) != 0)
        std::fprintf(stderr, "cannot remove %s\n", scratchDirectory().c_str());
}

inline void initialise()
{
    if (!std::freopen("/dev/null", "w", stdout))
        std::abort();
    setenv("TIRNVISION_MAX_IMAGE_BYTES", kFuzzBudget, 1);
    char acTemplate[] = "/tmp/tirn_fuzz_XXXXXX";
    if (!mkdtemp(acTemplate))
        std::abort();
    scratchDirectory() = acTemplate;
    std::atexit(removeScratch);
}

// The scratch file "in.<extension>" holding `data`, written whole.
inline std::string writeScratch(const char* pcExtension, const std::uint8_t* data,
                                std::size_t size, const std::uint8_t* prefix = nullptr,
                                std::size_t nPrefix = 0)
{
    const std::string sPath = scratchDirectory() + "/in." + pcExtension;
    FILE* f = std::fopen(sPath.c_str(), "wb");
    if (!f)
        std::abort();
    if ((nPrefix && std::fwrite(prefix, 1, nPrefix, f) != nPrefix) ||
        (size && std::fwrite(data, 1, size, f) != size))
        std::abort();
    std::fclose(f);
    return sPath;
}

// Loads the file through each instantiation in turn (chosen by the input's
// size, so all three see every kind of header).
inline void loadAny(const std::string& sPath, TDataFormat format, std::size_t size)
{
    switch (size % 3) {
    case 0: {
        CImage<unsigned char> image(1, 1, 1);
        CImageFileIO<unsigned char>().load(image, sPath.c_str(), format);
        break;
    }
    case 1: {
        CImage<unsigned short> image(1, 1, 1);
        CImageFileIO<unsigned short>().load(image, sPath.c_str(), format);
        break;
    }
    default: {
        CImage<float> image(1, 1, 1);
        CImageFileIO<float>().load(image, sPath.c_str(), format);
        break;
    }
    }
}

} // namespace tirnfuzz

#endif
