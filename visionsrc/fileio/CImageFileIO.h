#ifndef CIMAGEFILEIO_H
#define CIMAGEFILEIO_H

#include "image/CImage.h"

// File format of a load or save call. The host passes any int, so the
// underlying type is fixed: every int is a valid value and the unknown ones
// reach the dispatch as they are.
enum TDataFormat : int
{
    FORMAT_TIFF = 0,    // read through libtiff; never written
    FORMAT_MTX = 1,     // the library's gzip-compressed matrix format
    FORMAT_DEFAULT = 2, // chosen by the file extension
    FORMAT_GIPL = 3,
    FORMAT_LAN = 4      // ERDAS/LAN; never written
};

// Layout of a file written through GraphicsMagick; the host passes it as an
// int and values above IMAGE_CHANNEL_STACK reach save() unchanged.
enum TImageType : int
{
    IMAGE_SINGLE = 0,        // one grey or RGB picture, else one file per channel
    IMAGE_RGB_STACK = 1,     // channels 3k..3k+2 form RGB frame k
    IMAGE_CHANNEL_STACK = 2  // one grey frame per channel
};

// The one entry point for image files. Stateless: every call stands alone.
//
// Nothing here throws: progress and errors go to standard output and the
// result is 1 for success (and for requests that deliberately do nothing),
// 0 for a file that cannot be opened, read or written.
template <class T> class CImageFileIO
{
public:
    CImageFileIO() {}
    ~CImageFileIO() {}

    // On success `image` becomes a deep copy of what was read; it never
    // shares channel storage with anything else.
    int load(CImage<T>& image, char const* path, TDataFormat format);
    int save(CImage<T>* image, char const* path, TDataFormat format, TImageType type);

    // Paths are copied into a buffer of this size; a longer path ends the
    // process.
    static constexpr int kPathBufferSize = 256;

private:
    // Each reader fills `image`, the caller's temporary.
    int loadMTX(CImage<T>& image, const char* pcPath);
    int loadGIPL(CImage<T>& image, const char* pcPath);
    int loadLAN(CImage<T>& image, const char* pcPath);
    int loadTIFF(CImage<T>& image, const char* pcPath);
    int loadMagick(CImage<T>& image, const char* pcPath);

    int saveMTX(const CImage<T>& image, const char* pcPath);
    int saveGIPL(const CImage<T>& image, const char* pcPath);
    int saveMagick(CImage<T>* pImage, const char* pcPath, TImageType type);
};

extern template class CImageFileIO<unsigned char>;
extern template class CImageFileIO<unsigned short>;
extern template class CImageFileIO<float>;

#endif
