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

// A script's format code outside the table does nothing and reports success,
// as the reader and writer do; it is answered here because such a value is
// no TDataFormat at all.
bool isFormatCode(int iCode)
{
    return iCode >= FORMAT_TIFF && iCode <= FORMAT_LAN;
}

// Every image type beyond the named ones is treated alike by the writer, and
// all of them reach it as the first value past the names, which the
// enumeration can hold.
TImageType imageType(int iType)
{
    return iType >= IMAGE_SINGLE && iType <= IMAGE_CHANNEL_STACK ? static_cast<TImageType>(iType)
                                                                  : static_cast<TImageType>(3);
}

int load(void* pObject, const char* pcPath, TDataFormat format)
{
    if (!hasPath(pcPath))
        return 0;
    return withImage<int>(pObject, [&](auto& i) {
        return CImageFileIO<PixelOf<decltype(i)>>().load(i, pcPath, format);
    });
}

int save(void* pObject, const char* pcPath, TDataFormat format, int iType)
{
    if (!hasPath(pcPath))
        return 0;
    return withImage<int>(pObject, [&](auto& i) {
        return CImageFileIO<PixelOf<decltype(i)>>().save(&i, pcPath, format,
                                                         imageType(iType));
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
    const char* pcPath = argText(apArgs, 0);
    const int iCode = argInt(apArgs, 1);
    if (!isFormatCode(iCode))
        return hasPath(pcPath) ? 1 : 0;
    return load(pObject, pcPath, static_cast<TDataFormat>(iCode));
}

TIRN_WRAPPER(int, CImage_1_save)
{
    const char* pcPath = argText(apArgs, 0);
    const int iCode = argInt(apArgs, 1);
    if (!isFormatCode(iCode))
        return hasPath(pcPath) ? 1 : 0;
    return save(pObject, pcPath, static_cast<TDataFormat>(iCode), argInt(apArgs, 2));
}
