#include "fileio/CImageFileIO.h"

#include <cstdio>
#include <cstring>


namespace {

// Callers hand over paths of any length, the readers work on a fixed
// buffer; a path that does not fit is a programming error of the caller.
void copyPath(char (&acBuffer)[CImageFileIO<unsigned char>::kPathBufferSize],
              const char* pcPath)
{
    TIRN_ASSERT(pcPath!=__null);
    TIRN_ASSERT(std::strlen(pcPath) < sizeof acBuffer);
    std::strcpy(acBuffer, pcPath);
}

// The text after the last ".", or the empty text at the end of a path
// without one (which then goes to GraphicsMagick like any unknown extension).
char* extensionOf(char* pcPath)
{
    char* pcDot = std::strrchr(pcPath, '.');
    return pcDot ? pcDot + 1 : pcPath + std::strlen(pcPath);
}

} // namespace

template <class T>
int CImageFileIO<T>::load(CImage<T>& image, char const* path, TDataFormat format)
{
    CImage<T> temp(1, 1, 1);
    char acPath[kPathBufferSize];
    copyPath(acPath, path);

    int iResult;
    switch (format) {
    case FORMAT_GIPL:
        iResult = loadGIPL(temp, acPath);
        break;
    case FORMAT_TIFF:
        iResult = loadTIFF(temp, acPath);
        break;
    case FORMAT_MTX:
        iResult = loadMTX(temp, acPath);
        break;
    case FORMAT_LAN:
        iResult = loadLAN(temp, acPath);
        break;
    case FORMAT_DEFAULT: {
        char* pcExtension = extensionOf(acPath);
        std::printf("Format: %s\n", pcExtension);
        std::fflush(stdout);
        if (std::strcmp(pcExtension, "gipl") == 0)
            iResult = loadGIPL(temp, acPath);
        else if (std::strcmp(pcExtension, "mtx") == 0)
            iResult = loadMTX(temp, acPath);
        else if (std::strcmp(pcExtension, "lan") == 0)
            iResult = loadLAN(temp, acPath);
        else {
            // "name.[*]" asks GraphicsMagick to find the file's format
            // itself; the dot stays.
            if (std::strcmp(pcExtension, "[*]") == 0)
                *pcExtension = '\0';
            iResult = loadMagick(temp, acPath);
        }
        break;
    }
    default:
        return 1;
    }
    if (!iResult)
        return 0;
    // The temporary is the only holder of its channels and ends here: handing
    // them over leaves the caller with storage no other image shares, as a
    // deep copy would, without copying every sample once more.
    image = temp;
    return 1;
}

template <class T>
int CImageFileIO<T>::save(CImage<T>* image, char const* path, TDataFormat format,
                          TImageType type)
{
    TIRN_ASSERT(image!=__null);
    char acPath[kPathBufferSize];
    copyPath(acPath, path);

    switch (format) {
    case FORMAT_DEFAULT: {
        const char* pcExtension = extensionOf(acPath);
        std::printf("Format: %s\n", pcExtension);
        std::fflush(stdout);
        if (std::strcmp(pcExtension, "gipl") == 0)
            return saveGIPL(*image, acPath);
        if (std::strcmp(pcExtension, "mtx") == 0)
            return saveMTX(*image, acPath);
        return saveMagick(image, acPath, type);
    }
    case FORMAT_MTX:
        return saveMTX(*image, acPath);
    case FORMAT_GIPL:
        return saveGIPL(*image, acPath);
    default:
        // TIFF and LAN are read-only formats: asking to write them is not
        // an error, it just writes nothing.
        return 1;
    }
}

template class CImageFileIO<unsigned char>;
template class CImageFileIO<unsigned short>;
template class CImageFileIO<float>;
