// Loading and saving a CImage by format name or by format code. The reader
// and writer never throw; their int result goes back to the script.
#include <cstdio>
#include <cstring>

#include "binding/TirnDispatch.h"
#include "fileio/CImageFileIO.h"

using namespace tirn::binding;

namespace {

// The names differ by direction: "LAN" is read only and "GIPL" is named only
// for saving; every other name leaves the choice to the file's extension.
TDataFormat loadFormat(const char* pcName)
{
    if (std::strcmp(pcName, "TIFF") == 0) return FORMAT_TIFF;
    if (std::strcmp(pcName, "MTX") == 0) return FORMAT_MTX;
    if (std::strcmp(pcName, "LAN") == 0) return FORMAT_LAN;
    return FORMAT_DEFAULT;
}

TDataFormat saveFormat(const char* pcName)
{
    if (std::strcmp(pcName, "TIFF") == 0) return FORMAT_TIFF;
    if (std::strcmp(pcName, "MTX") == 0) return FORMAT_MTX;
    if (std::strcmp(pcName, "GIPL") == 0) return FORMAT_GIPL;
    return FORMAT_DEFAULT;
}

bool hasPath(const char* pcPath)
{
    if (pcPath && *pcPath)
        return true;
    std::puts("No path specified!");
    return false;
}

int load(void* pObject, const char* pcPath, TDataFormat format)
{
    if (!hasPath(pcPath))
        return 0;
    return withImage<int>(pObject, [&](auto& i) {
        return CImageFileIO<PixelOf<decltype(i)>>().load(i, pcPath, format);
    });
}

// The image type goes to the writer unchanged, values past the named ones
// included; so do format codes outside the table, which the reader and
// writer answer with 1.
int save(void* pObject, const char* pcPath, TDataFormat format, int iType)
{
    if (!hasPath(pcPath))
        return 0;
    return withImage<int>(pObject, [&](auto& i) {
        return CImageFileIO<PixelOf<decltype(i)>>().save(&i, pcPath, format,
                                                         static_cast<TImageType>(iType));
    });
}

} // namespace

TIRN_WRAPPER(int, CImage_load)
{
    return load(pObject, argText(apArgs, 0), loadFormat(argText(apArgs, 1)));
}

TIRN_WRAPPER(int, CImage_save)
{
    return save(pObject, argText(apArgs, 0), saveFormat(argText(apArgs, 1)), argInt(apArgs, 2));
}

TIRN_WRAPPER(int, CImage_1_load)
{
    return load(pObject, argText(apArgs, 0), static_cast<TDataFormat>(argInt(apArgs, 1)));
}

TIRN_WRAPPER(int, CImage_1_save)
{
    return save(pObject, argText(apArgs, 0), static_cast<TDataFormat>(argInt(apArgs, 1)),
                argInt(apArgs, 2));
}
