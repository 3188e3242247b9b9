// The formats read and written through libtiff and GraphicsMagick. Until
// those paths are built, each reports that it is missing and fails.
#include "fileio/CImageFileIO.h"

#include <cstdio>

template <class T> int CImageFileIO<T>::loadTIFF(CImage<T>&, const char* pcPath)
{
    std::printf("CImageFileIO: TIFF reading is not available yet (%s)\n", pcPath);
    std::fflush(stdout);
    return 0;
}

template <class T> int CImageFileIO<T>::loadMagick(CImage<T>&, const char* pcPath)
{
    std::printf("CImageFileIO: GraphicsMagick reading is not available yet (%s)\n",
                pcPath);
    std::fflush(stdout);
    return 0;
}

template <class T>
int CImageFileIO<T>::saveMagick(CImage<T>*, const char* pcPath, TImageType)
{
    std::printf("Writing other\n");
    std::printf("CImageFileIO: GraphicsMagick writing is not available yet (%s)\n",
                pcPath);
    std::fflush(stdout);
    return 0;
}

#define TIRN_INSTANTIATE_FOREIGN(T)                                                \
    template int CImageFileIO<T>::loadTIFF(CImage<T>&, const char*);              \
    template int CImageFileIO<T>::loadMagick(CImage<T>&, const char*);            \
    template int CImageFileIO<T>::saveMagick(CImage<T>*, const char*, TImageType);
TIRN_INSTANTIATE_FOREIGN(unsigned char)
TIRN_INSTANTIATE_FOREIGN(unsigned short)
TIRN_INSTANTIATE_FOREIGN(float)
